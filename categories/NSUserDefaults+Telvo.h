#pragma once

#include "foundation/preferences/NSUserDefaults.h"

TELVO_NAMESPACE_BEGIN

// Extensions of the user defaults. Nil defaults answer nil, 0 and false, and nothing is stored in them; nothing happens
// for a nil key. A value that is no property list raises NSInvalidArgumentException where it is stored, as it does in
// the defaults themselves. Any thread. The factory settings are the registered defaults.

// ---- Reading and writing

// The value, or the default when there is none.
id telvo_objectForKey_defaultValue(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key,
                                   const id& defaultValue);
// Stores the object, or for nil the default; when both are nil, the old value stays.
void telvo_setObject_forKey_defaultValue(const Ref<NSUserDefaults>& defaults, const id& object,
                                         const Ref<NSString>& key, const id& defaultValue);
// Stores the object. For nil the value is left alone, or with removeIfNil removed.
void telvo_setObject_forKey_removeIfNil(const Ref<NSUserDefaults>& defaults, const id& object, const Ref<NSString>& key,
                                        bool removeIfNil);

// The object made fit to be stored: texts, numbers, dates and data as they are, arrays and dictionaries with all that
// they hold, anything else as its description. Keys of dictionaries are left as they are. Collections nested endlessly
// raise NSInvalidArgumentException.
id telvo_sanitizeObject(const Ref<NSUserDefaults>& defaults, const id& object);
// Stores that; nothing happens for nil.
void telvo_setArbitraryObject_forKey(const Ref<NSUserDefaults>& defaults, const id& object, const Ref<NSString>& key);

// Adds one to the integer for the key, 0 when there is none, and returns what is stored then.
NSInteger telvo_incrementIntegerForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key);

// The value as a real number; when there is none, 0 or the default.
NSTimeInterval telvo_timeIntervalForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key);
NSTimeInterval telvo_timeIntervalForKey_orDefaultTimeInterval(const Ref<NSUserDefaults>& defaults,
                                                              const Ref<NSString>& key, NSTimeInterval defaultValue);

void telvo_setTimeInterval_forKey(const Ref<NSUserDefaults>& defaults, NSTimeInterval value, const Ref<NSString>& key);

// ---- Factory settings

// The registered values of those keys, NSNull for keys without one.
Ref<NSDictionary> telvo_factorySettingsForKeys(const Ref<NSUserDefaults>& defaults, const Ref<NSArray>& keys);
// Whether the value is another one than the registered value. Without a registered value it always is, even when there
// is no value at all.
bool telvo_changedFromFactorySettingsForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key);
// Whether that holds for one of the keys.
bool telvo_changedFromFactorySettingsForKeys(const Ref<NSUserDefaults>& defaults, const Ref<NSArray>& keys);
// Removes the user's value, so that the registered one shows again. The keys are an array or another collection.
void telvo_restoreFactorySettingsForKey(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& key);
void telvo_restoreFactorySettingsForKeys(const Ref<NSUserDefaults>& defaults, const id& keys);

// ---- Copying

// Stores the value of one key under another one, if there is one and if either `replace` is set or the other key still
// has its factory setting. Whether it did.
bool telvo_copyObjectForKey_toKey_replace(const Ref<NSUserDefaults>& defaults, const Ref<NSString>& fromKey,
                                          const Ref<NSString>& toKey, bool replace);
// Copies nothing and returns false, whatever the pairs of keys.
bool telvo_copyObjectsForKeys_replace(const Ref<NSUserDefaults>& defaults, const Ref<NSArray>& keys, bool replace);

// Stores another application's saved values under the same keys, and with removeIfMissing removes keys that it has no
// value for; then synchronizes. Whatever defaults it is sent to, it changes the standard ones of this process.
void telvo_copyPreferenceWithKey_fromBundleIdentifier_removeIfMissing(const Ref<NSUserDefaults>& defaults,
                                                                      const Ref<NSString>& key,
                                                                      const Ref<NSString>& bundleIdentifier,
                                                                      bool removeIfMissing);
void telvo_copyPreferencesWithKeys_fromBundleIdentifier_removeIfMissing(const Ref<NSUserDefaults>& defaults,
                                                                        const Ref<NSArray>& keys,
                                                                        const Ref<NSString>& bundleIdentifier,
                                                                        bool removeIfMissing);

TELVO_NAMESPACE_END
