#include "foundation/coding/FoundationCoding.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/coding/NSCoder.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/collections/NSUUID.h"
#include "foundation/files/NSURL.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSAttributedString.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

// Texts, numbers and data without mutable variants stand in an archive as they are and never come here; what does are
// the mutable ones, and objects of other writers that have a class all the same.

void encodeString(const NSObject& object, NSCoder& coder) {
  coder.encodePropertyList_forKey(object.copy(), "NS.string"_ns);
}

Ref<NSString> stringFrom(NSCoder& coder) {
  if (const auto text = as<NSString>(coder.decodePropertyListForKey("NS.string"_ns))) return text;
  const auto bytes = as<NSData>(coder.decodePropertyListForKey("NS.bytes"_ns));
  return bytes ? NSString::stringWithData_encoding(bytes, NSUTF8StringEncoding) : Ref<NSString>();
}

id decodeString(NSCoder& coder) { return stringFrom(coder); }

id decodeMutableString(NSCoder& coder) {
  const auto text = stringFrom(coder);
  return text ? text->mutableCopy() : id();
}

void encodeData(const NSObject& object, NSCoder& coder) {
  coder.encodePropertyList_forKey(object.copy(), "NS.data"_ns);
}

Ref<NSData> dataFrom(NSCoder& coder) {
  if (const auto data = as<NSData>(coder.decodePropertyListForKey("NS.data"_ns))) return data;
  return as<NSData>(coder.decodePropertyListForKey("NS.bytes"_ns));
}

id decodeData(NSCoder& coder) { return dataFrom(coder); }

id decodeMutableData(NSCoder& coder) {
  const auto data = dataFrom(coder);
  return data ? data->mutableCopy() : id();
}

void encodeDate(const NSObject& object, NSCoder& coder) {
  coder.encodeDouble_forKey(static_cast<const NSDate&>(object).timeIntervalSinceReferenceDate(), "NS.time"_ns);
}

id decodeDate(NSCoder& coder) {
  if (!coder.containsValueForKey("NS.time"_ns)) return nil;
  return NSDate::dateWithTimeIntervalSinceReferenceDate(coder.decodeDoubleForKey("NS.time"_ns));
}

// Of what has no values, or stands in the archive as it is.
void encodeNothing(const NSObject&, NSCoder&) {}

id decodeNull(NSCoder&) { return NSNull::null(); }

// Older archives make objects of numbers.
id decodeNumber(NSCoder& coder) {
  if (coder.containsValueForKey("NS.boolval"_ns)) {
    return NSNumber::numberWithBool(coder.decodeBoolForKey("NS.boolval"_ns));
  }
  if (coder.containsValueForKey("NS.dblval"_ns)) {
    return NSNumber::numberWithDouble(coder.decodeDoubleForKey("NS.dblval"_ns));
  }
  if (!coder.containsValueForKey("NS.intval"_ns)) return nil;
  const auto number = as<NSNumber>(coder.decodePropertyListForKey("NS.intval"_ns));
  // As it stands, also when it is larger than a signed number can be.
  return number && !number->isBool() && !number->isReal()
             ? id(number)
             : id(NSNumber::numberWithInteger(coder.decodeIntegerForKey("NS.intval"_ns)));
}

void encodeArray(const NSObject& object, NSCoder& coder) {
  coder.encodeArrayOfObjects_forKey(static_cast<const NSArray&>(object).objects(), "NS.objects"_ns);
}

id decodeArray(NSCoder& coder) { return coder.decodeArrayOfObjectsForKey("NS.objects"_ns); }

id decodeMutableArray(NSCoder& coder) {
  const auto objects = coder.decodeArrayOfObjectsForKey("NS.objects"_ns);
  return objects ? objects->mutableCopy() : id();
}

void encodeSet(const NSObject& object, NSCoder& coder) {
  const auto& set = static_cast<const NSSet&>(object);
  coder.encodeArrayOfObjects_forKey({set.begin(), set.end()}, "NS.objects"_ns);
}

template <class Set>
id decodeSet(NSCoder& coder) {
  const auto members = coder.decodeArrayOfDistinctObjectsForKey("NS.objects"_ns);
  return members ? Set::setWithArray(members) : Ref<Set>();
}

