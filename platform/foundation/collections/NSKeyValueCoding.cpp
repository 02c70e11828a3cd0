// The methods of NSObject that reach values by key and by key path, and those of the collections that do it for their
// elements.

#include <string>
#include <string_view>

#include "foundation/collections/KeyPathOperators.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/collections/NestingLevel.h"
#include "foundation/errors/NSException.h"
#include "foundation/runtime/NSInvocation.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

[[noreturn]] void raiseUndefinedKey(const NSObject& receiver, const Ref<NSString>& key) {
  NSException::raise_format(NSUndefinedKeyException(),
                            "[%@ %p] this class is not key value coding-compliant for the key %@."_ns,
                            receiver.className(), reinterpret_cast<std::uintptr_t>(&receiver), key);
}

SEL setterOf(const Ref<NSString>& key) {
  if (key->length() == 0) return {};
  return SEL::named("set" + key->substringToIndex(1)->uppercaseString()->UTF8String() +
                    key->substringFromIndex(1)->UTF8String() + ":");
}

Ref<NSString> textOf(std::u16string_view units) { return NSString::stringWithUnits(std::u16string(units)); }

// A collection's own value, such as its "count", goes by the name with this in front; others are its elements'.
bool isOfCollectionItself(const Ref<NSString>& key) { return key && key->units().starts_with(u'@'); }

}  // namespace

id NSObject::valueForKey(const Ref<NSString>& key) const {
  const SEL getter = key ? SEL::named(key->UTF8String()) : SEL();
  const NSMethod* method = getter ? isa()->methodForSelector(getter) : nullptr;
  if (!method || !method->arguments.empty() || method->result == NSValueKind::Void) raiseUndefinedKey(*this, key);
  const id keptAlive = self();
  return foundation::boxed(method->implementation(*keptAlive, {}));
}

void NSObject::setValue_forKey(const id& value, const Ref<NSString>& key) {
  const SEL setter = key ? setterOf(key) : SEL();
  const NSMethod* method = setter ? isa()->methodForSelector(setter) : nullptr;
  if (!method || method->arguments.size() != 1) raiseUndefinedKey(*this, key);
  if (!value && method->arguments[0] != NSValueKind::Object) {
    NSException::raise_format(NSInvalidArgumentException(), "[%@ %p] could not set nil as the value for the key %@."_ns,
                              className(), reinterpret_cast<std::uintptr_t>(this), key);
  }
  const id keptAlive = self();
  method->implementation(*this, {value});
}

id NSObject::valueForKeyPath(const Ref<NSString>& keyPath) const {
  if (!keyPath) return valueForKey(keyPath);
  // A copy: a mutable text may be changed by what is called on the way.
  return foundation::valueAtPath(self(), std::u16string(keyPath->units()));
}

id foundation::valueAtPath(const id& start, std::u16string_view path) {
  id object = start;
  while (object) {
    const std::size_t dot = path.find(u'.');
    const auto key = textOf(path.substr(0, dot));
    if (dot == std::u16string_view::npos) return object->valueForKey(key);
    path.remove_prefix(dot + 1);
    if (isKeyPathOperator(object, key)) return valueOfKeyPathOperator(object, key, path);
    object = object->valueForKey(key);
  }
  return nil;
}

void NSObject::setValue_forKeyPath(const id& value, const Ref<NSString>& keyPath) {
  const NSRange dot = keyPath ? keyPath->rangeOfString("."_ns, NSBackwardsSearch) : NSRange{NSNotFound, 0};
  if (dot.location == NSNotFound) return setValue_forKey(value, keyPath);
  const id owner = valueForKeyPath(keyPath->substringToIndex(dot.location));
  if (owner) owner->setValue_forKey(value, keyPath->substringFromIndex(dot.location + 1));
}

id NSArray::valueForKey(const Ref<NSString>& key) const {
  if (isOfCollectionItself(key)) return NSObject::valueForKey(key->substringFromIndex(1));
  const foundation::NestingLevel level;
  std::vector<id> values;
  values.reserve(count());
  for (const id& object : *this) {
    const id value = object->valueForKey(key);
    values.push_back(value ? value : id(NSNull::null()));
  }
  return arrayWithVector(std::move(values));
}

id NSSet::valueForKey(const Ref<NSString>& key) const {
  if (isOfCollectionItself(key)) return NSObject::valueForKey(key->substringFromIndex(1));
  const foundation::NestingLevel level;
  const auto values = NSMutableSet::set();
  for (const id& object : *this) {
    if (const id value = object->valueForKey(key)) values->addObject(value);
  }
  return values->copy();
}

id NSDictionary::valueForKey(const Ref<NSString>& key) const {
  const id value = objectForKey(key);
  if (value || !isOfCollectionItself(key)) return value;
  return NSObject::valueForKey(key->substringFromIndex(1));
}

void NSMutableDictionary::setValue_forKey(const id& value, const Ref<NSString>& key) {
  if (value) {
    setObject_forKey(value, key);
  } else {
    removeObjectForKey(key);
  }
}

}  // namespace telvo
