#include "foundation/coding/NSKeyedArchiver.h"

#include <utility>

#include "foundation/coding/ArchiveFormat.h"
#include "foundation/coding/FoundationCoding.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSError.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

// Immutable texts, numbers and data stand in an archive as they are, without a class.
bool isPlainValue(const id& object) {
  return object->isMemberOfClass(NSString::classObject()) || object->isMemberOfClass(NSNumber::classObject()) ||
         object->isMemberOfClass(NSData::classObject());
}

}  // namespace

const Ref<NSString>& NSKeyedArchiveRootObjectKey() { return "root"_ns; }

Class NSKeyedArchiver::classObject() {
  static const NSClass object("NSKeyedArchiver", NSCoder::classObject(), {});
  return &object;
}

NSKeyedArchiver::NSKeyedArchiver(bool requiresSecureCoding)
    : requiresSecureCoding_(requiresSecureCoding),
      entries_{foundation::archiveNullEntry()},
      top_(NSMutableDictionary::dictionary()),
      values_(top_) {
  foundation::registerFoundationCoding();
}

NSKeyedArchiver::~NSKeyedArchiver() = default;

Ref<NSData> NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(const id& object,
                                                                                    bool requiresSecureCoding,
                                                                                    Ref<NSError>* error) {
  const auto archiver = make<NSKeyedArchiver>(requiresSecureCoding);
  try {
    archiver->encodeObject_forKey(object, NSKeyedArchiveRootObjectKey());
  } catch (const Ref<NSException>& exception) {
    archiver->failWithCode(NSCoderInvalidValueError, exception->reason());
  }
  auto data = archiver->encodedData();
  if (!data) NSSetError(error, archiver->error());
  return data;
}

Ref<NSData> NSKeyedArchiver::encodedData() {
  if (encodedData_ || error()) return encodedData_;
  const auto archive = NSDictionary::dictionary({
      {foundation::archiveVersionKey(), NSNumber::numberWithInteger(foundation::archiveVersion)},
      {foundation::archiveArchiverKey(), foundation::archiveArchiver()},
      {foundation::archiveTopKey(), top_},
      {foundation::archiveObjectsKey(), NSArray::arrayWithVector(std::move(entries_))},
  });
  Ref<NSError> error;
  encodedData_ = NSPropertyListSerialization::dataWithPropertyList_format_options_error(archive, format_, 0, &error);
  if (!encodedData_) failWithError(error);
  return encodedData_;
}

void NSKeyedArchiver::encodeObject_forKey(const id& object, const Ref<NSString>& key) {
  const auto values = values_;
  values->setObject_forKey(reference(object), foundation::archiveKey(key));
}

void NSKeyedArchiver::encodeBool_forKey(bool value, const Ref<NSString>& key) {
  encodePropertyList_forKey(NSNumber::numberWithBool(value), key);
}

void NSKeyedArchiver::encodeInteger_forKey(NSInteger value, const Ref<NSString>& key) {
  encodePropertyList_forKey(NSNumber::numberWithInteger(value), key);
}

void NSKeyedArchiver::encodeDouble_forKey(double value, const Ref<NSString>& key) {
  encodePropertyList_forKey(NSNumber::numberWithDouble(value), key);
}

void NSKeyedArchiver::encodeArrayOfObjects_forKey(const std::vector<id>& objects, const Ref<NSString>& key) {
  const auto values = values_;
  const auto references = NSMutableArray::arrayWithCapacity(objects.size());
  for (const id& object : objects) references->addObject(reference(object));
  values->setObject_forKey(references, foundation::archiveKey(key));
}

void NSKeyedArchiver::encodePropertyList_forKey(const id& value, const Ref<NSString>& key) {
  values_->setObject_forKey(value, foundation::archiveKey(key));
}

Ref<NSPropertyListUID> NSKeyedArchiver::reference(const id& object) {
  // Number 0 is nil, also for what comes after an error, when the archive is lost anyway.
  if (!object || error()) return NSPropertyListUID::uidWithValue(0);
  return NSPropertyListUID::uidWithValue(isPlainValue(object) ? numberOfValue(object) : numberOfObject(object));
}

NSUInteger NSKeyedArchiver::append(const id& entry) {
  entries_.push_back(entry);
  return entries_.size() - 1;
}

NSUInteger NSKeyedArchiver::numberOfValue(const id& value) {
  // Equal texts become one. Numbers would not do: true equals 1, and must not become it.
  const bool isText = value->isKindOfClass(NSString::classObject());
  NSUInteger& number = isText ? texts_[value] : numbers_[value.get()];
  if (number == 0) {
    keptAlive_.push_back(value);
    number = append(value);
  }
  return number;
}

bool NSKeyedArchiver::mayEncode(const id& object) {
  const NSCoding* const coding = object->isa()->coding();
  if (!coding || (requiresSecureCoding_ && !coding->supportsSecureCoding)) {
    failWithCode(NSCoderInvalidValueError,
                 NSString::stringWithFormat("Objects of class %s cannot be archived."_ns, object->isa()->name()));
  } else if (unfinished_.contains(object.get())) {
    failWithCode(NSCoderInvalidValueError, "An object that holds itself cannot be archived."_ns);
  } else if (unfinished_.size() >= foundation::archiveMaximumDepth) {
    failWithCode(NSCoderInvalidValueError, "Objects lie too deep within each other to be archived."_ns);
  }
  return !error();
}

NSUInteger NSKeyedArchiver::numberOfObject(const id& object) {
  const auto known = numbers_.find(object.get());
  if (known != numbers_.end() && !unfinished_.contains(object.get())) return known->second;
  if (!mayEncode(object)) return 0;
  const auto own = NSMutableDictionary::dictionary();
  const NSUInteger number = append(own);
  numbers_.emplace(object.get(), number);
  keptAlive_.push_back(object);
  unfinished_.insert(object.get());
  const auto outer = std::exchange(values_, own);
  object->isa()->coding()->encodeWithCoder(*object, *this);
  values_ = outer;
  unfinished_.erase(object.get());
  own->setObject_forKey(NSPropertyListUID::uidWithValue(numberOfClass(object->isa())), foundation::archiveClassKey());
  return number;
}

NSUInteger NSKeyedArchiver::numberOfClass(Class type) {
  const auto known = classes_.find(type);
  if (known != classes_.end()) return known->second;
  const auto chain = NSMutableArray::array();
  for (Class each = type; each; each = each->superclass()) {
    chain->addObject(NSString::stringWithUTF8String(each->name()));
  }
  const NSUInteger number = append(NSDictionary::dictionary({
      {foundation::archiveClassNameKey(), chain->firstObject()},
      {foundation::archiveClassesKey(), chain},
  }));
  classes_.emplace(type, number);
  return number;
}

}  // namespace telvo
