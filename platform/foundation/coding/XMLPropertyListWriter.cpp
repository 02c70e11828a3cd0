// Property lists as XML text, written straight into one string: the file of a large upload holds a million texts.

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <unordered_set>

#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/coding/PropertyListCoding.h"
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

constexpr std::string_view header =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

class XMLWriter {
 public:
  explicit XMLWriter(const foundation::Checkpoint& checkpoint) : checkpoint_(checkpoint) {}

  std::string write(const id& propertyList) {
    output_ = header;
    writeObject(propertyList, 0);
    output_ += "</plist>\n";
    return std::move(output_);
  }

  std::string writeElementOfArray(const id& element) {
    writeObject(element, 1);
    return std::move(output_);
  }

 private:
  void writeObject(const id& object, std::size_t depth) {
    if (!object) throw PropertyListFailure("an object is missing");
    const Class kind = object->isa();
    const NSObject& item = *object;
    if (kind->isSubclassOfClass(NSString::classObject())) {
      writeText("string", static_cast<const NSString&>(item).units(), depth);
    } else if (kind->isSubclassOfClass(NSDictionary::classObject())) {
      writeDictionary(static_cast<const NSDictionary&>(item), depth);
    } else if (kind->isSubclassOfClass(NSNumber::classObject())) {
      writeNumber(static_cast<const NSNumber&>(item), depth);
    } else if (kind->isSubclassOfClass(NSDate::classObject())) {
      writeDate(static_cast<const NSDate&>(item), depth);
    } else if (kind->isSubclassOfClass(NSArray::classObject())) {
      writeArray(static_cast<const NSArray&>(item), depth);
    } else if (kind->isSubclassOfClass(NSData::classObject())) {
      writeData(static_cast<const NSData&>(item), depth);
    } else if (kind->isSubclassOfClass(NSPropertyListUID::classObject())) {
      writeUID(static_cast<const NSPropertyListUID&>(item), depth);
    } else {
      throw PropertyListFailure("an object is of no property-list type");
    }
  }

  void writeArray(const NSArray& array, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    if (array.count() == 0) return writeLine("<array/>", depth);
    writeLine("<array>", depth);
    for (const id& object : array) {
      foundation::passCheckpoint(checkpoint_);
      writeObject(object, depth + 1);
    }
    writeLine("</array>", depth);
  }

  void writeDictionary(const NSDictionary& dictionary, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    if (dictionary.count() == 0) return writeLine("<dict/>", depth);
    writeLine("<dict>", depth);
    const auto entries = foundation::entriesInKeyOrder(dictionary);
    bool keysAreWhole = true;
    for (const NSDictionary::Entry* entry : entries) {
      const std::size_t replacementsBefore = replacements_;
      writeText("key", keyOf(*entry), depth + 1);
      if (replacements_ != replacementsBefore) keysAreWhole = false;
      writeObject(entry->second, depth + 1);
    }
    if (!keysAreWhole) requireDistinctKeys(entries);
    writeLine("</dict>", depth);
  }

  static std::u16string_view keyOf(const NSDictionary::Entry& entry) {
    return static_cast<const NSString&>(*entry.first).units();
  }

  // A reader would keep only one of two keys that are written alike.
  void requireDistinctKeys(const std::vector<const NSDictionary::Entry*>& entries) {
    std::unordered_set<std::string> texts;
    const std::size_t end = output_.size();
    for (const NSDictionary::Entry* entry : entries) {
      appendEscaped(keyOf(*entry));
      if (!texts.insert(output_.substr(end)).second) throw foundation::PropertyListKeysTooSimilar();
      output_.resize(end);
    }
  }

  void writeNumber(const NSNumber& number, std::size_t depth) {
    if (number.isBool()) return writeLine(number.boolValue() ? "<true/>" : "<false/>", depth);
    if (!number.isReal()) return writeElement("integer", number.stringValue()->UTF8String(), depth);
    const double value = number.doubleValue();
    if (std::isnan(value)) return writeElement("real", "nan", depth);
    if (std::isinf(value)) return writeElement("real", value > 0 ? "+infinity" : "-infinity", depth);
    writeElement("real", number.stringValue()->UTF8String(), depth);
  }

