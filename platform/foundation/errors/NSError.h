#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;
class NSString;

const Ref<NSString>& NSCocoaErrorDomain();
const Ref<NSString>& NSPOSIXErrorDomain();  // codes are errno values
const Ref<NSString>& NSLocalizedDescriptionKey();
const Ref<NSString>& NSFilePathErrorKey();
const Ref<NSString>& NSUnderlyingErrorKey();

// Codes in NSCocoaErrorDomain.
enum NSCocoaErrorCode : NSInteger {
  NSFileNoSuchFileError = 4,
  NSFileReadUnknownError = 256,
  NSFileReadNoPermissionError = 257,
  NSFileReadInvalidFileNameError = 258,
  NSFileReadCorruptFileError = 259,
  NSFileReadNoSuchFileError = 260,
  NSFileReadTooLargeError = 263,
  NSFileWriteUnknownError = 512,
  NSFileWriteNoPermissionError = 513,
  NSFileWriteInvalidFileNameError = 514,
  NSFileWriteFileExistsError = 516,
  NSFileWriteOutOfSpaceError = 640,
  NSFileWriteVolumeReadOnlyError = 642,
  NSPropertyListReadCorruptError = 3840,
  NSPropertyListWriteInvalidError = 3852,
};

// What went wrong: a domain, a code in it and user information. Immutable, any thread.
class NSError : public NSObject {
  NS_OBJECT(NSError, NSObject)

 public:
  NSError(Ref<NSString> domain, NSInteger code, Ref<NSDictionary> userInfo);
  ~NSError() override;

  static Ref<NSError> errorWithDomain_code_userInfo(const Ref<NSString>& domain, NSInteger code,
                                                    const Ref<NSDictionary>& userInfo);
  // An errno value with its text.
  static Ref<NSError> errorWithPOSIXCode(int code);

  const Ref<NSString>& domain() const { return domain_; }
  NSInteger code() const { return code_; }
  const Ref<NSDictionary>& userInfo() const { return userInfo_; }
  // The user information's text, or one made of domain and code.
  Ref<NSString> localizedDescription() const;

  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  Ref<NSString> domain_;
  NSInteger code_;
  Ref<NSDictionary> userInfo_;
};

// Fills the platform's optional error out-parameter.
inline void NSSetError(Ref<NSError>* error, Ref<NSError> value) {
  if (error) *error = std::move(value);
}

TELVO_NAMESPACE_END
