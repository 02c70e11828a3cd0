// Property lists from XML text. Only what property lists use of XML is read, and nothing outside the text is ever
// looked at: entities are the five of XML and characters by number, a document type is skipped.

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/coding/PropertyListCoding.h"
#include "foundation/coding/XMLEncoding.h"
#include "foundation/collections/Base64.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/text/NSString.h"
#include "foundation/text/UTF16.h"
#include "foundation/text/UTF8.h"
#include "foundation/time/CivilTime.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

using foundation::PropertyListFailure;

[[noreturn]] void fail(const char* reason) { throw PropertyListFailure(reason); }

bool isWhiteSpace(char character) {
  return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

bool isNameCharacter(char character) { return !isWhiteSpace(character) && character != '/' && character != '>'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isWhiteSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isWhiteSpace(text.back())) text.remove_suffix(1);
  return text;
}

struct Tag {
  enum class Kind { Opening, Closing, Empty };
  std::string_view name;
  Kind kind = Kind::Opening;
};

// Texts that were read before and may come again: keys, and values that many records share.
class RecentTexts {
 public:
  struct Slot {
    std::string_view source;
    Ref<NSString> text;
  };

  // The place for a text with that source; it holds that text or another one.
  Slot& slotFor(std::string_view source) { return slots_[std::hash<std::string_view>()(source) % slots_.size()]; }

 private:
  std::array<Slot, 256> slots_;
};

class XMLReader {
 public:
  XMLReader(std::string_view xml, const foundation::PropertyListFactory& factory) : rest_(xml), factory_(factory) {}

  id read() {
    Tag tag = nextTag();
    const bool wrapped = tag.name == "plist";
    if (wrapped) {
      if (tag.kind != Tag::Kind::Opening) fail("an empty document");
      tag = nextTag();
    }
    id root = readObject(tag, 0);
    if (wrapped) requireClosing(nextTag(), "plist");
    skipMarkup();
    if (!rest_.empty()) fail("text after the end of the property list");
    return root;
  }

 private:
  id readObject(const Tag& tag, std::size_t depth) {
    if (tag.kind == Tag::Kind::Closing) fail("a closing tag where a value was to come");
    // Its text, which stands here in full, is in proportion anyway.
    factory_.countForDescription(depth, 0);
    const bool empty = tag.kind == Tag::Kind::Empty;
    if (tag.name == "string") return readString(tag);
    if (tag.name == "dict") return readDictionary(empty, depth);
    if (tag.name == "array") return readArray(empty, depth);
    if (tag.name == "true") return readBool(tag, true);
    if (tag.name == "false") return readBool(tag, false);
    if (tag.name == "date") return dateFrom(trimmed(readText(tag)));
    if (tag.name == "integer") return integerFrom(trimmed(readText(tag)));
    if (tag.name == "real") return realFrom(trimmed(readText(tag)));
    if (tag.name == "data") return readData(tag);
    fail("an unknown element");
  }

  id readArray(bool empty, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    std::vector<id> objects;
    while (!empty) {
      const Tag tag = nextTag();
      if (tag.kind == Tag::Kind::Closing) {
        requireClosing(tag, "array");
        break;
      }
      objects.push_back(readObject(tag, depth + 1));
    }
    return factory_.array(std::move(objects));
  }

  id readDictionary(bool empty, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    std::vector<NSDictionary::Entry> entries;
    while (!empty) {
      const Tag tag = nextTag();
      if (tag.kind == Tag::Kind::Closing) {
        requireClosing(tag, "dict");
        break;
      }
      if (tag.name != "key") fail("a value without a key");
      Ref<NSString> key = sharedString(readText(tag));
      id value = readObject(nextTag(), depth + 1);
      entries.emplace_back(std::move(key), std::move(value));
    }
    if (entries.size() == 1) {
      if (id uid = uidFrom(entries.front())) return uid;
    }
    return factory_.dictionary(std::move(entries));
  }

  static id uidFrom(const NSDictionary::Entry& entry) {
    if (!entry.first->isEqual("CF$UID"_ns)) return nil;
    const auto* number = dynamic_cast<const NSNumber*>(entry.second.get());
    if (!number || number->isBool() || number->isReal()) return nil;
    return NSPropertyListUID::uidWithValue(number->unsignedIntegerValue());
  }

  id readBool(const Tag& tag, bool value) {
    if (!trimmed(readText(tag)).empty()) fail("text in a boolean");
    return NSNumber::numberWithBool(value);
  }

  id readData(const Tag& tag) {
    std::u16string text;
    for (const char character : readText(tag)) {
      if (!isWhiteSpace(character)) text.push_back(static_cast<unsigned char>(character));
    }
    auto bytes = foundation::bytesFromBase64(text, foundation::UnknownCharacters::AreRefused);
    if (!bytes) fail("data that is not base 64");
    return factory_.data(std::move(*bytes));
  }

