#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "foundation/coding/NSCoder.h"
#include "foundation/coding/NSKeyedArchiver.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;
class NSNumber;

// Reads the objects of an archive that NSKeyedArchiver, or the original platform, wrote in binary or XML form. Whatever
// the data is, reading ends with an object or with nil, in time and memory in proportion to its size: objects that hold
// themselves, lie more than 512 deep within each other, are of a class that this process does not know (see
// NSClassFromString) or lack what they need are errors. Counted and ordered sets are read as sets. One thread at a
// time.
class NSKeyedUnarchiver : public NSCoder {
  NS_OBJECT(NSKeyedUnarchiver, NSCoder)

 public:
  NSKeyedUnarchiver(Ref<NSArray> objects, Ref<NSDictionary> top);
  ~NSKeyedUnarchiver() override;

  // The root object, read with secure coding; nil with an error when it is of none of the classes (subclasses count) or
  // cannot be read. A class's own coding decides about the classes of the objects inside; collections may hold objects
  // of the given classes and of property-list classes.
  static id unarchivedObjectOfClass_fromData_error(Class type, const Ref<NSData>& data, Ref<NSError>* error);
  static id unarchivedObjectOfClasses_fromData_error(const std::vector<Class>& classes, const Ref<NSData>& data,
                                                     Ref<NSError>* error);

  // Nil with an error when the data is no archive at all.
  static Ref<NSKeyedUnarchiver> unarchiverForReadingFromData_error(const Ref<NSData>& data, Ref<NSError>* error);

  bool requiresSecureCoding() const override { return requiresSecureCoding_; }
  void setRequiresSecureCoding(bool required) { requiresSecureCoding_ = required; }  // true at first
  // Nothing more can be read afterwards.
  void finishDecoding();

  bool containsValueForKey(const Ref<NSString>& key) const override;
  bool decodeBoolForKey(const Ref<NSString>& key) override;
  NSInteger decodeIntegerForKey(const Ref<NSString>& key) override;
  double decodeDoubleForKey(const Ref<NSString>& key) override;
  id decodeObjectForKey(const Ref<NSString>& key) override;
  id decodeObjectOfClasses_forKey(const std::vector<Class>& classes, const Ref<NSString>& key) override;
  Ref<NSArray> decodeArrayOfObjectsForKey(const Ref<NSString>& key) override;
  Ref<NSArray> decodeArrayOfDistinctObjectsForKey(const Ref<NSString>& key) override;
  Ref<NSArray> decodeArrayOfKeysForKey(const Ref<NSString>& key) override;
  id decodePropertyListForKey(const Ref<NSString>& key) override;

 private:
  using Classes = std::vector<Class>;

  // What has become of an entry of the archive.
  struct Entry {
    id object;
    std::uint64_t weight = 0;  // of the object with all that it holds, as often as it holds it
    bool isUnfinished = false;
  };

  // What is being read: the values of one object, or those at the top of the archive.
  struct Frame {
    Ref<NSDictionary> values;
    Classes classes;           // allowed where it stands
    std::uint64_t weight = 0;  // of what has been read for it
  };

  id codedValueForKey(const Ref<NSString>& key) const;
  Ref<NSArray> referencesForKey(const Ref<NSString>& key) const;
  Ref<NSNumber> numberForKey(const Ref<NSString>& key);
  Ref<NSArray> objectsReferredTo(const NSArray& references);
  bool payForComparing(const NSArray& references, const NSArray& objects);
  id objectReferredTo(const id& reference, const Classes& classes);
  id objectAt(NSUInteger index, const Classes& classes);
  bool readEntry(Entry& entry, const id& archived, const Classes& classes);
  bool makeObject(Entry& entry, const Ref<NSDictionary>& values, const Classes& classes);
  bool mayMakeObjectOf(Class type, const Classes& classes);
  id initialised(const NSCoding& coding);
  Class classOf(const NSDictionary& values);
  bool requireAllowed(Class type, const Classes& classes);
  Classes classesForContent() const;

  Ref<NSArray> objects_;
  std::vector<Entry> entries_;                // one for each of the objects
  std::map<NSUInteger, Class> knownClasses_;  // by number of their description
  std::map<const NSObject*, id> copiedKeys_;  // by key
  std::vector<Frame> frames_;                 // from the top of the archive to the object being read
  std::uint64_t affordableComparisons_;
  bool requiresSecureCoding_ = true;
};

TELVO_NAMESPACE_END
