#pragma once

#include <string>
#include <string_view>

inline namespace telvo {

namespace foundation {

// The locale that the environment names for a category of the C library ("LC_MESSAGES"): the first of LC_ALL, the
// category and LANG that is not empty, in ICU's form: "de_AT.UTF-8@euro" is "de_AT", "sr_RS@latin" is "sr_Latn_RS".
// Empty for "C", "POSIX" and when nothing is set. Read anew on every call.
std::string environmentLocale(const char* category);

// The same as the environment spells it; empty when nothing is set.
std::string_view environmentLocaleName(const char* category);

// A locale name as the environment spells it in ICU's form; empty for "C" and "POSIX".
std::string localeIdentifierFromEnvironmentName(std::string_view name);

}  // namespace foundation

}  // namespace telvo
