#include "foundation/runtime/NSInvocation.h"

#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

Class NSMethodSignature::classObject() {
  static const NSClass object("NSMethodSignature", NSObject::classObject(),
                              {method("numberOfArguments"_sel, &NSMethodSignature::numberOfArguments)});
  return &object;
}

NSValueKind NSMethodSignature::argumentKindAtIndex(NSUInteger index) const {
  if (index >= numberOfArguments()) {
    NSException::raise_format(NSInvalidArgumentException(), "argument index %lu out of bounds"_ns, index);
  }
  return index < 2 ? NSValueKind::Object : arguments_[index - 2];
}

Class NSInvocation::classObject() {
  static const NSClass object("NSInvocation", NSObject::classObject(), {});
  return &object;
}

NSInvocation::NSInvocation(Ref<NSMethodSignature> signature)
    : signature_(std::move(signature)), arguments_(signature_->numberOfArguments() - 2) {}

Ref<NSInvocation> NSInvocation::invocationWithMethodSignature(const Ref<NSMethodSignature>& signature) {
  if (!signature) NSException::raise_format(NSInvalidArgumentException(), "method signature argument cannot be nil"_ns);
  return make<NSInvocation>(signature);
}

void NSInvocation::setArgument_atIndex(const id& argument, NSUInteger index) {
  if (index < 2 || index - 2 >= arguments_.size()) {
    NSException::raise_format(NSInvalidArgumentException(), "argument index %lu out of bounds"_ns, index);
  }
  arguments_[index - 2] = argument;
}

void NSInvocation::invokeWithTarget(const id& target) {
  result_ = {};
  if (!target) return;  // a message to nil
  const NSMethod* method = target->isa()->methodForSelector(selector_);
  if (!method || method->arguments.size() != arguments_.size()) {
    NSException::raise_format(NSInvalidArgumentException(), "-[%@ %s]: unrecognized selector sent to instance"_ns,
                              target->className(), selector_.text());
  }
  const id keptAlive = target;  // the method may drop the caller's reference
  result_ = method->implementation(*keptAlive, arguments_);
}

id NSInvocation::objectReturnValue() const { return foundation::boxed(result_); }

NSInteger NSInvocation::integerReturnValue() const {
  if (const auto* object = std::get_if<id>(&result_)) return *object ? 1 : 0;
  if (const auto* number = std::get_if<NSUInteger>(&result_)) return static_cast<NSInteger>(*number);
  const auto number = as<NSNumber>(foundation::boxed(result_));
  return number ? number->integerValue() : 0;
}

id foundation::boxed(const NSMethodResult& result) {
  if (const auto* object = std::get_if<id>(&result)) return *object;
  if (const auto* flag = std::get_if<bool>(&result)) return NSNumber::numberWithBool(*flag);
  if (const auto* integer = std::get_if<NSInteger>(&result)) return NSNumber::numberWithInteger(*integer);
  if (const auto* number = std::get_if<NSUInteger>(&result)) return NSNumber::numberWithUnsignedInteger(*number);
  if (const auto* real = std::get_if<double>(&result)) return NSNumber::numberWithDouble(*real);
  if (const auto* range = std::get_if<NSRange>(&result)) {
    return NSString::stringWithFormat("{%lu, %lu}"_ns, range->location, range->length);
  }
  return nil;
}

}  // namespace telvo
