#pragma once

#include <memory>

#include <unicode/uversion.h>

#include "foundation/runtime/Ref.h"

U_NAMESPACE_BEGIN
class TimeZone;
U_NAMESPACE_END

inline namespace telvo {

class NSString;

namespace foundation {

// The zone of that name as the engine of calendars and formats takes it: its rules are those of the system's zone
// files, its names are the engine's own. Zones that the system has no file for ("GMT+0530", or all of them where the
// files are not installed) go by the engine's own rules; "unknown" (GMT) for names that it does not know either. For
// .cpp files of the platform only. Any thread.
std::unique_ptr<icu::TimeZone> engineTimeZone(const Ref<NSString>& name);

}  // namespace foundation

}  // namespace telvo