void encodeDictionary(const NSObject& object, NSCoder& coder) {
  std::vector<id> keys;
  std::vector<id> objects;
  for (const auto& [key, value] : static_cast<const NSDictionary&>(object)) {
    keys.push_back(key);
    objects.push_back(value);
  }
  coder.encodeArrayOfObjects_forKey(keys, "NS.keys"_ns);
  coder.encodeArrayOfObjects_forKey(objects, "NS.objects"_ns);
}

template <class Dictionary>
id decodeDictionary(NSCoder& coder) {
  const auto keys = coder.decodeArrayOfKeysForKey("NS.keys"_ns);
  const auto objects = coder.decodeArrayOfObjectsForKey("NS.objects"_ns);
  if (!keys || !objects || keys->count() != objects->count()) return nil;
  std::vector<NSDictionary::Entry> entries;
  entries.reserve(keys->count());
  for (NSUInteger i = 0; i < keys->count(); ++i) {
    entries.emplace_back(keys->objectAtIndex(i), objects->objectAtIndex(i));
  }
  return make<Dictionary>(std::move(entries));
}

void encodeURL(const NSObject& object, NSCoder& coder) {
  const auto& url = static_cast<const NSURL&>(object);
  coder.encodeObject_forKey(url.baseURL(), "NS.base"_ns);
  coder.encodeObject_forKey(url.relativeString(), "NS.relative"_ns);
}

id decodeURL(NSCoder& coder) {
  const auto base = coder.decodeObjectOfClass_forKey<NSURL>("NS.base"_ns);
  const auto relative = coder.decodeObjectOfClass_forKey<NSString>("NS.relative"_ns);
  return NSURL::URLWithString_relativeToURL(relative, base);
}

void encodeUUID(const NSObject& object, NSCoder& coder) {
  const NSUUID::Bytes& bytes = static_cast<const NSUUID&>(object).bytes();
  coder.encodePropertyList_forKey(NSData::dataWithBytes_length(bytes.data(), bytes.size()), "NS.uuidbytes"_ns);
}

id decodeUUID(NSCoder& coder) {
  const auto data = as<NSData>(coder.decodePropertyListForKey("NS.uuidbytes"_ns));
  NSUUID::Bytes bytes;
  if (!data || data->length() != bytes.size()) return nil;
  std::copy_n(data->bytes(), bytes.size(), bytes.begin());
  return make<NSUUID>(bytes);
}

// The runs of a styled text with more than one are a list of attribute dictionaries, and bytes with two numbers for
// each run: its length, and the place of its attributes in the list. Numbers stand in groups of seven bits, the lowest
// first, all but the last with the eighth bit set.
void appendNumber(std::string& bytes, NSUInteger number) {
  for (; number > 0x7F; number >>= 7U) bytes.push_back(static_cast<char>(0x80U | (number & 0x7FU)));
  bytes.push_back(static_cast<char>(number));
}

// Nothing when the bytes end within the number, or it has more than 63 bits.
bool takeNumber(std::string_view& bytes, NSUInteger& number) {
  number = 0;
  for (unsigned shift = 0; shift < 63 && !bytes.empty(); shift += 7) {
    const auto byte = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    number |= static_cast<NSUInteger>(byte & 0x7FU) << shift;
    if (byte < 0x80) return true;
  }
  return false;
}

void encodeAttributedString(const NSObject& object, NSCoder& coder) {
  const auto& text = static_cast<const NSAttributedString&>(object);
  coder.encodeObject_forKey(text.string(), "NSString"_ns);
  std::vector<id> dictionaries;
  std::map<const NSObject*, NSUInteger> places;  // in the list
  std::string info;
  text.enumerateAttributesInRange_options_usingBlock(
      {0, text.length()}, 0, [&](const Ref<NSDictionary>& attributes, NSRange range, bool*) {
        const auto [entry, isNew] = places.emplace(attributes.get(), dictionaries.size());
        if (isNew) dictionaries.push_back(attributes);
        appendNumber(info, range.length);
        appendNumber(info, entry->second);
      });
  // The attributes of a text without runs go without a list.
  if (dictionaries.size() == 1) coder.encodeObject_forKey(dictionaries.front(), "NSAttributes"_ns);
  if (dictionaries.size() < 2) return;
  coder.encodeObject_forKey(NSArray::arrayWithVector(std::move(dictionaries)), "NSAttributes"_ns);
  coder.encodeObject_forKey(NSData::dataWithBytes(std::move(info)), "NSAttributeInfo"_ns);
}

