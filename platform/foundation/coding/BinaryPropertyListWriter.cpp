// Property lists in the binary format: objects one after the other, a table of where each begins, and a trailer.

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <unordered_map>

#include "foundation/coding/BinaryPropertyList.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/coding/PropertyListCoding.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

using foundation::BinaryMarker;
using foundation::PropertyListFailure;

void appendInteger(std::string& bytes, std::uint64_t value, std::size_t size) {
  for (std::size_t i = size; i > 0; --i) bytes.push_back(static_cast<char>(value >> (8 * (i - 1))));
}

// The smallest of 1, 2, 4 and 8 bytes that holds the value; the exponent of that power of two.
unsigned sizeExponent(std::uint64_t value) {
  if (value <= 0xFF) return 0;
  if (value <= 0xFFFF) return 1;
  return value <= 0xFFFFFFFF ? 2 : 3;
}

void appendMarker(std::string& bytes, BinaryMarker marker, unsigned low) {
  bytes.push_back(static_cast<char>(static_cast<unsigned>(marker) | low));
}

void appendIntegerObject(std::string& bytes, std::uint64_t value) {
  const unsigned exponent = sizeExponent(value);
  appendMarker(bytes, BinaryMarker::Integer, exponent);
  appendInteger(bytes, value, std::size_t{1} << exponent);
}

void appendCount(std::string& bytes, BinaryMarker marker, std::size_t count) {
  constexpr unsigned countFollows = 0xF;
  if (count < countFollows) return appendMarker(bytes, marker, static_cast<unsigned>(count));
  appendMarker(bytes, marker, countFollows);
  appendIntegerObject(bytes, count);
}

std::string bytesOfText(std::u16string_view units) {
  std::string bytes;
  bool isASCII = true;
  for (const char16_t unit : units) isASCII = isASCII && unit < 0x80;
  appendCount(bytes, isASCII ? BinaryMarker::ASCIIText : BinaryMarker::UTF16Text, units.size());
  for (const char16_t unit : units) appendInteger(bytes, unit, isASCII ? 1 : 2);
  return bytes;
}

std::string bytesOfReal(BinaryMarker marker, double value) {
  constexpr unsigned eightBytes = 3;
  std::string bytes;
  appendMarker(bytes, marker, eightBytes);
  appendInteger(bytes, std::bit_cast<std::uint64_t>(value), sizeof value);
  return bytes;
}

std::string bytesOfNumber(const NSNumber& number) {
  std::string bytes;
  if (number.isBool()) {
    appendMarker(bytes, number.boolValue() ? BinaryMarker::True : BinaryMarker::False, 0);
  } else if (number.isReal()) {
    return bytesOfReal(BinaryMarker::Real, number.doubleValue());
  } else if (number.integerValue() < 0) {
    // Only eight bytes carry a sign.
    appendMarker(bytes, BinaryMarker::Integer, 3);
    appendInteger(bytes, static_cast<std::uint64_t>(number.integerValue()), 8);
  } else if (number.unsignedIntegerValue() > static_cast<NSUInteger>(NSIntegerMax)) {
    appendMarker(bytes, BinaryMarker::Integer, 4);
    appendInteger(bytes, 0, 8);
    appendInteger(bytes, number.unsignedIntegerValue(), 8);
  } else {
    appendIntegerObject(bytes, number.unsignedIntegerValue());
  }
  return bytes;
}

std::string bytesOfUID(const NSPropertyListUID& uid) {
  std::string bytes;
  const std::size_t size = std::size_t{1} << sizeExponent(uid.value());
  appendMarker(bytes, BinaryMarker::UID, static_cast<unsigned>(size - 1));
  appendInteger(bytes, uid.value(), size);
  return bytes;
}

