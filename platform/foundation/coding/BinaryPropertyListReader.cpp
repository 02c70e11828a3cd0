// Property lists from the binary format. Every offset, count and size comes from the file and is believed only when
// what it stands for lies inside the file.

#include <bit>
#include <cmath>
#include <cstring>

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

[[noreturn]] void fail(const char* reason) { throw PropertyListFailure(reason); }

constexpr std::size_t trailerSize = 32;

class BinaryReader {
 public:
  BinaryReader(std::string_view bytes, const foundation::PropertyListFactory& factory)
      : bytes_(bytes), factory_(factory) {
    constexpr std::size_t smallest = foundation::binaryPropertyListHeader.size() + trailerSize;
    if (bytes.size() < smallest) fail("a binary property list that is too short");
    const std::size_t trailer = bytes.size() - trailerSize;
    offsetSize_ = static_cast<std::size_t>(integerAt(trailer + 6, 1));
    referenceSize_ = static_cast<std::size_t>(integerAt(trailer + 7, 1));
    objectCount_ = integerAt(trailer + 8, 8);
    root_ = integerAt(trailer + 16, 8);
    tableOffset_ = integerAt(trailer + 24, 8);
    if (!isSize(offsetSize_) || !isSize(referenceSize_)) fail("a trailer with impossible sizes");
    if (tableOffset_ > trailer || objectCount_ > (trailer - tableOffset_) / offsetSize_) {
      fail("a table of offsets that lies outside the file");
    }
    // A file without shared containers refers to each object once, so this stops only files that were made to unfold
    // into far more than they hold.
    constexpr std::size_t generous = 1U << 20U;
    remainingObjects_ = generous + bytes.size() * 16;
    leaves_.resize(static_cast<std::size_t>(objectCount_));
  }

  id read() { return readObject(root_, 0); }

 private:
  static bool isSize(std::size_t size) { return size >= 1 && size <= 8; }

  id readObject(std::uint64_t index, std::size_t depth) {
    if (index >= objectCount_) fail("a reference to an object that is not there");
    const auto slot = static_cast<std::size_t>(index);
    if (leaves_[slot]) return counted(leaves_[slot], depth);
    const std::uint64_t offset = integerAt(tableOffset_ + index * offsetSize_, offsetSize_);
    if (offset < foundation::binaryPropertyListHeader.size() || offset >= tableOffset_) {
      fail("an object that lies outside the file");
    }
    Cursor cursor{*this, offset};
    const unsigned marker = static_cast<unsigned>(cursor.integer(1));
    const unsigned low = marker & 0xFU;
    switch (static_cast<BinaryMarker>(marker & 0xF0U)) {
      case BinaryMarker::Array:
        factory_.countForDescription(depth, 0);
        return readArray(cursor, low, depth);
      case BinaryMarker::Dictionary:
        factory_.countForDescription(depth, 0);
        return readDictionary(cursor, low, depth);
      default:
        break;
    }
    id leaf = readLeaf(cursor, marker, low);
    if (factory_.sharesLeaves()) leaves_[slot] = leaf;
    return counted(leaf, depth);
  }

  const id& counted(const id& leaf, std::size_t depth) const {
    std::uint64_t length = 0;
    if (const auto* text = dynamic_cast<const NSString*>(leaf.get())) length = text->length();
    if (const auto* data = dynamic_cast<const NSData*>(leaf.get())) length = data->length();
    factory_.countForDescription(depth, length);
    return leaf;
  }

  // A place in the file that moves on with what is read.
  struct Cursor {
    const BinaryReader& reader;
    std::uint64_t offset;

