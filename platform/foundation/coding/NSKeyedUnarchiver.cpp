#include "foundation/coding/NSKeyedUnarchiver.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/coding/ArchiveFormat.h"
#include "foundation/coding/FoundationCoding.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/collections/NSUUID.h"
#include "foundation/errors/NSError.h"
#include "foundation/errors/NSException.h"
#include "foundation/files/NSURL.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

// What comparing the keys and members of collections may cost, in steps of some nanoseconds: enough for every archive
// that was not made to take for ever.
constexpr std::uint64_t comparisonsForEveryArchive = 100'000'000;
constexpr std::uint64_t comparisonsPerObject = 64;

// Collections up to this size compare all of their keys with each other; larger ones sort them by hash first.
constexpr std::uint64_t comparedOneByOne = 8;

std::uint64_t sum(std::uint64_t left, std::uint64_t right) {
  const std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  return left > largest - right ? largest : left + right;
}

std::uint64_t product(std::uint64_t left, std::uint64_t right) {
  const std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
  return right != 0 && left > largest / right ? largest : left * right;
}

// Steps that one comparison of the value takes.
std::uint64_t weightOf(const id& value) {
  constexpr std::uint64_t bytesPerStep = 16;
  if (const auto* text = dynamic_cast<const NSString*>(value.get())) return 1 + text->length() * 2 / bytesPerStep;
  if (const auto* data = dynamic_cast<const NSData*>(value.get())) return 1 + data->length() / bytesPerStep;
  return 1;
}

const std::vector<Class>& propertyListClasses() {
  static const std::vector<Class>& classes = *new std::vector<Class>{
      NSString::classObject(), NSNumber::classObject(), NSDate::classObject(),       NSData::classObject(),
      NSNull::classObject(),   NSArray::classObject(),  NSDictionary::classObject(), NSSet::classObject(),
      NSURL::classObject(),    NSUUID::classObject()};
  return classes;
}

// Of objects whose hash is made of all their content, hardly two that differ are ever compared.
bool hasThoroughHash(const id& object) {
  static const std::vector<Class>& classes = *new std::vector<Class>{
      NSString::classObject(), NSNumber::classObject(), NSDate::classObject(), NSData::classObject(),
      NSNull::classObject(),   NSURL::classObject(),    NSUUID::classObject()};
  return std::ranges::any_of(classes, [&](Class each) { return object->isKindOfClass(each); });
}

// The class that objects of that class are made of here; null when there is none.
Class classNamed(const Ref<NSString>& name) {
  if (!name) return nullptr;
  // Members are kept in the order in which they come, each once, which is all that these sets have beyond a plain one
  // but for the counts.
  if (name->isEqualToString("NSOrderedSet"_ns)) return NSSet::classObject();
  if (name->isEqualToString("NSMutableOrderedSet"_ns)) return NSMutableSet::classObject();
  if (name->isEqualToString("NSCountedSet"_ns)) return NSMutableSet::classObject();
  return NSClassFromString(name->UTF8String());
}

bool isPlainValue(const id& entry) {
  return as<NSString>(entry) || as<NSNumber>(entry) || as<NSData>(entry) || as<NSDate>(entry);
}

}  // namespace

Class NSKeyedUnarchiver::classObject() {
  static const NSClass object("NSKeyedUnarchiver", NSCoder::classObject(), {});
  return &object;
}

NSKeyedUnarchiver::NSKeyedUnarchiver(Ref<NSArray> objects, Ref<NSDictionary> top)
    : objects_(std::move(objects)),
      entries_(objects_->count()),
      frames_{{std::move(top), {}, 0}},
      affordableComparisons_(comparisonsForEveryArchive + comparisonsPerObject * objects_->count()) {
  foundation::registerFoundationCoding();
}

NSKeyedUnarchiver::~NSKeyedUnarchiver() = default;

id NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(Class type, const Ref<NSData>& data, Ref<NSError>* error) {
  return unarchivedObjectOfClasses_fromData_error({type}, data, error);
}

id NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(const std::vector<Class>& classes,
                                                               const Ref<NSData>& data, Ref<NSError>* error) {
  const auto unarchiver = unarchiverForReadingFromData_error(data, error);
  if (!unarchiver) return nil;
  id object = unarchiver->decodeObjectOfClasses_forKey(classes, NSKeyedArchiveRootObjectKey());
  unarchiver->finishDecoding();
  if (!object) NSSetError(error, unarchiver->error());
  return object;
}

Ref<NSKeyedUnarchiver> NSKeyedUnarchiver::unarchiverForReadingFromData_error(const Ref<NSData>& data,
                                                                             Ref<NSError>* error) {
  const auto archive =
      as<NSDictionary>(NSPropertyListSerialization::propertyListWithData_options_format_error(data, 0, nullptr, error));
  const auto objects = archive ? as<NSArray>(archive->objectForKey(foundation::archiveObjectsKey())) : Ref<NSArray>();
  const auto top = archive ? as<NSDictionary>(archive->objectForKey(foundation::archiveTopKey())) : Ref<NSDictionary>();
  const bool isKeyed =
      archive && NSEqualObjects(archive->objectForKey(foundation::archiveArchiverKey()), foundation::archiveArchiver());
  const auto version = archive ? as<NSNumber>(archive->objectForKey(foundation::archiveVersionKey())) : Ref<NSNumber>();
  if (isKeyed && objects && top && version && version->integerValue() == foundation::archiveVersion) {
    return make<NSKeyedUnarchiver>(objects, top);
  }
  const auto reason = NSDictionary::dictionary({{NSLocalizedDescriptionKey(), "The data is no archive."_ns}});
  NSSetError(error, NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain(), NSCoderReadCorruptError, reason));
  return nil;
}

void NSKeyedUnarchiver::finishDecoding() {
  frames_.back().values = nil;
  objects_ = NSArray::array();
  entries_.clear();
}

id NSKeyedUnarchiver::codedValueForKey(const Ref<NSString>& key) const {
  const Ref<NSDictionary>& values = frames_.back().values;
  return values && !error() ? values->objectForKey(foundation::archiveKey(key)) : id();
}

bool NSKeyedUnarchiver::containsValueForKey(const Ref<NSString>& key) const { return codedValueForKey(key) != nil; }

Ref<NSNumber> NSKeyedUnarchiver::numberForKey(const Ref<NSString>& key) {
  const id value = codedValueForKey(key);
  auto number = as<NSNumber>(value);
  if (value && !number) {
    failWithCode(NSCoderInvalidValueError,
                 NSString::stringWithFormat("The value for the key %@ is no number."_ns, key));
  }
  return number;
}

bool NSKeyedUnarchiver::decodeBoolForKey(const Ref<NSString>& key) {
  const auto number = numberForKey(key);
  return number && number->boolValue();
}

NSInteger NSKeyedUnarchiver::decodeIntegerForKey(const Ref<NSString>& key) {
  const auto number = numberForKey(key);
  return number ? number->integerValue() : 0;
}

double NSKeyedUnarchiver::decodeDoubleForKey(const Ref<NSString>& key) {
  const auto number = numberForKey(key);
  return number ? number->doubleValue() : 0.0;
}

id NSKeyedUnarchiver::decodePropertyListForKey(const Ref<NSString>& key) {
  id value = codedValueForKey(key);
  // Some writers make objects of values that others put in place.
  if (as<NSPropertyListUID>(value)) return objectReferredTo(value, propertyListClasses());
  if (value) frames_.back().weight = sum(frames_.back().weight, weightOf(value));
  return value;
}

id NSKeyedUnarchiver::decodeObjectForKey(const Ref<NSString>& key) {
  const id value = codedValueForKey(key);
  return value ? objectReferredTo(value, classesForContent()) : id();
}

id NSKeyedUnarchiver::decodeObjectOfClasses_forKey(const std::vector<Class>& classes, const Ref<NSString>& key) {
  const id value = codedValueForKey(key);
  return value ? objectReferredTo(value, classes) : id();
}

