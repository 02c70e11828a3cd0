#include "foundation/files/URLParser.h"

#include <algorithm>

#include <arpa/inet.h>

#include "foundation/files/PercentEncoding.h"

inline namespace telvo {

namespace {

using foundation::URLParts;

bool isASCIILetter(char byte) { return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z'); }
bool isASCIIDigit(char byte) { return byte >= '0' && byte <= '9'; }

bool isScheme(std::string_view text) {
  if (text.empty() || !isASCIILetter(text.front())) return false;
  for (const char byte : text) {
    if (!isASCIILetter(byte) && !isASCIIDigit(byte) && byte != '+' && byte != '-' && byte != '.') return false;
  }
  return true;
}

bool isIPv6Address(std::string_view text) {
  in6_addr address{};
  // The system would read no further than to a NUL.
  if (text.find('\0') != std::string_view::npos) return false;
  return inet_pton(AF_INET6, std::string(text).c_str(), &address) == 1;
}

// "v1.anything": a form of address that is yet to be invented.
bool isFutureAddress(std::string_view text) {
  if (text.empty() || (text.front() != 'v' && text.front() != 'V')) return false;
  const std::size_t dot = text.find('.');
  if (dot == std::string_view::npos || dot < 2 || dot + 1 == text.size()) return false;
  for (const char byte : text.substr(1, dot - 1)) {
    if (!foundation::isURLCharacter(byte, foundation::URLHexadecimal)) return false;
  }
  for (const char byte : text.substr(dot + 1)) {
    constexpr unsigned allowed = foundation::URLUnreserved | foundation::URLSubDelimiters | foundation::URLColon;
    if (!foundation::isURLCharacter(byte, allowed)) return false;
  }
  return true;
}

// What stands between brackets. An IPv6 address may name its zone behind an escaped percent sign (RFC 6874).
bool isBracketedAddress(std::string_view text) {
  const std::size_t zone = text.find("%25");
  if (zone == std::string_view::npos) return isIPv6Address(text) || isFutureAddress(text);
  const std::string_view name = text.substr(zone + 3);
  return isIPv6Address(text.substr(0, zone)) && !name.empty() &&
         foundation::isPercentEncoded(name, foundation::URLUnreserved);
}

bool parsePort(std::string_view text, URLParts& parts) {
  if (text.empty()) return true;
  int port = 0;
  for (const char byte : text) {
    if (!isASCIIDigit(byte)) return false;
    port = port * 10 + (byte - '0');
    if (port > 65535) return false;
  }
  parts.port = port;
  return true;
}

bool parseUserInformation(std::string_view text, URLParts& parts) {
  constexpr unsigned allowed = foundation::URLUnreserved | foundation::URLSubDelimiters;
  const std::size_t colon = text.find(':');
  parts.user = text.substr(0, colon);
  if (!foundation::isPercentEncoded(*parts.user, allowed)) return false;
  if (colon == std::string_view::npos) return true;
  parts.password = text.substr(colon + 1);
  return foundation::isPercentEncoded(*parts.password, allowed | foundation::URLColon);
}

bool parseHostAndPort(std::string_view text, URLParts& parts) {
  if (text.starts_with('[')) {
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos) return false;
    parts.host = text.substr(1, end - 1);
    const std::string_view rest = text.substr(end + 1);
    if (!isBracketedAddress(*parts.host)) return false;
    return rest.empty() || (rest.front() == ':' && parsePort(rest.substr(1), parts));
  }
  const std::size_t colon = text.find(':');
  parts.host = text.substr(0, colon);
  if (!foundation::isPercentEncoded(*parts.host, foundation::URLUnreserved | foundation::URLSubDelimiters))
    return false;
  return colon == std::string_view::npos || parsePort(text.substr(colon + 1), parts);
}

bool parseAuthority(std::string_view text, URLParts& parts) {
  parts.authority = text;
  const std::size_t at = text.find('@');
  if (at == std::string_view::npos) return parseHostAndPort(text, parts);
  return parseUserInformation(text.substr(0, at), parts) && parseHostAndPort(text.substr(at + 1), parts);
}

// Cuts the text off `rest` that follows the marker; nothing when the marker does not occur.
std::optional<std::string> cutAfter(std::string_view& rest, char marker) {
  const std::size_t found = rest.find(marker);
  if (found == std::string_view::npos) return std::nullopt;
  std::string text(rest.substr(found + 1));
  rest = rest.substr(0, found);
  return text;
}

// Section 5.2.4.
std::string withoutDotSegments(std::string_view input) {
  std::string output;
  while (!input.empty()) {
    if (input.starts_with("../")) {
      input.remove_prefix(3);
    } else if (input.starts_with("./") || input.starts_with("/./")) {
      input.remove_prefix(2);
    } else if (input == "/.") {
      input = "/";
    } else if (input.starts_with("/../") || input == "/..") {
      input = input.size() == 3 ? "/" : input.substr(3);
      const std::size_t slash = output.rfind('/');
      output.erase(slash == std::string::npos ? 0 : slash);
    } else if (input == "." || input == "..") {
      break;
    } else {
      const std::size_t end = std::min(input.find('/', 1), input.size());
      output.append(input.substr(0, end));
      input.remove_prefix(end);
    }
  }
  return output;
}

// Section 5.2.3.
std::string mergedPath(const URLParts& base, const std::string& path) {
  if (base.authority && base.path.empty()) return "/" + path;
  const std::size_t slash = base.path.rfind('/');
  return slash == std::string::npos ? path : base.path.substr(0, slash + 1) + path;
}

void takeAuthority(URLParts& target, const URLParts& source) {
  target.authority = source.authority;
  target.user = source.user;
  target.password = source.password;
  target.host = source.host;
  target.port = source.port;
}

}  // namespace

std::optional<URLParts> foundation::parseURL(std::string_view text) {
  URLParts parts;
  std::string_view rest = text;
  parts.fragment = cutAfter(rest, '#');
  parts.query = cutAfter(rest, '?');
  const std::size_t colon = rest.find(':');
  // Without a scheme the first segment of a path must not hold a colon, or it would read as one.
  if (colon != std::string_view::npos && rest.find('/') > colon) {
    parts.scheme = rest.substr(0, colon);
    if (!isScheme(*parts.scheme)) return std::nullopt;
    rest.remove_prefix(colon + 1);
  }
  if (rest.starts_with("//")) {
    rest.remove_prefix(2);
    const std::size_t end = std::min(rest.find('/'), rest.size());
    if (!parseAuthority(rest.substr(0, end), parts)) return std::nullopt;
    rest.remove_prefix(end);
  }
  parts.path = rest;
  if (!isPercentEncoded(parts.path, URLPathCharacters)) return std::nullopt;
  if (parts.query && !isPercentEncoded(*parts.query, URLQueryCharacters)) return std::nullopt;
  if (parts.fragment && !isPercentEncoded(*parts.fragment, URLQueryCharacters)) return std::nullopt;
  return parts;
}

URLParts foundation::resolveURL(const URLParts& reference, const URLParts& base) {
  URLParts target = reference;
  if (!reference.scheme) {
    target.scheme = base.scheme;
    if (!reference.authority) {
      takeAuthority(target, base);
      if (reference.path.empty()) {
        target.path = base.path;
        if (!reference.query) target.query = base.query;
        return target;
      }
      if (!reference.path.starts_with('/')) target.path = mergedPath(base, reference.path);
    }
  }
  target.path = withoutDotSegments(target.path);
  // Two slashes at the start of a path without authority would read as one; a dot segment keeps them apart.
  if (!target.authority && target.path.starts_with("//")) target.path.insert(0, "/.");
  return target;
}

std::string foundation::textOfURL(const URLParts& parts) {
  std::string text;
  if (parts.scheme) text += *parts.scheme + ":";
  if (parts.authority) text += "//" + *parts.authority;
  text += parts.path;
  if (parts.query) text += "?" + *parts.query;
  if (parts.fragment) text += "#" + *parts.fragment;
  return text;
}

}  // namespace telvo
