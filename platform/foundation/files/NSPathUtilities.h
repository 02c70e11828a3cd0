#pragma once

#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// The user's home folder: $HOME, else the account's.
Ref<NSString> NSHomeDirectory();
// The folder for temporary files: $TMPDIR, else "/tmp"; without a slash at its end.
Ref<NSString> NSTemporaryDirectory();

TELVO_NAMESPACE_END