// Newer archives have one list of references, under a key such as "NS.objects". Older ones have each reference under a
// key of its own, "NS.object.0" and so on, and counted sets "NS.object0".
Ref<NSArray> NSKeyedUnarchiver::referencesForKey(const Ref<NSString>& key) const {
  if (const id list = codedValueForKey(key)) return as<NSArray>(list);
  if (!key || !key->hasSuffix("s"_ns)) return nil;
  const auto single = key->substringToIndex(key->length() - 1);
  for (const auto& format : {"%@.%lu"_ns, "%@%lu"_ns}) {
    std::vector<id> references;
    while (id reference = codedValueForKey(NSString::stringWithFormat(format, single, references.size()))) {
      references.push_back(std::move(reference));
    }
    if (!references.empty()) return NSArray::arrayWithVector(std::move(references));
  }
  return nil;
}

Ref<NSArray> NSKeyedUnarchiver::objectsReferredTo(const NSArray& references) {
  const Classes classes = classesForContent();
  std::vector<id> objects;
  objects.reserve(references.count());
  for (const id& reference : references) {
    objects.push_back(objectReferredTo(reference, classes));
    if (!objects.back()) return nil;
  }
  return NSArray::arrayWithVector(std::move(objects));
}

Ref<NSArray> NSKeyedUnarchiver::decodeArrayOfObjectsForKey(const Ref<NSString>& key) {
  const auto references = referencesForKey(key);
  return references ? objectsReferredTo(*references) : Ref<NSArray>();
}

Ref<NSArray> NSKeyedUnarchiver::decodeArrayOfDistinctObjectsForKey(const Ref<NSString>& key) {
  const auto references = referencesForKey(key);
  const auto objects = references ? objectsReferredTo(*references) : Ref<NSArray>();
  return objects && payForComparing(*references, *objects) ? objects : Ref<NSArray>();
}

Ref<NSArray> NSKeyedUnarchiver::decodeArrayOfKeysForKey(const Ref<NSString>& key) {
  const auto objects = decodeArrayOfDistinctObjectsForKey(key);
  if (!objects) return nil;
  std::vector<id> keys;
  keys.reserve(objects->count());
  for (const id& object : *objects) {
    if (!object->conformsToCopying()) return nil;
    // A dictionary copies its keys. Here each is copied once and not for every dictionary that has it.
    id& copy = copiedKeys_[object.get()];
    if (!copy) copy = object->copy();
    keys.push_back(copy);
  }
  return NSArray::arrayWithVector(std::move(keys));
}

// What the objects take to be put into a set; false with an error when the archive has used up its share.
bool NSKeyedUnarchiver::payForComparing(const NSArray& references, const NSArray& objects) {
  std::uint64_t weight = 0;
  std::uint64_t clashing = 0;  // objects that may all have the same hash
  std::uint64_t clashingWeight = 0;
  for (NSUInteger i = 0; i < objects.count(); ++i) {
    const std::uint64_t own = entries_[as<NSPropertyListUID>(references.objectAtIndex(i))->value()].weight;
    weight = sum(weight, own);
    if (hasThoroughHash(objects.objectAtIndex(i))) continue;
    ++clashing;
    clashingWeight = sum(clashingWeight, own);
  }
  const std::uint64_t cost =
      sum(product(std::min(objects.count(), comparedOneByOne), weight), product(clashing, clashingWeight));
  if (cost > affordableComparisons_) {
    failWithCode(NSCoderReadCorruptError, "The archive has collections that are too complicated to be compared."_ns);
    return false;
  }
  affordableComparisons_ -= cost;
  return true;
}

id NSKeyedUnarchiver::objectReferredTo(const id& reference, const Classes& classes) {
  const auto number = as<NSPropertyListUID>(reference);
  if (number && number->value() < entries_.size()) return objectAt(number->value(), classes);
  failWithCode(NSCoderReadCorruptError, "The archive refers to an object that is not in it."_ns);
  return nil;
}

id NSKeyedUnarchiver::objectAt(NSUInteger index, const Classes& classes) {
  if (error()) return nil;
  const id& archived = objects_->objectAtIndex(index);
  if (index == 0 && NSEqualObjects(archived, foundation::archiveNullEntry())) return nil;
  Entry& entry = entries_[index];
  if (entry.isUnfinished) {
    failWithCode(NSCoderReadCorruptError, "The archive has an object that holds itself."_ns);
    return nil;
  }
  if (!entry.object && !readEntry(entry, archived, classes)) return nil;
  if (!requireAllowed(entry.object->isa(), classes)) return nil;
  frames_.back().weight = sum(frames_.back().weight, entry.weight);
  return entry.object;
}

