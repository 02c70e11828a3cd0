#pragma once

#include <vector>

#include "foundation/text/NSFormat.h"
#include "foundation/text/NSString.h"

TELVO_NAMESPACE_BEGIN

// Writes one line to standard error with time stamp, process name and process id, line ends inside the text as they
// are, and to the system log, with the process id and with control characters escaped ("\x0a"). Never fails, and never
// waits for a reader that does not read: what it misses is dropped in the end, and a line "n lines dropped" says so.
// Any thread.
void NSLogv(const Ref<NSString>& format, const std::vector<NSFormatArgument>& arguments);

template <class... Arguments>
void NSLog(const Ref<NSString>& format, const Arguments&... arguments) {
  NSLogv(format, {NSFormatArgument(arguments)...});
}

TELVO_NAMESPACE_END