  id readString(const Tag& tag) {
    const std::string_view source = readText(tag);
    if (factory_.sharesLeaves()) return sharedString(source);
    return factory_.string(unitsFrom(source));
  }

  // The source must not be the decoded buffer for the text to be found again.
  Ref<NSString> sharedString(std::string_view source) {
    constexpr std::size_t longest = 200;
    if (source.size() > longest || source.data() == decoded_.data())
      return NSString::stringWithUnits(unitsFrom(source));
    RecentTexts::Slot& slot = recentTexts_.slotFor(source);
    if (!slot.text || slot.source != source) slot = {source, NSString::stringWithUnits(unitsFrom(source))};
    return slot.text;
  }

  static std::u16string unitsFrom(std::string_view utf8) {
    if (!foundation::isUTF8(utf8)) fail("text that is not UTF-8");
    return foundation::unitsFromUTF8(utf8);
  }

  static id integerFrom(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (hexadecimal) text.remove_prefix(2);
    NSUInteger magnitude = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, hexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) fail("an integer that cannot be read");
    constexpr NSUInteger lowest = static_cast<NSUInteger>(NSIntegerMax) + 1;  // its magnitude
    if (!negative && magnitude <= static_cast<NSUInteger>(NSIntegerMax)) {
      return NSNumber::numberWithInteger(static_cast<NSInteger>(magnitude));
    }
    if (!negative) return NSNumber::numberWithUnsignedInteger(magnitude);
    if (magnitude > lowest) fail("an integer that is too small");
    return NSNumber::numberWithInteger(static_cast<NSInteger>(0 - magnitude));
  }

  static id realFrom(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::result_out_of_range) value = foundation::doubleFromASCII(std::string(text));
    if (error == std::errc::invalid_argument || end != text.data() + text.size()) fail("a real that cannot be read");
    return NSNumber::numberWithDouble(value);
  }

  static id dateFrom(std::string_view text) {
    foundation::CivilTime time;
    std::uint64_t year = 0;
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const auto number = [&](auto& value, std::string_view separator) {
      const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
      if (error != std::errc()) fail("a date that cannot be read");
      text.remove_prefix(static_cast<std::size_t>(end - text.data()));
      if (!text.starts_with(separator)) fail("a date that cannot be read");
      text.remove_prefix(separator.size());
    };
    number(year, "-");
    number(time.month, "-");
    number(time.day, "T");
    number(time.hour, ":");
    number(time.minute, ":");
    number(time.second, "Z");
    time.year = static_cast<std::int64_t>(std::min(year, static_cast<std::uint64_t>(NSIntegerMax)));
    if (negative) time.year = -time.year;
    const auto seconds = foundation::secondsSince1970From(time);
    if (!seconds || !text.empty()) fail("a date that does not exist");
    return NSDate::dateWithTimeIntervalSince1970(*seconds);
  }

  // The content of an element that holds no more than text, entities decoded.
  std::string_view readText(const Tag& tag) {
    if (tag.kind == Tag::Kind::Empty) return {};
    const std::size_t end = rest_.find('<');
    if (end == std::string_view::npos) fail("the end of the text inside an element");
    const std::string_view text = rest_.substr(0, end);
    const bool plain = text.find_first_of("&\r") == std::string_view::npos;
    if (plain && rest_.substr(end).starts_with("</")) {
      rest_.remove_prefix(end);
      requireClosing(readTag(), tag.name);
      return text;
    }
    return readDecodedText(tag);
  }

  std::string_view readDecodedText(const Tag& tag) {
    decoded_.clear();
    while (true) {
      const std::size_t end = rest_.find('<');
      if (end == std::string_view::npos) fail("the end of the text inside an element");
      appendDecoded(rest_.substr(0, end));
      rest_.remove_prefix(end);
      if (rest_.starts_with("<![CDATA[")) {
        decoded_ += skipPast("<![CDATA[", "]]>");
      } else if (rest_.starts_with("<!--")) {
        skipPast("<!--", "-->");
      } else if (rest_.starts_with("<?")) {
        skipPast("<?", "?>");
      } else {
        requireClosing(readTag(), tag.name);
        return decoded_;
      }
    }
  }

  void appendDecoded(std::string_view text) {
    while (!text.empty()) {
      const std::size_t special = text.find_first_of("&\r");
      decoded_ += text.substr(0, special);
      if (special == std::string_view::npos) return;
      text.remove_prefix(special);
      if (text.front() == '\r') {
        // Line ends are line feeds, as XML has it.
        decoded_.push_back('\n');
        text.remove_prefix(text.starts_with("\r\n") ? 2 : 1);
      } else {
        text.remove_prefix(appendEntity(text));
      }
    }
  }

  // Answers the length of the entity that the text begins with.
  std::size_t appendEntity(std::string_view text) {
    const std::size_t end = text.find(';');
    if (end == std::string_view::npos) fail("an entity without end");
    const std::string_view name = text.substr(1, end - 1);
    if (name == "amp") {
      decoded_.push_back('&');
    } else if (name == "lt") {
      decoded_.push_back('<');
    } else if (name == "gt") {
      decoded_.push_back('>');
    } else if (name == "quot") {
      decoded_.push_back('"');
    } else if (name == "apos") {
      decoded_.push_back('\'');
    } else if (name.starts_with("#x")) {
      appendCharacter(name.substr(2), 16);
    } else if (name.starts_with("#")) {
      appendCharacter(name.substr(1), 10);
    } else {
      fail("an unknown entity");
    }
    return end + 1;
  }

  void appendCharacter(std::string_view digits, int base) {
    std::uint32_t character = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), character, base);
    const bool exists = character <= 0x10FFFF && !foundation::isSurrogate(character);
    if (error != std::errc() || end != digits.data() + digits.size() || !exists) {
      fail("a character that does not exist");
    }
    foundation::appendUTF8(decoded_, character);
  }

  Tag nextTag() {
    skipMarkup();
    if (rest_.empty()) fail("the end of the text inside the property list");
    if (rest_.front() != '<') fail("text between elements");
    return readTag();
  }

  // White space, comments, processing instructions and the document type.
  void skipMarkup() {
    while (true) {
      while (!rest_.empty() && isWhiteSpace(rest_.front())) rest_.remove_prefix(1);
      if (rest_.starts_with("<!--")) {
        skipPast("<!--", "-->");
      } else if (rest_.starts_with("<?")) {
        skipPast("<?", "?>");
      } else if (rest_.starts_with("<!DOCTYPE")) {
        skipDocumentType();
      } else {
        return;
      }
    }
  }

  // Answers what stands between the two.
  std::string_view skipPast(std::string_view opening, std::string_view closing) {
    rest_.remove_prefix(opening.size());
    const std::size_t end = rest_.find(closing);
    if (end == std::string_view::npos) fail("markup without end");
    const std::string_view content = rest_.substr(0, end);
    rest_.remove_prefix(end + closing.size());
    return content;
  }

  void skipDocumentType() {
    std::size_t brackets = 0;
    char quote = 0;
    for (std::size_t at = 0; at < rest_.size(); ++at) {
      const char character = rest_[at];
      if (quote) {
        if (character == quote) quote = 0;
      } else if (character == '"' || character == '\'') {
        quote = character;
      } else if (character == '[') {
        ++brackets;
      } else if (character == ']' && brackets > 0) {
        --brackets;
      } else if (character == '>' && brackets == 0) {
        rest_.remove_prefix(at + 1);
        return;
      }
    }
    fail("a document type without end");
  }

  // The text must begin with "<". Attributes are skipped.
  Tag readTag() {
    Tag tag;
    std::size_t at = 1;
    if (at < rest_.size() && rest_[at] == '/') {
      tag.kind = Tag::Kind::Closing;
      ++at;
    }
    const std::size_t nameStart = at;
    while (at < rest_.size() && isNameCharacter(rest_[at])) ++at;
    tag.name = rest_.substr(nameStart, at - nameStart);
    char quote = 0;
    for (; at < rest_.size(); ++at) {
      const char character = rest_[at];
      if (quote) {
        if (character == quote) quote = 0;
      } else if (character == '"' || character == '\'') {
        quote = character;
      } else if (character == '>') {
        break;
      }
    }
    if (at >= rest_.size()) fail("a tag without end");
    if (tag.kind == Tag::Kind::Opening && rest_[at - 1] == '/') tag.kind = Tag::Kind::Empty;
    rest_.remove_prefix(at + 1);
    return tag;
  }

  static void requireClosing(const Tag& tag, std::string_view name) {
    if (tag.kind != Tag::Kind::Closing || tag.name != name) fail("a tag that does not close its element");
  }

  std::string_view rest_;
  const foundation::PropertyListFactory& factory_;
  RecentTexts recentTexts_;
  std::string decoded_;  // the last text that had to be put together
};

}  // namespace

id foundation::propertyListFromXML(std::string_view xml, const PropertyListFactory& factory) {
  const auto converted = UTF8FromXML(xml);
  return XMLReader(converted ? *converted : xml, factory).read();
}

}  // namespace telvo
