#include "categories/NSObject+Telvo.h"
#include "foundation/NSArray.h"
#include "foundation/NSInvocation.h"
#include "foundation/NSLog.h"
#include "foundation/NSString.h"

namespace {

// The receiver and the selector come first in every signature.
constexpr NSUInteger implicitArguments = 2;

}  // namespace

bool telvo_isEquivalentTo(const id& object, const id& other) {
  if (!object || !other) return false;
  return object->description()->caseInsensitiveCompare(other->description()) == NSOrderedSame;
}

bool telvo_isEquivalent(const id& object, const id& other) { return telvo_isEquivalentTo(object, other); }

void telvo_performSelector_withArguments(const id& object, SEL selector, const Ref<NSArray>& arguments) {
  if (!object || !selector) return;
  const auto signature = object->methodSignatureForSelector(selector);
  const NSUInteger count = arguments ? arguments->count() : 0;
  if (signature->numberOfArguments() - implicitArguments != count) {
    NSLog("performSelector:%@ withObjects:%@ has different number of arguments"_ns, selector, arguments);
    return;
  }
  const auto invocation = NSInvocation::invocationWithMethodSignature(signature);
  invocation->setSelector(selector);
  for (NSUInteger index = 0; index < count; ++index) {
    invocation->setArgument_atIndex(arguments->objectAtIndex(index), index + implicitArguments);
  }
  invocation->invokeWithTarget(object);
}