  void writeDate(const NSDate& date, std::size_t depth) {
    if (std::isnan(date.timeIntervalSince1970())) throw PropertyListFailure("a date is not a number");
    const foundation::CivilTime time = foundation::civilTimeFrom(date.timeIntervalSince1970());
    indent(depth);
    output_ += "<date>";
    foundation::appendDate(output_, time);
    output_.push_back('T');
    foundation::appendTimeOfDay(output_, time);
    output_ += "Z</date>\n";
  }

  void writeData(const NSData& data, std::size_t depth) {
    constexpr std::size_t lineLength = 76;
    const std::string text = foundation::base64FromBytes(data.view());
    writeLine("<data>", depth);
    for (std::size_t at = 0; at < text.size(); at += lineLength) {
      writeLine(std::string_view(text).substr(at, lineLength), depth);
    }
    writeLine("</data>", depth);
  }

  void writeUID(const NSPropertyListUID& uid, std::size_t depth) {
    writeLine("<dict>", depth);
    writeElement("key", "CF$UID", depth + 1);
    writeElement("integer", std::to_string(uid.value()), depth + 1);
    writeLine("</dict>", depth);
  }

  void writeText(std::string_view element, std::u16string_view units, std::size_t depth) {
    indent(depth);
    output_.push_back('<');
    output_ += element;
    output_.push_back('>');
    appendEscaped(units);
    output_ += "</";
    output_ += element;
    output_ += ">\n";
  }

  void appendEscaped(std::u16string_view units) {
    while (!units.empty()) {
      const auto special = std::ranges::find_if_not(units, isPlain);
      const auto plain = static_cast<std::size_t>(special - units.begin());
      appendPlain(units.substr(0, plain));
      units.remove_prefix(plain);
      if (units.empty()) return;
      if (units.front() < 0x80) {
        appendASCII(static_cast<char>(units.front()));
        units.remove_prefix(1);
      } else {
        units.remove_prefix(appendCharacter(units));
      }
    }
  }

  // ASCII that stands for itself.
  static bool isPlain(char16_t unit) {
    return unit >= u' ' && unit < 0x80 && unit != u'&' && unit != u'<' && unit != u'>';
  }

  void appendPlain(std::u16string_view units) {
    const std::size_t length = output_.size();
    output_.resize(length + units.size());
    std::ranges::transform(units, output_.begin() + static_cast<std::ptrdiff_t>(length),
                           [](char16_t unit) { return static_cast<char>(unit); });
  }

  void appendASCII(char character) {
    switch (character) {
      case '&':
        output_ += "&amp;";
        break;
      case '<':
        output_ += "&lt;";
        break;
      case '>':
        output_ += "&gt;";
        break;
      case '\r':
        output_ += "&#13;";  // a reader would take a bare one for a line end and make a line feed of it
        break;
      default:
        if (character < ' ' && character != '\t' && character != '\n') {
          appendReplacement();
        } else {
          output_.push_back(character);
        }
    }
  }

  // The first character of the units as UTF-8; answers how many units it takes.
  std::size_t appendCharacter(std::u16string_view units) {
    const char32_t character = foundation::characterAt(units, 0);
    if (foundation::isSurrogate(character) || character == 0xFFFE || character == 0xFFFF) {
      appendReplacement();
    } else {
      foundation::appendUTF8(output_, character);
    }
    return foundation::lengthOfCharacterAt(units, 0);
  }

  void appendReplacement() {
    output_ += replacementCharacter;
    ++replacements_;
  }

  void writeElement(std::string_view element, std::string_view plainText, std::size_t depth) {
    indent(depth);
    output_.push_back('<');
    output_ += element;
    output_.push_back('>');
    output_ += plainText;
    output_ += "</";
    output_ += element;
    output_ += ">\n";
  }

  void writeLine(std::string_view line, std::size_t depth) {
    indent(depth);
    output_ += line;
    output_.push_back('\n');
  }

  void indent(std::size_t depth) { output_.append(depth, '\t'); }

  const foundation::Checkpoint& checkpoint_;
  std::string output_;
  std::size_t replacements_ = 0;  // of characters that XML cannot hold
};

}  // namespace

std::string foundation::XMLFromPropertyList(const id& propertyList, const Checkpoint& checkpoint) {
  return XMLWriter(checkpoint).write(propertyList);
}

std::string foundation::XMLArrayBeginning() { return std::string(header) + "<array>\n"; }

std::string foundation::XMLArrayElement(const id& element) { return XMLWriter(nullptr).writeElementOfArray(element); }

std::string_view foundation::XMLArrayEnd() { return "</array>\n</plist>\n"; }

}  // namespace telvo
