#include "foundation/files/StringTable.h"

#include <algorithm>
#include <optional>

#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

constexpr std::u16string_view::size_type npos = std::u16string_view::npos;

unsigned digitValue(char16_t unit) {
  if (unit >= u'0' && unit <= u'9') return static_cast<unsigned>(unit - u'0');
  if (unit >= u'a' && unit <= u'f') return static_cast<unsigned>(unit - u'a' + 10);
  if (unit >= u'A' && unit <= u'F') return static_cast<unsigned>(unit - u'A' + 10);
  return 16;
}

bool isPlain(char16_t unit) {
  const bool letter = (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
  return letter || (unit >= u'0' && unit <= u'9') || std::u16string_view(u"_$:./-").find(unit) != npos;
}

class Parser {
 public:
  explicit Parser(std::u16string_view text) : rest_(text) {}

  Ref<NSDictionary> table() {
    const Ref<NSMutableDictionary> entries = NSMutableDictionary::dictionary();
    while (skipSpace() && !rest_.empty()) {
      const std::optional<std::u16string> key = text();
      if (!key) return nil;
      std::optional<std::u16string> value = key;
      if (take(u'=')) value = text();
      if (!value || !take(u';')) return nil;
      entries->setObject_forKey(NSString::stringWithUnits(*value), NSString::stringWithUnits(*key));
    }
    return rest_.empty() ? as<NSDictionary>(entries->copy()) : nil;
  }

 private:
  // Steps over white space and comments; false at a comment without an end.
  bool skipSpace() {
    while (true) {
      rest_.remove_prefix(std::min(rest_.find_first_not_of(u" \t\r\n\v\f\u00A0\u2028\u2029"), rest_.size()));
      if (rest_.starts_with(u"//")) {
        rest_.remove_prefix(std::min(rest_.find_first_of(u"\r\n\u2028\u2029"), rest_.size()));
      } else if (rest_.starts_with(u"/*")) {
        const std::size_t end = rest_.find(u"*/", 2);
        if (end == npos) return false;
        rest_.remove_prefix(end + 2);
      } else {
        return true;
      }
    }
  }

  bool take(char16_t unit) {
    if (!skipSpace() || !rest_.starts_with(unit)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  std::optional<std::u16string> text() {
    if (!skipSpace() || rest_.empty()) return std::nullopt;
    if (rest_.front() == u'"' || rest_.front() == u'\'') return quotedText();
    const auto* end = std::ranges::find_if_not(rest_, isPlain);
    const std::u16string plain(rest_.begin(), end);
    rest_.remove_prefix(plain.size());
    return plain.empty() ? std::nullopt : std::optional(plain);
  }

  std::optional<std::u16string> quotedText() {
    const char16_t quote = rest_.front();
    rest_.remove_prefix(1);
    std::u16string text;
    while (!rest_.empty()) {
      const char16_t unit = rest_.front();
      rest_.remove_prefix(1);
      if (unit == quote) return text;
      if (unit != u'\\') {
        text.push_back(unit);
      } else if (!rest_.empty()) {
        text.push_back(escapedUnit());
      }
    }
    return std::nullopt;
  }

  char16_t escapedUnit() {
    const char16_t unit = rest_.front();
    if (digitValue(unit) < 8) return number(3, 8);
    rest_.remove_prefix(1);
    switch (unit) {
      case u'a':
        return u'\a';
      case u'b':
        return u'\b';
      case u'f':
        return u'\f';
      case u'n':
        return u'\n';
      case u'r':
        return u'\r';
      case u't':
        return u'\t';
      case u'v':
        return u'\v';
      case u'u':
      case u'U':
        return number(4, 16);
      default:
        return unit;
    }
  }

  char16_t number(std::size_t longest, unsigned base) {
    unsigned value = 0;
    for (std::size_t count = 0; count < longest && !rest_.empty() && digitValue(rest_.front()) < base; ++count) {
      value = value * base + digitValue(rest_.front());
      rest_.remove_prefix(1);
    }
    return static_cast<char16_t>(value);
  }

  std::u16string_view rest_;
};

}  // namespace

Ref<NSDictionary> foundation::stringTableFromBytes(std::string_view bytes) {
  const bool wide = bytes.starts_with("\xff\xfe") || bytes.starts_with("\xfe\xff");
  if (bytes.starts_with("\xef\xbb\xbf")) bytes.remove_prefix(3);
  const Ref<NSString> text = NSString::stringWithData_encoding(NSData::dataWithBytes_length(bytes.data(), bytes.size()),
                                                               wide ? NSUTF16StringEncoding : NSUTF8StringEncoding);
  return text ? Parser(text->units()).table() : nil;
}

}  // namespace telvo