    std::string_view bytes(std::uint64_t count) {
      if (count > reader.tableOffset_ - offset) fail("an object that reaches beyond the end");
      const auto view = reader.bytes_.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(count));
      offset += count;
      return view;
    }
    std::uint64_t integer(std::size_t size) {
      std::uint64_t value = 0;
      for (const char byte : bytes(size)) value = value << 8U | static_cast<unsigned char>(byte);
      return value;
    }
    // A count too large for the marker follows it as an integer.
    std::uint64_t count(unsigned low) {
      if (low != 0xF) return low;
      const auto marker = static_cast<unsigned>(integer(1));
      const unsigned exponent = marker & 0xFU;
      if ((marker & 0xF0U) != static_cast<unsigned>(BinaryMarker::Integer) || exponent > 3) fail("an impossible count");
      return integer(std::size_t{1} << exponent);
    }
  };

  std::vector<id> readObjects(Cursor& cursor, std::uint64_t count, std::size_t depth) {
    if (count > bytes_.size() / referenceSize_) fail("a container that is larger than the file");
    if (count > remainingObjects_) fail("a property list that unfolds without end");
    remainingObjects_ -= static_cast<std::size_t>(count);
    std::vector<id> objects;
    objects.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) objects.push_back(readObject(cursor.integer(referenceSize_), depth + 1));
    return objects;
  }

  id readArray(Cursor cursor, unsigned low, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    return factory_.array(readObjects(cursor, cursor.count(low), depth));
  }

  id readDictionary(Cursor cursor, unsigned low, std::size_t depth) {
    foundation::requirePropertyListDepth(depth);
    const std::uint64_t count = cursor.count(low);
    const std::vector<id> keys = readObjects(cursor, count, depth);
    const std::vector<id> objects = readObjects(cursor, count, depth);
    std::vector<NSDictionary::Entry> entries;
    entries.reserve(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (!as<NSString>(keys[i])) fail("a key that is no text");
      entries.emplace_back(keys[i], objects[i]);
    }
    return factory_.dictionary(std::move(entries));
  }

  id readLeaf(Cursor cursor, unsigned marker, unsigned low) const {
    constexpr unsigned booleans = 0x00;
    switch (marker & 0xF0U) {
      case booleans:
        return readBool(marker);
      case static_cast<unsigned>(BinaryMarker::Integer):
        return readInteger(cursor, low);
      case static_cast<unsigned>(BinaryMarker::Real):
        return NSNumber::numberWithDouble(readReal(cursor, low));
      case static_cast<unsigned>(BinaryMarker::Date):
        return readDate(cursor, low);
      case static_cast<unsigned>(BinaryMarker::Data):
        return factory_.data(std::string(cursor.bytes(cursor.count(low))));
      case static_cast<unsigned>(BinaryMarker::ASCIIText):
        return readASCIIText(cursor, low);
      case static_cast<unsigned>(BinaryMarker::UTF16Text):
        return readUTF16Text(cursor, low);
      case static_cast<unsigned>(BinaryMarker::UID):
        if (low > 7) fail("a reference that is too large");
        return NSPropertyListUID::uidWithValue(cursor.integer(low + 1));
      default:
        fail("an object of an unknown kind");
    }
  }

  static id readBool(unsigned marker) {
    if (marker == static_cast<unsigned>(BinaryMarker::True)) return NSNumber::numberWithBool(true);
    if (marker == static_cast<unsigned>(BinaryMarker::False)) return NSNumber::numberWithBool(false);
    fail("an object of an unknown kind");
  }

  static id readInteger(Cursor cursor, unsigned exponent) {
    // Shorter ones have no sign; sixteen bytes are how a number above the largest signed one is written.
    if (exponent > 4) fail("an integer that is too large");
    if (exponent == 4) {
      const std::uint64_t high = cursor.integer(8);
      const std::uint64_t low = cursor.integer(8);
      if (high == 0) return NSNumber::numberWithUnsignedInteger(low);
      if (high != NSUIntegerMax || low <= static_cast<NSUInteger>(NSIntegerMax)) fail("an integer that is too large");
      return NSNumber::numberWithInteger(static_cast<NSInteger>(low));
    }
    return NSNumber::numberWithInteger(static_cast<NSInteger>(cursor.integer(std::size_t{1} << exponent)));
  }

  static double readReal(Cursor cursor, unsigned exponent) {
    if (exponent == 2) return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(cursor.integer(4))));
    if (exponent == 3) return std::bit_cast<double>(cursor.integer(8));
    fail("a real of an unknown size");
  }

  static id readDate(Cursor cursor, unsigned exponent) {
    const double seconds = readReal(cursor, exponent);
    if (std::isnan(seconds)) fail("a date that is not a number");
    return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds);
  }

  id readASCIIText(Cursor cursor, unsigned low) const {
    std::u16string units;
    for (const char byte : cursor.bytes(cursor.count(low))) units.push_back(static_cast<unsigned char>(byte));
    return factory_.string(std::move(units));
  }

  id readUTF16Text(Cursor cursor, unsigned low) const {
    const std::uint64_t count = cursor.count(low);
    if (count > bytes_.size() / 2) fail("a text that is larger than the file");
    std::u16string units;
    units.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) units.push_back(static_cast<char16_t>(cursor.integer(2)));
    return factory_.string(std::move(units));
  }

  // Of the trailer and the table, whose bounds have been checked.
  std::uint64_t integerAt(std::uint64_t offset, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      value = value << 8U | static_cast<unsigned char>(bytes_[static_cast<std::size_t>(offset) + i]);
    }
    return value;
  }

  std::string_view bytes_;
  const foundation::PropertyListFactory& factory_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objectCount_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t tableOffset_ = 0;
  std::size_t remainingObjects_ = 0;
  std::vector<id> leaves_;  // by index, as far as they have been read
};

}  // namespace

id foundation::propertyListFromBinary(std::string_view bytes, const PropertyListFactory& factory) {
  return BinaryReader(bytes, factory).read();
}

}  // namespace telvo
