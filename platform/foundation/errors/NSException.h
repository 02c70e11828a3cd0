#pragma once

#include "foundation/runtime/NSObject.h"
#include "foundation/text/NSFormat.h"
#include "foundation/text/NSString.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;

// Names that the platform's own exceptions carry.
const Ref<NSString>& NSInvalidArgumentException();
const Ref<NSString>& NSRangeException();
const Ref<NSString>& NSInternalInconsistencyException();
const Ref<NSString>& NSGenericException();
const Ref<NSString>& NSUndefinedKeyException();

// The platform's exception: a name and a reason. It is thrown as a Ref:
//   catch (const Ref<NSException>& exception)
class NSException : public NSObject {
  NS_OBJECT(NSException, NSObject)

 public:
  NSException(Ref<NSString> name, Ref<NSString> reason, Ref<NSDictionary> userInfo);
  ~NSException() override;

  static Ref<NSException> exceptionWithName_reason_userInfo(const Ref<NSString>& name, const Ref<NSString>& reason,
                                                            const Ref<NSDictionary>& userInfo);
  template <class... Arguments>
  [[noreturn]] static void raise_format(const Ref<NSString>& name, const Ref<NSString>& format,
                                        const Arguments&... arguments) {
    exceptionWithName_reason_userInfo(name, NSString::stringWithFormat(format, arguments...), nil)->raise();
  }

  [[noreturn]] void raise() const;
  const Ref<NSString>& name() const { return name_; }
  const Ref<NSString>& reason() const { return reason_; }
  const Ref<NSDictionary>& userInfo() const { return userInfo_; }

  Ref<NSString> description() const override;  // the reason

 private:
  Ref<NSString> name_;
  Ref<NSString> reason_;
  Ref<NSDictionary> userInfo_;
};

TELVO_NAMESPACE_END
