#pragma once

#include <string>
#include <vector>

inline namespace telvo {

namespace foundation {

// The user's languages for texts, best first, each from the particular to the general ("zh_Hant_TW", "zh_TW",
// "zh_Hant", "zh"); English is always among them. LC_ALL, LC_MESSAGES or LANG, the first that is set, names the
// language and whether there is a choice at all; LANGUAGE ("de:fr") then comes before it. Read anew on every call.
std::vector<std::string> preferredLanguages();

}  // namespace foundation

}  // namespace telvo
