#pragma once

#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "foundation/coding/NSCoder.h"
#include "foundation/coding/NSPropertyList.h"

TELVO_NAMESPACE_BEGIN

class NSMutableDictionary;
class NSPropertyListUID;

// The key under which an archive keeps its root object: "root".
const Ref<NSString>& NSKeyedArchiveRootObjectKey();

// Writes objects into an archive: a property list, in which each object stands once, with its class and its values by
// key, and refers to others by number. The original platform reads it, and writes it the same way. Archived can be
// texts, numbers, dates, data, arrays, dictionaries, sets, null, URLs, UUIDs and styled texts, their mutable variants,
// and the objects of every class that has an NSCoding. Objects of other classes, objects that hold themselves, and
// more than 512 objects within each other are errors. One thread at a time.
class NSKeyedArchiver : public NSCoder {
  NS_OBJECT(NSKeyedArchiver, NSCoder)

 public:
  // With secure coding, objects of classes that do not support it are errors.
  explicit NSKeyedArchiver(bool requiresSecureCoding);
  ~NSKeyedArchiver() override;

  // The whole archive of one object, in binary form; nil with an error when it cannot be archived, or raises an
  // NSException meanwhile.
  static Ref<NSData> archivedDataWithRootObject_requiringSecureCoding_error(const id& object, bool requiresSecureCoding,
                                                                            Ref<NSError>* error);

  // Binary unless set before the data is asked for.
  void setOutputFormat(NSPropertyListFormat format) { format_ = format; }
  // The archive of everything encoded so far, complete from then on; nil after an error.
  Ref<NSData> encodedData();

  bool requiresSecureCoding() const override { return requiresSecureCoding_; }
  void encodeObject_forKey(const id& object, const Ref<NSString>& key) override;
  void encodeBool_forKey(bool value, const Ref<NSString>& key) override;
  void encodeInteger_forKey(NSInteger value, const Ref<NSString>& key) override;
  void encodeDouble_forKey(double value, const Ref<NSString>& key) override;
  void encodeArrayOfObjects_forKey(const std::vector<id>& objects, const Ref<NSString>& key) override;
  void encodePropertyList_forKey(const id& value, const Ref<NSString>& key) override;

 private:
  Ref<NSPropertyListUID> reference(const id& object);
  NSUInteger numberOfValue(const id& value);
  NSUInteger numberOfObject(const id& object);
  NSUInteger numberOfClass(Class type);
  bool mayEncode(const id& object);
  NSUInteger append(const id& entry);

  bool requiresSecureCoding_;
  NSPropertyListFormat format_ = NSPropertyListBinaryFormat_v1_0;
  Ref<NSData> encodedData_;

  std::vector<id> entries_;                                                // "$objects"
  std::vector<id> keptAlive_;                                              // so that no address is used twice
  std::unordered_map<const NSObject*, NSUInteger> numbers_;                // of objects
  std::unordered_map<id, NSUInteger, NSObjectHash, NSObjectEqual> texts_;  // numbers of texts
  std::unordered_map<Class, NSUInteger> classes_;                          // numbers of class descriptions
  std::unordered_set<const NSObject*> unfinished_;                         // objects around the one being written
  Ref<NSMutableDictionary> top_;
  Ref<NSMutableDictionary> values_;  // of the object being written
};

TELVO_NAMESPACE_END
