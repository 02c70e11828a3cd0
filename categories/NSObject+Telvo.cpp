#include "categories/NSDictionary+Telvo.h"
#include "categories/NSObject+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSFastEnumeration.h"
#include "foundation/collections/NSSet.h"
#include "foundation/errors/NSException.h"
#include "foundation/errors/NSLog.h"
#include "foundation/runtime/NSInvocation.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

// The receiver and the selector come first in every signature.
constexpr NSUInteger implicitArguments = 2;

void performWithEach(const id& object, SEL selector, const std::vector<id>& arguments) {
  if (!object || !selector) return;
  const id receiver = object;  // kept: the method may drop the caller's reference
  for (const id& argument : arguments) receiver->performSelector_withObject(selector, argument);
}

const NSCategory category(
    NSObject::classObject(),
    {
        method("telvo_isEquivalent:"_sel, &telvo_isEquivalent),
        method("telvo_isEquivalentTo:"_sel, &telvo_isEquivalentTo),
        method("telvo_valueForKeyPath:defaultValue:"_sel, &telvo_valueForKeyPath_defaultValue),
        method("telvo_setValueForKey:withDictionary:"_sel, &telvo_setValueForKey_withDictionary),
        method("telvo_setValueForKey:orDictKey:withDictionary:"_sel, &telvo_setValueForKey_orDictKey_withDictionary),
        method("telvo_setValueForKey:orDictKeys:withDictionary:"_sel, &telvo_setValueForKey_orDictKeys_withDictionary),
        method("telvo_setValueInDictionary:forKey:"_sel, &telvo_setValueInDictionary_forKey),
        method("telvo_setValueInDictionary:forKey:removeIfNil:"_sel, &telvo_setValueInDictionary_forKey_removeIfNil),
        method("telvo_isReallySubclassOfClass:"_sel, &telvo_isReallySubclassOfClass),
        method("telvo_performIntegerSelector:"_sel, &telvo_performIntegerSelector),
        method("telvo_performIntegerSelector:withObject:"_sel, &telvo_performIntegerSelector_withObject),
        method("telvo_performIntegerSelector:withObject:withObject:"_sel,
               &telvo_performIntegerSelector_withObject_withObject),
        method("telvo_performBoolSelector:"_sel, &telvo_performBoolSelector),
        method("telvo_performBoolSelector:withObject:"_sel, &telvo_performBoolSelector_withObject),
        method("telvo_performBoolSelector:withObject:withObject:"_sel,
               &telvo_performBoolSelector_withObject_withObject),
        method("telvo_performSelector:withArguments:"_sel, &telvo_performSelector_withArguments),
        method("telvo_performSelector:withEachObjectInArray:"_sel, &telvo_performSelector_withEachObjectInArray),
        method("telvo_performSelector:withEachObjectInDictionary:"_sel,
               &telvo_performSelector_withEachObjectInDictionary),
        method("telvo_performSelector:withEachObjectInSet:"_sel, &telvo_performSelector_withEachObjectInSet),
    });

}  // namespace

