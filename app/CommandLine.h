#pragma once

#include <optional>
#include <string>

inline namespace telvo {

// The helper's version, as "1.0.0".
std::string helperVersion();

// What is printed in place of an upload: for "--help" or "--version" as the only argument, since everywhere else both
// may be a parameter's value.
std::optional<std::string> answerToArguments(int argc, const char* const* argv);

}  // namespace telvo
