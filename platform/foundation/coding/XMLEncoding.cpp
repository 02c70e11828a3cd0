#include "foundation/coding/XMLEncoding.h"

#include <algorithm>
#include <memory>

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

#include "foundation/coding/PropertyListCoding.h"
#include "foundation/runtime/Releaser.h"
#include "foundation/text/UTF8.h"

inline namespace telvo {

namespace {

using foundation::PropertyListFailure;

constexpr std::string_view markUTF8 = "\xEF\xBB\xBF";
constexpr std::string_view markUTF16BE = "\xFE\xFF";
constexpr std::string_view markUTF16LE = "\xFF\xFE";
constexpr std::string_view startUTF16BE{"\0<", 2};
constexpr std::string_view startUTF16LE{"<\0", 2};
constexpr std::string_view whiteSpace = " \t\r\n";

bool isLetter(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

// A name in the form that XML has for them. It keeps the library from looking for a file of that name, too.
bool isEncodingName(std::string_view name) {
  constexpr std::string_view others = "0123456789._-";
  if (name.empty() || !isLetter(name.front())) return false;
  return std::ranges::all_of(name, [&](char each) { return isLetter(each) || others.find(each) != others.npos; });
}

bool equalIgnoringCase(std::string_view left, std::string_view right) {
  const auto lower = [](char character) { return isLetter(character) ? character | 0x20 : +character; };
  return std::ranges::equal(left, right, {}, lower, lower);
}

void skipWhiteSpace(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(whiteSpace), text.size()));
}

struct Attribute {
  std::string_view name;
  std::string_view value;
};

// The next `name="value"` of a declaration; nothing at its end.
std::optional<Attribute> takeAttribute(std::string_view& text) {
  skipWhiteSpace(text);
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  std::string_view name = text.substr(0, equals);
  name = name.substr(0, name.find_first_of(whiteSpace));
  text.remove_prefix(equals + 1);
  skipWhiteSpace(text);
  const char quote = text.empty() ? '\0' : text.front();
  const std::size_t end = quote == '"' || quote == '\'' ? text.find(quote, 1) : std::string_view::npos;
  if (end == std::string_view::npos) throw PropertyListFailure("a declaration that cannot be read");
  const Attribute attribute{name, text.substr(1, end - 1)};
  text.remove_prefix(end + 1);
  return attribute;
}

// The encoding that stands in the declaration at the start of the text; nothing when it says none.
std::optional<std::string_view> declaredEncoding(std::string_view text) {
  constexpr std::string_view start = "<?xml";
  if (!text.starts_with(start)) return std::nullopt;
  text.remove_prefix(start.size());
  if (text.empty() || whiteSpace.find(text.front()) == whiteSpace.npos) return std::nullopt;
  const std::size_t end = text.find("?>");
  if (end == std::string_view::npos) throw PropertyListFailure("a declaration without end");
  text = text.substr(0, end);
  while (const auto attribute = takeAttribute(text)) {
    if (attribute->name == "encoding") return attribute->value;
  }
  return std::nullopt;
}

std::u16string decoded(std::string_view bytes, const std::string& encoding) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UConverter, foundation::Releaser<ucnv_close>> converter(ucnv_open(encoding.c_str(), &status));
  if (U_FAILURE(status)) throw PropertyListFailure("an encoding that is not known");
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  std::u16string units;
  std::u16string part(4096, u'\0');
  const char* source = bytes.data();
  do {
    status = U_ZERO_ERROR;
    char16_t* target = part.data();
    ucnv_toUnicode(converter.get(), &target, part.data() + part.size(), &source, bytes.data() + bytes.size(), nullptr,
                   true, &status);
    units.append(part.data(), target);
  } while (status == U_BUFFER_OVERFLOW_ERROR);
  if (U_FAILURE(status)) throw PropertyListFailure("text that is not in its encoding");
  return units;
}

std::string UTF8From(std::string_view bytes, const std::string& encoding) {
  return foundation::UTF8FromUnits(decoded(bytes, encoding));
}

}  // namespace

std::optional<std::string> foundation::UTF8FromXML(std::string_view bytes) {
  if (bytes.starts_with(markUTF8)) return std::string(bytes.substr(markUTF8.size()));
  if (bytes.starts_with(markUTF16LE)) return UTF8From(bytes.substr(markUTF16LE.size()), "UTF-16LE");
  if (bytes.starts_with(markUTF16BE)) return UTF8From(bytes.substr(markUTF16BE.size()), "UTF-16BE");
  if (bytes.starts_with(startUTF16LE)) return UTF8From(bytes, "UTF-16LE");
  if (bytes.starts_with(startUTF16BE)) return UTF8From(bytes, "UTF-16BE");
  const auto encoding = declaredEncoding(bytes);
  if (!encoding || equalIgnoringCase(*encoding, "UTF-8")) return std::nullopt;
  if (!isEncodingName(*encoding)) throw PropertyListFailure("an encoding that is not known");
  return UTF8From(bytes, std::string(*encoding));
}

bool foundation::canBeginXML(std::string_view bytes) {
  for (const std::string_view start : {markUTF8, markUTF16LE, markUTF16BE, startUTF16BE}) {
    if (bytes.starts_with(start)) return true;
  }
  const std::size_t first = bytes.find_first_not_of(whiteSpace);
  return first == std::string_view::npos || bytes[first] == '<';
}

}  // namespace telvo