bool telvo_isEquivalentTo(const id& object, const id& other) {
  if (!object || !other) return false;
  const auto description = object->description();
  return description && description->caseInsensitiveCompare(other->description()) == NSOrderedSame;
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

bool telvo_isReallySubclassOfClass(const id& object, Class other) {
  return object && other && object->isKindOfClass(other) && !object->isMemberOfClass(other);
}

id telvo_valueForKeyPath_defaultValue(const id& object, const Ref<NSString>& keyPath, const id& defaultValue) {
  if (!object) return nil;
  try {
    const id value = object->valueForKeyPath(keyPath);
    return !value || NSEqualObjects(value, NSNull::null()) ? defaultValue : value;
  } catch (const Ref<NSException>&) {
    return defaultValue;
  }
}

void telvo_setValueForKey_withDictionary(const id& object, const Ref<NSString>& key,
                                         const Ref<NSDictionary>& dictionary) {
  telvo_setValueForKey_orDictKey_withDictionary(object, key, nil, dictionary);
}

void telvo_setValueForKey_orDictKey_withDictionary(const id& object, const Ref<NSString>& key, const id& otherKey,
                                                   const Ref<NSDictionary>& dictionary) {
  const auto otherKeys = otherKey ? NSArray::arrayWithObject(otherKey) : NSArray::array();
  telvo_setValueForKey_orDictKeys_withDictionary(object, key, otherKeys, dictionary);
}

void telvo_setValueForKey_orDictKeys_withDictionary(const id& object, const Ref<NSString>& key, const id& otherKeys,
                                                    const Ref<NSDictionary>& dictionary) {
  if (!object || !dictionary) return;
  id value = dictionary->objectForKey(key);
  for (const id& otherKey : NSFastEnumeration(otherKeys)) {
    if (value) break;
    value = dictionary->objectForKey(otherKey);
  }
  if (value) object->setValue_forKey(value, key);
}

void telvo_setValueInDictionary_forKey(const id& object, const Ref<NSMutableDictionary>& dictionary,
                                       const Ref<NSString>& key) {
  telvo_setValueInDictionary_forKey_removeIfNil(object, dictionary, key, false);
}

void telvo_setValueInDictionary_forKey_removeIfNil(const id& object, const Ref<NSMutableDictionary>& dictionary,
                                                   const Ref<NSString>& key, bool removeIfNil) {
  if (!object) return;
  telvo_setObject_forKey_removeIfNil(dictionary, object->valueForKey(key), key, removeIfNil);
}

NSInteger telvo_performIntegerSelector(const id& object, SEL selector) {
  return telvo_performIntegerSelector_withObject(object, selector, NSNull::null());
}

NSInteger telvo_performIntegerSelector_withObject(const id& object, SEL selector, const id& first) {
  return telvo_performIntegerSelector_withObject_withObject(object, selector, first, NSNull::null());
}

NSInteger telvo_performIntegerSelector_withObject_withObject(const id& object, SEL selector, const id& first,
                                                             const id& second) {
  if (!object || !object->respondsToSelector(selector)) return 0;
  const auto invocation = NSInvocation::invocationWithMethodSignature(object->methodSignatureForSelector(selector));
  invocation->setSelector(selector);
  if (!NSEqualObjects(first, NSNull::null())) invocation->setArgument_atIndex(first, implicitArguments);
  if (!NSEqualObjects(second, NSNull::null())) invocation->setArgument_atIndex(second, implicitArguments + 1);
  invocation->invokeWithTarget(object);
  return invocation->integerReturnValue();
}

bool telvo_performBoolSelector(const id& object, SEL selector) {
  return telvo_performBoolSelector_withObject(object, selector, NSNull::null());
}

bool telvo_performBoolSelector_withObject(const id& object, SEL selector, const id& first) {
  return telvo_performBoolSelector_withObject_withObject(object, selector, first, NSNull::null());
}

bool telvo_performBoolSelector_withObject_withObject(const id& object, SEL selector, const id& first,
                                                     const id& second) {
  return (telvo_performIntegerSelector_withObject_withObject(object, selector, first, second) & 0xFF) != 0;
}

void telvo_performSelector_withEachObjectInArray(const id& object, SEL selector, const Ref<NSArray>& array) {
  performWithEach(object, selector, NSFastEnumeration(array));
}

void telvo_performSelector_withEachObjectInDictionary(const id& object, SEL selector,
                                                      const Ref<NSDictionary>& dictionary) {
  if (dictionary) performWithEach(object, selector, dictionary->allValues()->objects());
}

void telvo_performSelector_withEachObjectInSet(const id& object, SEL selector, const Ref<NSSet>& set) {
  performWithEach(object, selector, NSFastEnumeration(set));
}

}  // namespace telvo
