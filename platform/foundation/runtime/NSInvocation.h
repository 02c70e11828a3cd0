#pragma once

#include <string>
#include <vector>

#include "foundation/runtime/NSMethod.h"
#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

// The kinds of a method's arguments and of its result. The receiver and the selector count as the first two
// arguments. Immutable, any thread.
class NSMethodSignature : public NSObject {
  NS_OBJECT(NSMethodSignature, NSObject)

 public:
  explicit NSMethodSignature(const NSMethod& method) : result_(method.result), arguments_(method.arguments) {}

  NSUInteger numberOfArguments() const { return arguments_.size() + 2; }
  // Index 0 and 1 are the receiver and the selector; out of bounds raises NSInvalidArgumentException.
  NSValueKind argumentKindAtIndex(NSUInteger index) const;
  NSValueKind methodReturnKind() const { return result_; }

 private:
  NSValueKind result_;
  std::vector<NSValueKind> arguments_;
};

// A call that is put together first and made later. Arguments that were not set are nil. One thread at a time.
class NSInvocation : public NSObject {
  NS_OBJECT(NSInvocation, NSObject)

 public:
  explicit NSInvocation(Ref<NSMethodSignature> signature);

  // Nil raises NSInvalidArgumentException.
  static Ref<NSInvocation> invocationWithMethodSignature(const Ref<NSMethodSignature>& signature);

  const Ref<NSMethodSignature>& methodSignature() const { return signature_; }
  SEL selector() const { return selector_; }
  void setSelector(SEL selector) { selector_ = selector; }
  // Index 2 is the first argument after the receiver and the selector; others raise NSInvalidArgumentException.
  void setArgument_atIndex(const id& argument, NSUInteger index);

  // Raises NSInvalidArgumentException when the target does not respond to the selector or takes another number of
  // arguments.
  void invokeWithTarget(const id& target);

  // What the method gave: objects as they are, scalars boxed, nil for void.
  id objectReturnValue() const;
  // Scalars as an integer, unsigned ones by their bits; an object as 1; nil, void and ranges as 0.
  NSInteger integerReturnValue() const;

 private:
  Ref<NSMethodSignature> signature_;
  SEL selector_;
  std::vector<id> arguments_;
  NSMethodResult result_;
};

namespace foundation {
// A result as an object: scalars boxed, nil for void.
id boxed(const NSMethodResult& result);
}  // namespace foundation

TELVO_NAMESPACE_END
