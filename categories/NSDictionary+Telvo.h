#pragma once

#include "foundation/collections/NSDictionary.h"

TELVO_NAMESPACE_BEGIN

class NSDate;

// Extensions of dictionaries. A nil dictionary answers nil, 0 and false, and nothing is stored in it. Threads: those of
// the dictionaries themselves.

// ---- Reading ----

// The dictionaries of the array, each under its own value for the key; those without one are left out, and of those
// with equal ones the last stays. Nil when either argument is nil.
Ref<NSMutableDictionary> telvo_dictionaryWithArrayOfDictionaries_usingKey(const Ref<NSArray>& array, const id& key);

// The same keys; each value copied as telvo_deepCopy of arrays says.
Ref<NSMutableDictionary> telvo_deepCopy(const Ref<NSDictionary>& dictionary);
Ref<NSMutableDictionary> telvo_deepMutableCopy(const Ref<NSDictionary>& dictionary);

// The value; nil or "" when it is missing or is NSNull.
id telvo_nilOrObjectForKey(const Ref<NSDictionary>& dictionary, const id& key);
id telvo_emptyStringOrObjectForKey(const Ref<NSDictionary>& dictionary, const id& key);
// Whether there is a value; NSNull is one.
bool telvo_hasKey(const Ref<NSDictionary>& dictionary, const id& key);
// The keys, ordered without regard to letter case. Keys that are no texts raise NSInvalidArgumentException.
Ref<NSArray> telvo_sortedKeys(const Ref<NSDictionary>& dictionary);

// True for a value whose description begins with an integer other than 0, or is "yes" in any letter case. "true" is
// not taken for true.
bool telvo_boolForKey(const Ref<NSDictionary>& dictionary, const id& key);
// The number that the value's description begins with; 0 when there is none. The float has single precision.
NSInteger telvo_integerForKey(const Ref<NSDictionary>& dictionary, const id& key);
double telvo_floatForKey(const Ref<NSDictionary>& dictionary, const id& key);
NSTimeInterval telvo_timeIntervalForKey(const Ref<NSDictionary>& dictionary, const id& key);
// A date as it is, a text as a JSON date (telvo_dateWithJSONString_allowPlaceholder), anything else as nil. Placeholder
// dates read as nil, except for telvo_timeForKey.
Ref<NSDate> telvo_dateForKey(const Ref<NSDictionary>& dictionary, const id& key);
Ref<NSDate> telvo_timeForKey(const Ref<NSDictionary>& dictionary, const id& key);

// The value's description; nil when it is missing.
Ref<NSString> telvo_descriptionForKey(const Ref<NSDictionary>& dictionary, const id& key);

NSUInteger telvo_stringLengthForKey(const Ref<NSDictionary>& dictionary, const id& key);
// Whether that length is not 0. NSNull is something.
bool telvo_containsSomethingForKey(const Ref<NSDictionary>& dictionary, const id& key);

// The value, NSNull included, or the default when it is missing. The default for an integer is the boolean number of
// its lowest byte: true for 5, false for 256.
id telvo_objectForKey_orBool(const Ref<NSDictionary>& dictionary, const id& key, bool defaultValue);
id telvo_objectForKey_orInteger(const Ref<NSDictionary>& dictionary, const id& key, NSInteger defaultValue);
id telvo_objectForKey_defaultValue(const Ref<NSDictionary>& dictionary, const id& key, const id& defaultValue);

// The first key, in the dictionary's order, whose value is equal to the object; nil when there is none.
id telvo_keyForObject(const Ref<NSDictionary>& dictionary, const id& object);

// ---- Writing ----
// A nil key raises NSInvalidArgumentException where something is stored.

void telvo_setBool_forKey(const Ref<NSMutableDictionary>& dictionary, bool value, const id& key);
void telvo_setInteger_forKey(const Ref<NSMutableDictionary>& dictionary, NSInteger value, const id& key);
void telvo_setFloat_forKey(const Ref<NSMutableDictionary>& dictionary, double value, const id& key);
void telvo_setTimeInterval_forKey(const Ref<NSMutableDictionary>& dictionary, NSTimeInterval value, const id& key);
// Stores the date's JSON text. For nil the dictionary is left alone, or with removeIfNil loses the key. A value that is
// no date is logged and then, when it has no "telvo_JSONStringValue", raises NSInvalidArgumentException.
void telvo_setJSONDate_forKey_removeIfNil(const Ref<NSMutableDictionary>& dictionary, const id& date, const id& key,
                                          bool removeIfNil);

// Stores the value only when there is none for the key. Nil is not stored.
void telvo_setDefaultValue_forKey(const Ref<NSMutableDictionary>& dictionary, const id& value, const id& key);
// Stores the object, or for nil the default; when both are nil, the old value stays.
void telvo_setObject_forKey_defaultValue(const Ref<NSMutableDictionary>& dictionary, const id& object, const id& key,
                                         const id& defaultValue);
// Stores the object. For nil the dictionary is left alone, or with removeIfNil loses the key.
void telvo_setObject_forKey_removeIfNil(const Ref<NSMutableDictionary>& dictionary, const id& object, const id& key,
                                        bool removeIfNil);
// Stores the new object under the first key whose value is equal to the old one. Nothing happens when there is no such
// key or the new object is nil.
void telvo_replaceObject_withObject(const Ref<NSMutableDictionary>& dictionary, const id& oldObject,
                                    const id& newObject);

TELVO_NAMESPACE_END
