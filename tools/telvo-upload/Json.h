#pragma once

#include <concepts>
#include <cstdio>
#include <string>

// An event as one line of JSON. Empty texts and what is false are left out.
namespace json {

inline std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char byte : text) {
    char escape[8] = {byte, '\0'};
    if (static_cast<unsigned char>(byte) < 0x20) std::snprintf(escape, sizeof escape, "\\u%04x", byte);
    if (byte == '"' || byte == '\\') std::snprintf(escape, sizeof escape, "\\%c", byte);
    result += escape;
  }
  return result + "\"";
}

inline std::string value(const std::string& text) { return text.empty() ? "" : quoted(text); }
std::string value(std::same_as<bool> auto flag) { return flag ? "true" : ""; }
template <std::integral Number>
requires(!std::same_as<Number, bool>) std::string value(Number number) { return std::to_string(number); }

inline std::string members() { return {}; }
std::string members(const char* key, const auto& first, const auto&... rest) {
  const std::string text = value(first);
  return (text.empty() ? "" : "," + quoted(key) + ":" + text) + members(rest...);
}

// Keys and values in turn.
void print(const std::string& event, const auto&... keysAndValues) {
  std::printf("{\"event\":%s%s}\n", quoted(event).c_str(), members(keysAndValues...).c_str());
  std::fflush(stdout);
}

}  // namespace json