bool NSKeyedUnarchiver::readEntry(Entry& entry, const id& archived, const Classes& classes) {
  if (const auto values = as<NSDictionary>(archived)) return makeObject(entry, values, classes);
  if (!isPlainValue(archived)) {
    failWithCode(NSCoderReadCorruptError, "The archive has an entry that is no object."_ns);
    return false;
  }
  entry.object = archived;
  entry.weight = weightOf(archived);
  return true;
}

bool NSKeyedUnarchiver::makeObject(Entry& entry, const Ref<NSDictionary>& values, const Classes& classes) {
  const Class type = classOf(*values);
  if (!type || !mayMakeObjectOf(type, classes)) return false;
  constexpr std::uint64_t ownWeight = 1;
  frames_.push_back({values, classes, ownWeight});
  entry.isUnfinished = true;
  entry.object = initialised(*type->coding());
  entry.isUnfinished = false;
  entry.weight = frames_.back().weight;
  frames_.pop_back();
  if (!entry.object) {
    failWithCode(NSCoderValueNotFoundError,
                 NSString::stringWithFormat("An object of class %s lacks some of its values."_ns, type->name()));
  }
  return !error();
}

bool NSKeyedUnarchiver::mayMakeObjectOf(Class type, const Classes& classes) {
  if (!requireAllowed(type, classes)) return false;
  const NSCoding* const coding = type->coding();
  if (!coding || (requiresSecureCoding_ && !coding->supportsSecureCoding)) {
    failWithCode(NSCoderInvalidValueError,
                 NSString::stringWithFormat("Objects of class %s cannot be unarchived."_ns, type->name()));
  } else if (frames_.size() > foundation::archiveMaximumDepth) {
    failWithCode(NSCoderReadCorruptError, "The archive has objects too deep within each other."_ns);
  }
  return !error();
}

id NSKeyedUnarchiver::initialised(const NSCoding& coding) {
  try {
    return coding.initWithCoder(*this);
  } catch (const Ref<NSException>& exception) {
    failWithCode(NSCoderReadCorruptError, exception->reason());
    return nil;
  }
}

Class NSKeyedUnarchiver::classOf(const NSDictionary& values) {
  const auto reference = as<NSPropertyListUID>(values.objectForKey(foundation::archiveClassKey()));
  const NSUInteger number = reference ? reference->value() : 0;
  const auto known = knownClasses_.find(number);
  if (known != knownClasses_.end()) return known->second;
  const auto description = number < objects_->count() ? as<NSDictionary>(objects_->objectAtIndex(number)) : nil;
  const auto name =
      description ? as<NSString>(description->objectForKey(foundation::archiveClassNameKey())) : Ref<NSString>();
  Class type = classNamed(name);
  // Names of classes that will do where the first one is not known.
  const auto hints =
      description ? as<NSArray>(description->objectForKey(foundation::archiveClassHintsKey())) : Ref<NSArray>();
  for (NSUInteger i = 0; !type && hints && i < hints->count(); ++i)
    type = classNamed(as<NSString>(hints->objectAtIndex(i)));
  if (!type) {
    failWithCode(NSCoderReadCorruptError,
                 NSString::stringWithFormat("The archive has an object of the unknown class %@."_ns, name));
  }
  knownClasses_.emplace(number, type);
  return type;
}

bool NSKeyedUnarchiver::requireAllowed(Class type, const Classes& classes) {
  if (!requiresSecureCoding_) return true;
  if (std::ranges::any_of(classes, [&](Class each) { return type->isSubclassOfClass(each); })) return true;
  failWithCode(NSCoderInvalidValueError,
               NSString::stringWithFormat("The archive has an object of class %s where none may be."_ns, type->name()));
  return false;
}

NSKeyedUnarchiver::Classes NSKeyedUnarchiver::classesForContent() const {
  Classes classes = frames_.back().classes;
  for (const Class each : propertyListClasses()) {
    if (std::ranges::find(classes, each) == classes.end()) classes.push_back(each);
  }
  return classes;
}

}  // namespace telvo
