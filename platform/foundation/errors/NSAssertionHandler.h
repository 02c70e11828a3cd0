#pragma once

#include "foundation/errors/NSException.h"
#include "foundation/runtime/NSObject.h"
#include "foundation/text/NSFormat.h"

TELVO_NAMESPACE_BEGIN

// Where failed assertions go. Any thread.
class NSAssertionHandler : public NSObject {
  NS_OBJECT(NSAssertionHandler, NSObject)

 public:
  static Ref<NSAssertionHandler> currentHandler();

  // Writes "*** Assertion failure in -[Class selector], file:line" to the system log and raises
  // NSInternalInconsistencyException with the description as its reason.
  template <class... Arguments>
  [[noreturn]] void handleFailureInMethod_object_file_lineNumber_description(SEL selector, const id& object,
                                                                             const Ref<NSString>& fileName,
                                                                             NSInteger line,
                                                                             const Ref<NSString>& format,
                                                                             const Arguments&... arguments) {
    handleFailure(selector, object, fileName, line, NSString::stringWithFormat(format, arguments...));
  }

 private:
  [[noreturn]] void handleFailure(SEL selector, const id& object, const Ref<NSString>& fileName, NSInteger line,
                                  const Ref<NSString>& description);
};

TELVO_NAMESPACE_END
