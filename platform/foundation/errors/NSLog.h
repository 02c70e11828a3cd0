#pragma once

#include <vector>

#include "foundation/text/NSFormat.h"
#include "foundation/text/NSString.h"

// Writes one line to the system log, and to standard error with time stamp, process name and process id. Line ends
// inside the text stay in it. Never fails. Any thread.
void NSLogv(const Ref<NSString>& format, const std::vector<NSFormatArgument>& arguments);

template <class... Arguments>
void NSLog(const Ref<NSString>& format, const Arguments&... arguments) {
  NSLogv(format, {NSFormatArgument(arguments)...});
}
