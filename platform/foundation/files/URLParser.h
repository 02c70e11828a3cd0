#pragma once

#include <optional>
#include <string>
#include <string_view>

inline namespace telvo {

// The grammar of URLs (RFC 3986). Any thread.
namespace foundation {

// The parts of a URL as they stand in its text, escapes included. A part without a value is not there at all, which
// differs from an empty one: "ftp://h?" has an empty query.
struct URLParts {
  std::optional<std::string> scheme;
  std::optional<std::string> authority;  // user, password, host and port as one text
  std::optional<std::string> user;
  std::optional<std::string> password;
  std::optional<std::string> host;  // an address in brackets without the brackets
  std::optional<int> port;          // 0 to 65535; an empty port is none
  std::string path;
  std::optional<std::string> query;
  std::optional<std::string> fragment;

  // Whether what follows the scheme is a text of its own kind, as in "mailto:a@b", and no path with a query (RFC 2396).
  bool isOpaque() const { return scheme && !authority && !path.starts_with('/'); }
};

// Nothing when the text is neither a URL nor a relative reference, to the letter of the grammar, or when its port is
// above 65535.
std::optional<URLParts> parseURL(std::string_view text);

// What the reference means seen from the base (section 5.2).
URLParts resolveURL(const URLParts& reference, const URLParts& base);

// The text that the parts make (section 5.3).
std::string textOfURL(const URLParts& parts);

}  // namespace foundation

}  // namespace telvo
