#include "foundation/coding/NSCoder.h"

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/errors/NSError.h"
#include "foundation/errors/NSException.h"

inline namespace telvo {

namespace {

[[noreturn]] void raiseWrongDirection(const NSCoder& coder, const char* operation) {
  NSException::raise_format(NSInvalidArgumentException(), "-[%@ %s]: an archive is either read or written"_ns,
                            coder.className(), operation);
}

}  // namespace

Class NSCoder::classObject() {
  static const NSClass object("NSCoder", NSObject::classObject(), {});
  return &object;
}

void NSCoder::encodeObject_forKey(const id&, const Ref<NSString>&) {
  raiseWrongDirection(*this, "encodeObject:forKey:");
}

void NSCoder::encodeBool_forKey(bool, const Ref<NSString>&) { raiseWrongDirection(*this, "encodeBool:forKey:"); }

void NSCoder::encodeInteger_forKey(NSInteger, const Ref<NSString>&) {
  raiseWrongDirection(*this, "encodeInteger:forKey:");
}

void NSCoder::encodeDouble_forKey(double, const Ref<NSString>&) { raiseWrongDirection(*this, "encodeDouble:forKey:"); }

void NSCoder::encodeArrayOfObjects_forKey(const std::vector<id>&, const Ref<NSString>&) {
  raiseWrongDirection(*this, "encodeArrayOfObjects:forKey:");
}

void NSCoder::encodePropertyList_forKey(const id&, const Ref<NSString>&) {
  raiseWrongDirection(*this, "encodePropertyList:forKey:");
}

bool NSCoder::containsValueForKey(const Ref<NSString>&) const { raiseWrongDirection(*this, "containsValueForKey:"); }

bool NSCoder::decodeBoolForKey(const Ref<NSString>&) { raiseWrongDirection(*this, "decodeBoolForKey:"); }

NSInteger NSCoder::decodeIntegerForKey(const Ref<NSString>&) { raiseWrongDirection(*this, "decodeIntegerForKey:"); }

double NSCoder::decodeDoubleForKey(const Ref<NSString>&) { raiseWrongDirection(*this, "decodeDoubleForKey:"); }

id NSCoder::decodeObjectForKey(const Ref<NSString>&) { raiseWrongDirection(*this, "decodeObjectForKey:"); }

id NSCoder::decodeObjectOfClasses_forKey(const std::vector<Class>&, const Ref<NSString>&) {
  raiseWrongDirection(*this, "decodeObjectOfClasses:forKey:");
}

Ref<NSArray> NSCoder::decodeArrayOfObjectsForKey(const Ref<NSString>&) {
  raiseWrongDirection(*this, "decodeArrayOfObjectsForKey:");
}

Ref<NSArray> NSCoder::decodeArrayOfDistinctObjectsForKey(const Ref<NSString>&) {
  raiseWrongDirection(*this, "decodeArrayOfDistinctObjectsForKey:");
}

Ref<NSArray> NSCoder::decodeArrayOfKeysForKey(const Ref<NSString>&) {
  raiseWrongDirection(*this, "decodeArrayOfKeysForKey:");
}

id NSCoder::decodePropertyListForKey(const Ref<NSString>&) { raiseWrongDirection(*this, "decodePropertyListForKey:"); }

void NSCoder::failWithError(const Ref<NSError>& error) {
  if (!error_) error_ = error;
}

void NSCoder::failWithCode(NSCoderErrorCode code, const Ref<NSString>& text) {
  failWithError(NSError::errorWithDomain_code_userInfo(
      NSCocoaErrorDomain(), code, NSDictionary::dictionary({{NSLocalizedDescriptionKey(), text}})));
}

}  // namespace telvo
