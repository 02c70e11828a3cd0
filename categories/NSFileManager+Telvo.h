#pragma once

#include "foundation/NSFileManager.h"

// Extensions of the file manager. Any thread.

// Whether the path names a folder that exists, or a link to one. A nil path does not.
bool telvo_isDirectoryAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path);
bool telvo_isDirectoryAtURL(const Ref<NSFileManager>& manager, const Ref<NSURL>& url);

// The item's own modification date (a link's, not its target's); nil when it cannot be had.
Ref<NSDate> telvo_fileModificationDateAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path);
