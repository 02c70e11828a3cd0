#include "appkit/rtf/RTFTokenizer.h"

#include <algorithm>
#include <limits>

inline namespace telvo {

namespace {

using appkit::RTFToken;

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexadecimalDigit(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

RTFToken tokenOf(RTFToken::Kind kind, std::string_view text = {}) { return {kind, text, false, 0}; }

}  // namespace

namespace appkit {

std::string_view RTFTokenizer::take(std::size_t count) {
  const std::string_view taken = bytes_.substr(0, count);
  bytes_.remove_prefix(taken.size());
  return taken;
}

RTFToken RTFTokenizer::next() {
  // Line ends between the tokens only shape the file; NUL bytes are padding.
  bytes_.remove_prefix(std::min(bytes_.find_first_not_of(std::string_view("\r\n\0", 3)), bytes_.size()));
  if (bytes_.empty()) return {};
  switch (bytes_.front()) {
    case '{':
      take(1);
      return tokenOf(RTFToken::Kind::GroupStart);
    case '}':
      take(1);
      return tokenOf(RTFToken::Kind::GroupEnd);
    case '\\':
      take(1);
      return control();
    case '\t':
      take(1);
      return tokenOf(RTFToken::Kind::Word, "tab");
    default:
      return tokenOf(RTFToken::Kind::Text, take(bytes_.find_first_of(std::string_view("{}\\\r\n\t\0", 7))));
  }
}

RTFToken RTFTokenizer::control() {
  if (bytes_.empty()) return {};
  if (isLetter(bytes_.front())) return word();
  const std::string_view symbol = take(1);
  switch (symbol.front()) {
    case '\'':
      return hexadecimal();
    case '\r':
    case '\n':
      return lineEnd(symbol.front());
    case '\t':
      return tokenOf(RTFToken::Kind::Word, "tab");
    default:
      return tokenOf(RTFToken::Kind::Symbol, symbol);
  }
}

RTFToken RTFTokenizer::word() {
  const auto end = std::ranges::find_if_not(bytes_, isLetter);
  RTFToken token = tokenOf(RTFToken::Kind::Word, take(static_cast<std::size_t>(end - bytes_.begin())));
  token.hasParameter = readParameter(token);
  if (!bytes_.empty() && bytes_.front() == ' ') take(1);
  if (token.text != "bin") return token;
  take(static_cast<std::size_t>(std::max(token.parameter, 0)));
  return tokenOf(RTFToken::Kind::Binary);
}

bool RTFTokenizer::readParameter(RTFToken& token) {
  const bool negative = !bytes_.empty() && bytes_.front() == '-';
  const std::string_view digits = bytes_.substr(negative ? 1 : 0);
  if (digits.empty() || !isDigit(digits.front())) return false;
  if (negative) take(1);
  constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
  std::int64_t value = 0;
  while (!bytes_.empty() && isDigit(bytes_.front())) value = std::min(value * 10 + (take(1).front() - '0'), largest);
  token.parameter = static_cast<std::int32_t>(negative ? -value : value);
  return true;
}

RTFToken RTFTokenizer::hexadecimal() {
  const int high = bytes_.size() < 2 ? -1 : hexadecimalDigit(bytes_[0]);
  const int low = bytes_.size() < 2 ? -1 : hexadecimalDigit(bytes_[1]);
  // Without its digits it stands for nothing; what follows is read as if it were not there.
  if (high < 0 || low < 0) return tokenOf(RTFToken::Kind::Symbol, "'");
  take(2);
  return {RTFToken::Kind::Byte, {}, true, high * 16 + low};
}

// A backslash before a line end is a paragraph break; CR LF is one line end.
RTFToken RTFTokenizer::lineEnd(char first) {
  if (first == '\r' && !bytes_.empty() && bytes_.front() == '\n') take(1);
  return tokenOf(RTFToken::Kind::Word, "par");
}

}  // namespace appkit

}  // namespace telvo
