#pragma once

#include <vector>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSData;
class NSError;
class NSString;

// Codes in NSCocoaErrorDomain.
enum NSCoderErrorCode : NSInteger {
  NSCoderReadCorruptError = 4864,    // not an archive, or a damaged one
  NSCoderValueNotFoundError = 4865,  // a key is missing
  NSCoderInvalidValueError = 4866,   // a value of the wrong class, or one that cannot be archived
};

// What an object sees of the archive that it is written to or read from: values under keys, its own ones only. An
// object writes itself with the encoding calls and is made again with the decoding ones; see NSCoding. Calling the
// ones of the other direction raises NSInvalidArgumentException. One thread at a time.
class NSCoder : public NSObject {
  NS_OBJECT(NSCoder, NSObject)

 public:
  virtual bool requiresSecureCoding() const = 0;

  // Writing. A nil object is written as one; a key that is set twice keeps the later value.
  virtual void encodeObject_forKey(const id& object, const Ref<NSString>& key);
  virtual void encodeBool_forKey(bool value, const Ref<NSString>& key);
  virtual void encodeInteger_forKey(NSInteger value, const Ref<NSString>& key);
  virtual void encodeDouble_forKey(double value, const Ref<NSString>& key);
  // Objects one by one under a single key, the way collections keep their content.
  virtual void encodeArrayOfObjects_forKey(const std::vector<id>& objects, const Ref<NSString>& key);
  // A text, number or data in place, not as an object of its own.
  virtual void encodePropertyList_forKey(const id& value, const Ref<NSString>& key);

  // Reading. A missing key reads as nil, 0 or false, as does a value of another kind; the latter is an error of the
  // coder besides, as is an object that cannot be made.
  virtual bool containsValueForKey(const Ref<NSString>& key) const;
  virtual bool decodeBoolForKey(const Ref<NSString>& key);
  virtual NSInteger decodeIntegerForKey(const Ref<NSString>& key);
  virtual double decodeDoubleForKey(const Ref<NSString>& key);
  // With secure coding, of the classes that are allowed where the object itself stands, and property-list values.
  virtual id decodeObjectForKey(const Ref<NSString>& key);
  // An object of one of the classes, subclasses included; another one is an error when secure coding is required.
  virtual id decodeObjectOfClasses_forKey(const std::vector<Class>& classes, const Ref<NSString>& key);
  template <class T>
  Ref<T> decodeObjectOfClass_forKey(const Ref<NSString>& key) {
    return as<T>(decodeObjectOfClasses_forKey({T::classObject()}, key));
  }
  // Nil unless every one of the objects could be made; classes as with decodeObjectForKey().
  virtual Ref<NSArray> decodeArrayOfObjectsForKey(const Ref<NSString>& key);
  // The same for objects that will be compared with each other, as keys and members of sets are; an error when that
  // would take time out of proportion.
  virtual Ref<NSArray> decodeArrayOfDistinctObjectsForKey(const Ref<NSString>& key);
  // The same for keys of a dictionary: copies, and nil when there is one that cannot be copied.
  virtual Ref<NSArray> decodeArrayOfKeysForKey(const Ref<NSString>& key);
  virtual id decodePropertyListForKey(const Ref<NSString>& key);

  // The first error stands and makes the whole archive fail: reading gives nil from then on.
  void failWithError(const Ref<NSError>& error);
  void failWithCode(NSCoderErrorCode code, const Ref<NSString>& text);
  const Ref<NSError>& error() const { return error_; }

 private:
  Ref<NSError> error_;
};

TELVO_NAMESPACE_END
