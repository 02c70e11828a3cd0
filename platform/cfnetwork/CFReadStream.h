#pragma once

#include "foundation/events/NSStream.h"

TELVO_NAMESPACE_BEGIN

class NSURL;

// A stream that reads the file at a "file" URL. Nil when the URL is nil or of another scheme; whether the file can be
// read shows when the stream is opened. A folder can be opened, too, and is at its end at once.
Ref<NSInputStream> CFReadStreamCreateWithFile(const Ref<NSURL>& url);

TELVO_NAMESPACE_END
