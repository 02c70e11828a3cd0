#pragma once

#include <optional>
#include <string>

// Where the password comes from: the first line of the file when one is named, else the environment variable
// TELVO_PASSWORD, else a question on the terminal, whose answer is not shown. Throws std::runtime_error with a text for
// the user when the file cannot be read, or when there is no terminal to ask on.
std::string findPassword(const std::optional<std::string>& file, const std::string& user, const std::string& host);
