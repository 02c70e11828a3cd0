#include "foundation/coding/NSPropertyList.h"

#include <array>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include "foundation/coding/BinaryPropertyList.h"
#include "foundation/coding/PropertyListCoding.h"
#include "foundation/coding/XMLEncoding.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/errors/NSError.h"
#include "foundation/files/FileIO.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

using foundation::PropertyListFactory;
using foundation::PropertyListFailure;

namespace {

bool isBinary(std::string_view bytes) {
  // Later versions of the format differ in the second digit and are read alike.
  constexpr std::string_view family = "bplist0";
  return bytes.starts_with(family);
}

// Whether it can be a property list, going by its first bytes.
bool beginsLikePropertyList(std::string_view bytes) { return isBinary(bytes) || foundation::canBeginXML(bytes); }

// Of a list in proportion to its file. Records of files with paths of one letter and all of one date, as short as a
// file can hold them, come to less than half of it.
std::uint64_t longestDescription(std::size_t fileSize) {
  constexpr std::uint64_t forEveryFile = 1U << 20U;
  constexpr std::uint64_t perByte = 32;
  return forEveryFile + perByte * fileSize;
}

std::string bytesOf(const id& propertyList, NSPropertyListFormat format) {
  if (format == NSPropertyListBinaryFormat_v1_0) return foundation::binaryFromPropertyList(propertyList);
  if (format == NSPropertyListXMLFormat_v1_0) return foundation::XMLFromPropertyList(propertyList);
  throw PropertyListFailure("the format is unknown");
}

// XML, unless that would lose something that belongs to a key.
std::string fileFrom(const id& propertyList, const foundation::Checkpoint& checkpoint) try {
  return foundation::XMLFromPropertyList(propertyList, checkpoint);
} catch (const foundation::PropertyListKeysTooSimilar&) {
  return foundation::binaryFromPropertyList(propertyList);
}

id propertyListFrom(std::string_view bytes, const PropertyListFactory& factory) {
  return isBinary(bytes) ? foundation::propertyListFromBinary(bytes, factory)
                         : foundation::propertyListFromXML(bytes, factory);
}

Ref<NSError> failure(NSInteger code, const char* consequence, const char* reason) {
  const auto text = NSString::stringWithFormat("%s: %s."_ns, consequence, reason);
  return NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain(), code,
                                                NSDictionary::dictionary({{NSLocalizedDescriptionKey(), text}}));
}

}  // namespace

Class NSPropertyListSerialization::classObject() {
  static const NSClass object("NSPropertyListSerialization", NSObject::classObject(), {});
  return &object;
}

Ref<NSData> NSPropertyListSerialization::dataWithPropertyList_format_options_error(const id& propertyList,
                                                                                   NSPropertyListFormat format,
                                                                                   NSUInteger /*options*/,
                                                                                   Ref<NSError>* error) try {
  return NSData::dataWithBytes(bytesOf(propertyList, format));
} catch (const PropertyListFailure& problem) {
  NSSetError(error, failure(NSPropertyListWriteInvalidError, "This cannot be a property list", problem.what()));
  return nil;
}

id NSPropertyListSerialization::propertyListWithData_options_format_error(const Ref<NSData>& data, NSUInteger options,
                                                                          NSPropertyListFormat* format,
                                                                          Ref<NSError>* error) try {
  if (!data) throw PropertyListFailure("there is no data");
  id propertyList = propertyListFrom(data->view(), PropertyListFactory(options));
  if (format) *format = isBinary(data->view()) ? NSPropertyListBinaryFormat_v1_0 : NSPropertyListXMLFormat_v1_0;
  return propertyList;
} catch (const PropertyListFailure& problem) {
  NSSetError(error, failure(NSPropertyListReadCorruptError, "The property list cannot be read", problem.what()));
  return nil;
}

bool NSPropertyListSerialization::propertyList_isValidForFormat(const id& propertyList, NSPropertyListFormat format) {
  return dataWithPropertyList_format_options_error(propertyList, format, 0, nullptr) != nil;
}

id foundation::propertyListWithContentsOfFile(const Ref<NSString>& path, const Checkpoint& checkpoint,
                                              PropertyListUnfolding unfolding) try {
  constexpr std::size_t largest = std::size_t{4} << 30U;
  const auto name = systemPath(path);
  const auto file = name ? openRegularFile(*name, O_RDONLY, 0, checkpoint) : FileDescriptor();
  if (!file) return nil;
  std::array<char, 4096> beginning;
  const ssize_t length = pread(file.get(), beginning.data(), beginning.size(), 0);
  if (length < 0 || !beginsLikePropertyList({beginning.data(), static_cast<std::size_t>(length)})) return nil;
  const auto bytes = contentsOfFile(file, largest);
  if (!bytes || bytes->size() == largest) return nil;
  PropertyListFactory factory(NSPropertyListImmutable, checkpoint);
  if (unfolding == PropertyListUnfolding::InProportion)
    factory.setLongestDescription(longestDescription(bytes->size()));
  return propertyListFrom(*bytes, factory);
} catch (const PropertyListFailure&) {
  return nil;
} catch (const std::bad_alloc&) {
  return nil;
}

bool foundation::writePropertyList(const id& propertyList, const Ref<NSString>& path, bool atomically,
                                   const Checkpoint& checkpoint) try {
  const auto name = systemPath(path);
  if (!name) return false;
  const std::string bytes = fileFrom(propertyList, checkpoint);
  return atomically ? writeFile(*name, bytes, true) : rewriteRegularFile(*name, bytes, checkpoint);
} catch (const PropertyListFailure&) {
  return false;
}

Ref<NSArray> NSArray::arrayWithContentsOfFile(const Ref<NSString>& path) {
  return as<NSArray>(foundation::propertyListWithContentsOfFile(path));
}

bool NSArray::writeToFile_atomically(const Ref<NSString>& path, bool atomically) const {
  return foundation::writePropertyList(self(), path, atomically);
}

Ref<NSDictionary> NSDictionary::dictionaryWithContentsOfFile(const Ref<NSString>& path) {
  return as<NSDictionary>(foundation::propertyListWithContentsOfFile(path));
}

bool NSDictionary::writeToFile_atomically(const Ref<NSString>& path, bool atomically) const {
  return foundation::writePropertyList(self(), path, atomically);
}

}  // namespace telvo
