#include <algorithm>

#include "categories/NSUserDefaults+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSFastEnumeration.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NestingLevel.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

Ref<NSDictionary> registeredValues(const Ref<NSUserDefaults>& defaults) {
  return defaults->volatileDomainForName(NSRegistrationDomain());
}

id sanitized(const id& object) {
  const foundation::NestingLevel level;
  if (const auto array = as<NSArray>(object)) {
    const auto result = NSMutableArray::arrayWithCapacity(array->count());
    for (const id& element : NSFastEnumeration(array)) result->addObject(sanitized(element));
    return result;
  }
  if (const auto dictionary = as<NSDictionary>(object)) {
    const auto result = NSMutableDictionary::dictionaryWithCapacity(dictionary->count());
    const auto original = NSDictionary::dictionaryWithDictionary(dictionary);
    for (const auto& [key, value] : *original) result->setObject_forKey(sanitized(value), key);
    return result;
  }
  if (as<NSString>(object) || as<NSNumber>(object) || as<NSDate>(object) || as<NSData>(object)) return object;
  return NSDescription(object);
}

const NSCategory category(
    NSUserDefaults::classObject(),
    {
        method("telvo_objectForKey:defaultValue:"_sel, &telvo_objectForKey_defaultValue),
        method("telvo_setObject:forKey:defaultValue:"_sel, &telvo_setObject_forKey_defaultValue),
        method("telvo_setObject:forKey:removeIfNil:"_sel, &telvo_setObject_forKey_removeIfNil),
        method("telvo_sanitizeObject:"_sel, &telvo_sanitizeObject),
        method("telvo_setArbitraryObject:forKey:"_sel, &telvo_setArbitraryObject_forKey),
        method("telvo_incrementIntegerForKey:"_sel, &telvo_incrementIntegerForKey),
        method("telvo_timeIntervalForKey:"_sel, &telvo_timeIntervalForKey),
        method("telvo_timeIntervalForKey:orDefaultTimeInterval:"_sel, &telvo_timeIntervalForKey_orDefaultTimeInterval),
        method("telvo_setTimeInterval:forKey:"_sel, &telvo_setTimeInterval_forKey),
        method("telvo_factorySettingsForKeys:"_sel, &telvo_factorySettingsForKeys),
        method("telvo_changedFromFactorySettingsForKey:"_sel, &telvo_changedFromFactorySettingsForKey),
        method("telvo_changedFromFactorySettingsForKeys:"_sel, &telvo_changedFromFactorySettingsForKeys),
        method("telvo_restoreFactorySettingsForKey:"_sel, &telvo_restoreFactorySettingsForKey),
        method("telvo_restoreFactorySettingsForKeys:"_sel, &telvo_restoreFactorySettingsForKeys),
        method("telvo_copyObjectForKey:toKey:replace:"_sel, &telvo_copyObjectForKey_toKey_replace),
        method("telvo_copyObjectsForKeys:replace:"_sel, &telvo_copyObjectsForKeys_replace),
        method("telvo_copyPreferenceWithKey:fromBundleIdentifier:removeIfMissing:"_sel,
               &telvo_copyPreferenceWithKey_fromBundleIdentifier_removeIfMissing),
        method("telvo_copyPreferencesWithKeys:fromBundleIdentifier:removeIfMissing:"_sel,
               &telvo_copyPreferencesWithKeys_fromBundleIdentifier_removeIfMissing),
    });

}  // namespace

id telvo_objectForKey_defaultValue(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key,
                                   const id& defaultValue) {
  if (!defaults) return nil;
  const id value = defaults->objectForKey(key);
  return value ? value : defaultValue;
}

void telvo_setObject_forKey_defaultValue(const Ref<NSUserDefaults>& defaults, const id& object,
                                         const Ref<NSString>& key, const id& defaultValue) {
  telvo_setObject_forKey_removeIfNil(defaults, object ? object : defaultValue, key, false);
}

void telvo_setObject_forKey_removeIfNil(const Ref<NSUserDefaults>& defaults, const id& object, const Ref<NSString>& key,
                                        bool removeIfNil) {
  if (!defaults || !key) return;
  if (object) {
    defaults->setObject_forKey(object, key);
  } else if (removeIfNil) {
    defaults->removeObjectForKey(key);
  }
}

id telvo_sanitizeObject(const Ref<NSUserDefaults>& defaults, const id& object) {
  return defaults ? sanitized(object) : id();
}

void telvo_setArbitraryObject_forKey(const Ref<NSUserDefaults>& defaults, const id& object, const Ref<NSString>& key) {
  telvo_setObject_forKey_removeIfNil(defaults, telvo_sanitizeObject(defaults, object), key, false);
}

