#include "foundation/runtime/NSObject.h"

#include <cstdint>
#include <mutex>

#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSException.h"
#include "foundation/runtime/NSInvocation.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

struct ClassRegistry {
  std::mutex mutex;
  std::unordered_map<std::string_view, Class> classes;
};

ClassRegistry& classRegistry() {
  static ClassRegistry& registry = *new ClassRegistry;
  return registry;
}

[[noreturn]] void raiseUnrecognizedSelector(const NSObject& receiver, SEL selector) {
  NSException::raise_format(NSInvalidArgumentException(), "-[%@ %s]: unrecognized selector sent to instance %p"_ns,
                            receiver.className(), selector.text(), reinterpret_cast<std::uintptr_t>(&receiver));
}

const NSMethod& methodOrRaise(const NSObject& receiver, SEL selector) {
  const NSMethod* method = receiver.isa()->methodForSelector(selector);
  if (!method) raiseUnrecognizedSelector(receiver, selector);
  return *method;
}

id perform(NSObject& receiver, SEL selector, const std::vector<id>& given) {
  const NSMethod& method = methodOrRaise(receiver, selector);
  // As many arguments as the method takes: missing ones are nil, superfluous ones are not looked at.
  std::vector<id> arguments = given;
  arguments.resize(method.arguments.size());
  const id keptAlive = receiver.self();
  return foundation::boxed(method.implementation(receiver, arguments));
}

}  // namespace

NSClass::NSClass(const char* name, const NSClass* superclass, std::vector<NSMethod> methods, NSCoding coding)
    : name_(name), superclass_(superclass), coding_(coding) {
  addMethods(std::move(methods));
  ClassRegistry& registry = classRegistry();
  const std::lock_guard lock(registry.mutex);
  registry.classes.emplace(name_, this);
}

bool NSClass::isSubclassOfClass(const NSClass* other) const {
  for (const NSClass* each = this; each; each = each->superclass_) {
    if (each == other) return true;
  }
  return false;
}

const NSMethod* NSClass::methodForSelector(SEL selector) const {
  for (const NSClass* each = this; each; each = each->superclass_) {
    const auto found = each->methods_.find(selector);
    if (found != each->methods_.end()) return &found->second;
  }
  return nullptr;
}

void NSClass::addMethods(std::vector<NSMethod> methods) const {
  for (NSMethod& method : methods) {
    const SEL selector = method.selector;
    methods_.insert_or_assign(selector, std::move(method));
  }
}

Class NSClassFromString(std::string_view name) {
  ClassRegistry& registry = classRegistry();
  const std::lock_guard lock(registry.mutex);
  const auto found = registry.classes.find(name);
  return found == registry.classes.end() ? nullptr : found->second;
}

Class NSObject::classObject() {
  static const NSClass object("NSObject", nullptr,
                              {
                                  method("className"_sel, &NSObject::className),
                                  method("description"_sel, &NSObject::description),
                                  method("hash"_sel, &NSObject::hash),
                                  method("isEqual:"_sel, &NSObject::isEqual),
                                  method("copy"_sel, &NSObject::copy),
                                  method("mutableCopy"_sel, &NSObject::mutableCopy),
                                  method("self"_sel, &NSObject::self),
                                  method("valueForKey:"_sel, &NSObject::valueForKey),
                                  method("valueForKeyPath:"_sel, &NSObject::valueForKeyPath),
                                  method("setValue:forKey:"_sel, &NSObject::setValue_forKey),
                              });
  return &object;
}

Ref<NSString> NSObject::className() const { return NSString::stringWithUTF8String(isa()->name()); }

bool NSObject::respondsToSelector(SEL selector) const {
  return selector && isa()->methodForSelector(selector) != nullptr;
}

Ref<NSMethodSignature> NSObject::methodSignatureForSelector(SEL selector) const {
  return make<NSMethodSignature>(methodOrRaise(*this, selector));
}

id NSObject::performSelector(SEL selector) { return perform(*this, selector, {}); }

