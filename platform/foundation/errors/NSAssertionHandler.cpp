#include "foundation/errors/NSAssertionHandler.h"

#include "foundation/errors/NSLog.h"

inline namespace telvo {

Class NSAssertionHandler::classObject() {
  static const NSClass object("NSAssertionHandler", NSObject::classObject(), {});
  return &object;
}

Ref<NSAssertionHandler> NSAssertionHandler::currentHandler() {
  static const Ref<NSAssertionHandler>& handler = *new Ref<NSAssertionHandler>(make<NSAssertionHandler>());
  return handler;
}

void NSAssertionHandler::handleFailure(SEL selector, const id& object, const Ref<NSString>& fileName, NSInteger line,
                                       const Ref<NSString>& description) {
  NSLog("*** Assertion failure in -[%@ %s], %@:%ld"_ns, object ? object->className() : nil, selector.text(), fileName,
        line);
  // The description is text by now and must not be read as a format again.
  NSException::raise_format(NSInternalInconsistencyException(), "%@"_ns, description);
}

}  // namespace telvo