std::string bytesOfLeaf(const NSObject* object) {
  if (const auto* text = dynamic_cast<const NSString*>(object)) return bytesOfText(text->units());
  if (const auto* number = dynamic_cast<const NSNumber*>(object)) return bytesOfNumber(*number);
  if (const auto* date = dynamic_cast<const NSDate*>(object)) {
    if (std::isnan(date->timeIntervalSinceReferenceDate())) throw PropertyListFailure("a date is not a number");
    return bytesOfReal(BinaryMarker::Date, date->timeIntervalSinceReferenceDate());
  }
  if (const auto* uid = dynamic_cast<const NSPropertyListUID*>(object)) return bytesOfUID(*uid);
  const auto* data = dynamic_cast<const NSData*>(object);
  if (!data) throw PropertyListFailure("an object is of no property-list type");
  std::string bytes;
  appendCount(bytes, BinaryMarker::Data, data->length());
  bytes += data->view();
  return bytes;
}

class BinaryWriter {
 public:
  std::string write(const id& propertyList) {
    const std::size_t root = add(propertyList, 0);
    const std::size_t referenceSize = std::size_t{1} << sizeExponent(objects_.size());
    std::string bytes(foundation::binaryPropertyListHeader);
    std::vector<std::uint64_t> offsets;
    offsets.reserve(objects_.size());
    for (const Object& object : objects_) {
      offsets.push_back(bytes.size());
      bytes += object.bytes;
      for (const std::size_t reference : object.references) appendInteger(bytes, reference, referenceSize);
    }
    const std::uint64_t tableOffset = bytes.size();
    const std::size_t offsetSize = std::size_t{1} << sizeExponent(tableOffset);
    for (const std::uint64_t offset : offsets) appendInteger(bytes, offset, offsetSize);
    bytes.append(6, '\0');
    appendInteger(bytes, offsetSize, 1);
    appendInteger(bytes, referenceSize, 1);
    appendInteger(bytes, objects_.size(), 8);
    appendInteger(bytes, root, 8);
    appendInteger(bytes, tableOffset, 8);
    return bytes;
  }

 private:
  struct Object {
    std::string bytes;
    std::vector<std::size_t> references;  // of a container, written behind the bytes
  };

  std::size_t add(const id& object, std::size_t depth) {
    if (const auto* array = dynamic_cast<const NSArray*>(object.get())) return addArray(*array, depth);
    if (const auto* dictionary = dynamic_cast<const NSDictionary*>(object.get())) {
      return addDictionary(*dictionary, depth);
    }
    return addLeaf(bytesOfLeaf(object.get()));
  }

  std::size_t addArray(const NSArray& array, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    const std::size_t index = addContainer(BinaryMarker::Array, array.count());
    std::vector<std::size_t> references;
    references.reserve(array.count());
    for (const id& object : array) references.push_back(add(object, depth + 1));
    objects_[index].references = std::move(references);
    return index;
  }

  std::size_t addDictionary(const NSDictionary& dictionary, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    const std::size_t index = addContainer(BinaryMarker::Dictionary, dictionary.count());
    const auto entries = foundation::entriesInKeyOrder(dictionary);
    std::vector<std::size_t> references;
    references.reserve(entries.size() * 2);
    for (const NSDictionary::Entry* entry : entries) references.push_back(add(entry->first, depth + 1));
    for (const NSDictionary::Entry* entry : entries) references.push_back(add(entry->second, depth + 1));
    objects_[index].references = std::move(references);
    return index;
  }

  std::size_t addContainer(BinaryMarker marker, std::size_t count) {
    Object object;
    appendCount(object.bytes, marker, count);
    objects_.push_back(std::move(object));
    return objects_.size() - 1;
  }

  // Equal leaves are written once; what they are equal by is their bytes, in which 1 and "true" differ.
  std::size_t addLeaf(std::string bytes) {
    const auto [found, isNew] = leaves_.emplace(std::move(bytes), objects_.size());
    if (isNew) objects_.push_back({found->first, {}});
    return found->second;
  }

  std::vector<Object> objects_;
  std::unordered_map<std::string, std::size_t> leaves_;
};

}  // namespace

std::string foundation::binaryFromPropertyList(const id& propertyList) { return BinaryWriter().write(propertyList); }

}  // namespace telvo