id NSObject::performSelector_withObject(SEL selector, const id& object) { return perform(*this, selector, {object}); }

id NSObject::performSelector_withObject_withObject(SEL selector, const id& first, const id& second) {
  return perform(*this, selector, {first, second});
}

Ref<NSString> NSObject::description() const {
  return NSString::stringWithFormat("<%@: %p>"_ns, className(), reinterpret_cast<std::uintptr_t>(this));
}

NSUInteger NSObject::hash() const { return reinterpret_cast<std::uintptr_t>(this) >> 4U; }

id NSObject::copy() const { raiseUnrecognizedSelector(*this, "copyWithZone:"_sel); }

id NSObject::mutableCopy() const { raiseUnrecognizedSelector(*this, "mutableCopyWithZone:"_sel); }

bool NSEqualObjects(const id& left, const id& right) {
  if (left.get() == right.get()) return true;
  return left && right && left->isEqual(right);
}

Ref<NSString> NSDescription(const id& object) { return object ? object->description() : Ref<NSString>(); }

namespace foundation {

// What an object holds is released by its destructor, so a long chain of objects would be destroyed in as many nested
// calls. From a certain depth on an object waits until those that are being destroyed are gone.
void destroy(NSObject* object) noexcept {
  constexpr int deepest = 128;
  static thread_local int depth = 0;
  static thread_local NSObject* waiting = nullptr;
  // The count, which nobody uses any more, keeps the next one that waits.
  static_assert(sizeof(std::uintptr_t) <= sizeof object->referenceCount_);
  if (depth == deepest) {
    object->referenceCount_.store(dyingBit | reinterpret_cast<std::uintptr_t>(waiting), std::memory_order_relaxed);
    waiting = object;
    return;
  }
  ++depth;
  for (NSObject* dying = object; dying;) {
    // References to itself that the object takes and drops while it is destroyed must not destroy it once more.
    dying->referenceCount_.store(dyingBit, std::memory_order_relaxed);
    delete dying;
    dying = depth == 1 ? waiting : nullptr;
    if (dying)
      waiting = reinterpret_cast<NSObject*>(dying->referenceCount_.load(std::memory_order_relaxed) & ~dyingBit);
  }
  --depth;
}

bool retainIfAlive(NSObject* object) noexcept {
  std::uint64_t count = object->referenceCount_.load(std::memory_order_relaxed);
  do {
    if ((count & ~weaklyReferencedBit) == 0 || (count & dyingBit)) return false;
  } while (!object->referenceCount_.compare_exchange_weak(count, count + 1, std::memory_order_acquire));
  return true;
}

bool markWeaklyReferenced(NSObject* object) noexcept {
  if (object->referenceCount_.load(std::memory_order_relaxed) & dyingBit) return false;
  object->referenceCount_.fetch_or(weaklyReferencedBit, std::memory_order_relaxed);
  return true;
}

bool boolFromObject(const id& object) {
  if (const auto number = as<NSNumber>(object)) return number->boolValue();
  const auto text = as<NSString>(object);
  return text && text->boolValue();
}

NSInteger integerFromObject(const id& object) {
  if (const auto number = as<NSNumber>(object)) return number->integerValue();
  const auto text = as<NSString>(object);
  return text ? text->integerValue() : 0;
}

NSUInteger unsignedIntegerFromObject(const id& object) {
  if (const auto number = as<NSNumber>(object)) return number->unsignedIntegerValue();
  return static_cast<NSUInteger>(integerFromObject(object));
}

double doubleFromObject(const id& object) {
  if (const auto number = as<NSNumber>(object)) return number->doubleValue();
  const auto text = as<NSString>(object);
  return text ? text->doubleValue() : 0.0;
}

SEL selectorFromObject(const id& object) {
  const auto text = as<NSString>(object);
  return text ? SEL::named(text->UTF8String()) : SEL();
}

const NSClass* classFromObject(const id& object) {
  const auto name = as<NSString>(object);
  return name ? NSClassFromString(name->UTF8String()) : nullptr;
}

}  // namespace foundation

}  // namespace telvo