// Immutable dictionaries, so that they are shared by the runs and not copied for each.
std::vector<Ref<NSDictionary>> dictionariesFrom(const NSArray& list) {
  std::vector<Ref<NSDictionary>> dictionaries;
  for (const id& each : list) {
    const auto attributes = as<NSDictionary>(each);
    dictionaries.push_back(attributes ? as<NSDictionary>(attributes->copy()) : Ref<NSDictionary>());
  }
  return dictionaries;
}

// False unless the runs cover the text exactly, each with attributes of the list.
bool applyRuns(NSMutableAttributedString& text, const NSArray& list, const NSData& info) {
  const std::vector<Ref<NSDictionary>> dictionaries = dictionariesFrom(list);
  std::string_view bytes = info.view();
  NSUInteger location = 0;
  while (!bytes.empty()) {
    NSUInteger length = 0;
    NSUInteger index = 0;
    if (!takeNumber(bytes, length) || !takeNumber(bytes, index)) return false;
    if (length > text.length() - location || index >= dictionaries.size() || !dictionaries[index]) return false;
    text.setAttributes_range(dictionaries[index], {location, length});
    location += length;
  }
  return location == text.length();
}

Ref<NSAttributedString> attributedStringFrom(NSCoder& coder) {
  const auto string = coder.decodeObjectOfClass_forKey<NSString>("NSString"_ns);
  if (!string) return nil;
  // What attributes have for values is not known here: every class that codes itself securely will do.
  const id attributes = coder.decodeObjectOfClasses_forKey({NSObject::classObject()}, "NSAttributes"_ns);
  const auto info = coder.decodeObjectOfClass_forKey<NSData>("NSAttributeInfo"_ns);
  if (!info) {
    const auto dictionary = as<NSDictionary>(attributes);
    return attributes && !dictionary ? Ref<NSAttributedString>() : make<NSAttributedString>(string, dictionary);
  }
  const auto list = as<NSArray>(attributes);
  if (!list) return nil;
  const auto text = make<NSMutableAttributedString>(string);
  // Never ended: joining runs would compare their attributes, which the archive could make arbitrarily large.
  text->beginEditing();
  return applyRuns(*text, *list, *info) ? make<NSAttributedString>(Ref<NSAttributedString>(text))
                                        : Ref<NSAttributedString>();
}

id decodeAttributedString(NSCoder& coder) { return attributedStringFrom(coder); }

id decodeMutableAttributedString(NSCoder& coder) {
  const auto text = attributedStringFrom(coder);
  return text ? text->mutableCopy() : id();
}

}  // namespace

void foundation::registerFoundationCoding() {
  static std::once_flag once;
  std::call_once(once, [] {
    const auto set = [](Class type, auto encode, auto decode) { type->setCoding({encode, decode, true}); };
    set(NSString::classObject(), encodeString, decodeString);
    set(NSMutableString::classObject(), encodeString, decodeMutableString);
    set(NSData::classObject(), encodeData, decodeData);
    set(NSMutableData::classObject(), encodeData, decodeMutableData);
    set(NSDate::classObject(), encodeDate, decodeDate);
    set(NSNumber::classObject(), encodeNothing, decodeNumber);
    set(NSNull::classObject(), encodeNothing, decodeNull);
    set(NSArray::classObject(), encodeArray, decodeArray);
    set(NSMutableArray::classObject(), encodeArray, decodeMutableArray);
    set(NSSet::classObject(), encodeSet, decodeSet<NSSet>);
    set(NSMutableSet::classObject(), encodeSet, decodeSet<NSMutableSet>);
    set(NSDictionary::classObject(), encodeDictionary, decodeDictionary<NSDictionary>);
    set(NSMutableDictionary::classObject(), encodeDictionary, decodeDictionary<NSMutableDictionary>);
    set(NSURL::classObject(), encodeURL, decodeURL);
    set(NSUUID::classObject(), encodeUUID, decodeUUID);
    set(NSAttributedString::classObject(), encodeAttributedString, decodeAttributedString);
    set(NSMutableAttributedString::classObject(), encodeAttributedString, decodeMutableAttributedString);
  });
}

}  // namespace telvo
