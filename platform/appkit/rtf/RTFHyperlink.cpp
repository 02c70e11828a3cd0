#include "appkit/rtf/RTFHyperlink.h"

#include <algorithm>
#include <cstddef>

inline namespace telvo {

namespace {

constexpr std::u16string_view keyword = u"HYPERLINK";
constexpr std::u16string_view spaces = u" \t\r\n\u00A0";

void skipSpaces(std::u16string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(spaces), rest.size()));
}

// The next word, or the next text in quotes, in which a backslash makes the next character an ordinary one.
std::u16string takeArgument(std::u16string_view& rest) {
  skipSpaces(rest);
  const bool quoted = !rest.empty() && rest.front() == u'"';
  if (quoted) rest.remove_prefix(1);
  std::u16string argument;
  while (!rest.empty()) {
    char16_t unit = rest.front();
    if (quoted ? unit == u'"' : spaces.find(unit) != std::u16string_view::npos) break;
    if (quoted && unit == u'\\' && rest.size() > 1) {
      rest.remove_prefix(1);
      unit = rest.front();
    }
    argument.push_back(unit);
    rest.remove_prefix(1);
  }
  if (quoted && !rest.empty()) rest.remove_prefix(1);
  return argument;
}

bool takeKeyword(std::u16string_view& rest) {
  skipSpaces(rest);
  const auto same = [](char16_t unit, char16_t capital) {
    return unit == capital || (unit >= u'a' && unit <= u'z' && unit - (u'a' - u'A') == capital);
  };
  if (rest.size() < keyword.size() || !std::ranges::equal(rest.substr(0, keyword.size()), keyword, same)) return false;
  rest.remove_prefix(keyword.size());
  return true;
}

}  // namespace

std::optional<std::u16string> appkit::addressFromInstruction(std::u16string_view instruction) {
  std::u16string_view rest = instruction;
  if (!takeKeyword(rest)) return std::nullopt;
  std::optional<std::u16string> address;
  std::u16string bookmark;
  for (skipSpaces(rest); !rest.empty(); skipSpaces(rest)) {
    const bool isSwitch = rest.front() == u'\\';
    std::u16string argument = takeArgument(rest);
    if (!isSwitch) {
      if (!address) address = std::move(argument);
    } else if (argument == u"\\l") {
      bookmark = takeArgument(rest);
    } else if (argument == u"\\o" || argument == u"\\t") {
      takeArgument(rest);  // a help text and a frame's name
    }
  }
  if (bookmark.empty()) return address;
  return address.value_or(std::u16string()) + u"#" + bookmark;
}

std::u16string appkit::instructionForAddress(std::u16string_view address) {
  std::u16string instruction(keyword);
  instruction += u" \"";
  for (const char16_t unit : address) {
    if (unit == u'"' || unit == u'\\') instruction.push_back(u'\\');
    instruction.push_back(unit);
  }
  instruction.push_back(u'"');
  return instruction;
}

}  // namespace telvo