NSInteger telvo_incrementIntegerForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key) {
  if (!defaults || !key) return 0;
  // Unsigned, so that the highest integer goes over into the lowest.
  const auto next = static_cast<NSInteger>(static_cast<NSUInteger>(defaults->integerForKey(key)) + 1);
  defaults->setInteger_forKey(next, key);
  return next;
}

NSTimeInterval telvo_timeIntervalForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key) {
  return telvo_timeIntervalForKey_orDefaultTimeInterval(defaults, key, 0.0);
}

NSTimeInterval telvo_timeIntervalForKey_orDefaultTimeInterval(const Ref<NSUserDefaults>& defaults,
                                                              const Ref<NSString>& key, NSTimeInterval defaultValue) {
  if (!defaults) return 0.0;
  const id value = defaults->objectForKey(key);
  return value ? foundation::doubleFromObject(value) : defaultValue;
}

void telvo_setTimeInterval_forKey(const Ref<NSUserDefaults>& defaults, NSTimeInterval value, const Ref<NSString>& key) {
  telvo_setObject_forKey_removeIfNil(defaults, NSNumber::numberWithDouble(value), key, false);
}

Ref<NSDictionary> telvo_factorySettingsForKeys(const Ref<NSUserDefaults>& defaults, const Ref<NSArray>& keys) {
  if (!defaults) return nil;
  const auto settings = NSMutableDictionary::dictionary();
  const auto registered = registeredValues(defaults);
  for (const id& key : NSFastEnumeration(keys)) {
    const id value = registered->objectForKey(as<NSString>(key));
    settings->setObject_forKey(value ? value : id(NSNull::null()), key);
  }
  return as<NSDictionary>(settings->copy());
}

bool telvo_changedFromFactorySettingsForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key) {
  if (!defaults) return false;
  const id registered = registeredValues(defaults)->objectForKey(key);
  return !registered || !NSEqualObjects(registered, defaults->objectForKey(key));
}

bool telvo_changedFromFactorySettingsForKeys(const Ref<NSUserDefaults>& defaults, const Ref<NSArray>& keys) {
  return std::ranges::any_of(NSFastEnumeration(keys), [&](const id& key) {
    return telvo_changedFromFactorySettingsForKey(defaults, as<NSString>(key));
  });
}

void telvo_restoreFactorySettingsForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key) {
  telvo_setObject_forKey_removeIfNil(defaults, nil, key, true);
}

void telvo_restoreFactorySettingsForKeys(const Ref<NSUserDefaults>& defaults, const id& keys) {
  for (const id& key : NSFastEnumeration(keys)) telvo_restoreFactorySettingsForKey(defaults, as<NSString>(key));
}

bool telvo_copyObjectForKey_toKey_replace(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& fromKey,
                                          const Ref<NSString>& toKey, bool replace) {
  if (!defaults || !toKey) return false;
  const id value = defaults->objectForKey(fromKey);
  if (!value || (!replace && telvo_changedFromFactorySettingsForKey(defaults, toKey))) return false;
  defaults->setObject_forKey(value->copy(), toKey);
  return true;
}

bool telvo_copyObjectsForKeys_replace(const Ref<NSUserDefaults>&, const Ref<NSArray>&, bool) {
  // On purpose: callers rely on this call changing nothing.
  return false;
}

void telvo_copyPreferenceWithKey_fromBundleIdentifier_removeIfMissing(const Ref<NSUserDefaults>& defaults,
                                                                      const Ref<NSString>& key,
                                                                      const Ref<NSString>& bundleIdentifier,
                                                                      bool removeIfMissing) {
  const auto keys = key ? NSArray::arrayWithObject(key) : NSArray::array();
  telvo_copyPreferencesWithKeys_fromBundleIdentifier_removeIfMissing(defaults, keys, bundleIdentifier, removeIfMissing);
}

void telvo_copyPreferencesWithKeys_fromBundleIdentifier_removeIfMissing(const Ref<NSUserDefaults>& defaults,
                                                                        const Ref<NSArray>& keys,
                                                                        const Ref<NSString>& bundleIdentifier,
                                                                        bool removeIfMissing) {
  if (!defaults) return;
  // Not the receiver, on purpose: whichever defaults are at hand, another application's settings become this one's own.
  const auto& standard = NSUserDefaults::standardUserDefaults();
  const auto domain = standard->persistentDomainForName(bundleIdentifier);
  for (const id& each : NSFastEnumeration(keys)) {
    const auto key = as<NSString>(each);
    const id value = domain ? domain->objectForKey(key) : id();
    telvo_setObject_forKey_removeIfNil(standard, value, key, removeIfMissing);
  }
  standard->synchronize();
}

}  // namespace telvo
