#include "categories/DeepCopy.h"
#include "categories/NSDate+Telvo.h"
#include "categories/NSDictionary+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSFastEnumeration.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSLog.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

id objectFor(const Ref<NSDictionary>& dictionary, const id& key) {
  return dictionary ? dictionary->objectForKey(key) : id();
}

Ref<NSDate> dateFrom(const Ref<NSDictionary>& dictionary, const id& key, bool allowPlaceholder) {
  const id value = telvo_nilOrObjectForKey(dictionary, key);
  if (const auto text = as<NSString>(value)) return telvo_dateWithJSONString_allowPlaceholder(text, allowPlaceholder);
  return as<NSDate>(value);
}

Ref<NSMutableDictionary> copyWithValues(const Ref<NSDictionary>& dictionary, id (*copyOfValue)(const id&)) {
  if (!dictionary) return nil;
  const auto copy = NSMutableDictionary::dictionary();
  const auto original = NSDictionary::dictionaryWithDictionary(dictionary);  // a value's copying may change it
  for (const auto& [key, value] : *original) copy->setObject_forKey(copyOfValue(value), key);
  return copy;
}

const NSCategory dictionaryCategory(
    NSDictionary::classObject(), {
                                     method("telvo_nilOrObjectForKey:"_sel, &telvo_nilOrObjectForKey),
                                     method("telvo_emptyStringOrObjectForKey:"_sel, &telvo_emptyStringOrObjectForKey),
                                     method("telvo_hasKey:"_sel, &telvo_hasKey),
                                     method("telvo_sortedKeys"_sel, &telvo_sortedKeys),
                                     method("telvo_boolForKey:"_sel, &telvo_boolForKey),
                                     method("telvo_integerForKey:"_sel, &telvo_integerForKey),
                                     method("telvo_floatForKey:"_sel, &telvo_floatForKey),
                                     method("telvo_timeIntervalForKey:"_sel, &telvo_timeIntervalForKey),
                                     method("telvo_dateForKey:"_sel, &telvo_dateForKey),
                                     method("telvo_timeForKey:"_sel, &telvo_timeForKey),
                                     method("telvo_descriptionForKey:"_sel, &telvo_descriptionForKey),
                                     method("telvo_stringLengthForKey:"_sel, &telvo_stringLengthForKey),
                                     method("telvo_containsSomethingForKey:"_sel, &telvo_containsSomethingForKey),
                                     method("telvo_objectForKey:orBool:"_sel, &telvo_objectForKey_orBool),
                                     method("telvo_objectForKey:orInteger:"_sel, &telvo_objectForKey_orInteger),
                                     method("telvo_objectForKey:defaultValue:"_sel, &telvo_objectForKey_defaultValue),
                                     method("telvo_keyForObject:"_sel, &telvo_keyForObject),
                                 });

const NSCategory mutableDictionaryCategory(
    NSMutableDictionary::classObject(),
    {
        method("telvo_setBool:forKey:"_sel, &telvo_setBool_forKey),
        method("telvo_setInteger:forKey:"_sel, &telvo_setInteger_forKey),
        method("telvo_setFloat:forKey:"_sel, &telvo_setFloat_forKey),
        method("telvo_setTimeInterval:forKey:"_sel, &telvo_setTimeInterval_forKey),
        method("telvo_setJSONDate:forKey:removeIfNil:"_sel, &telvo_setJSONDate_forKey_removeIfNil),
        method("telvo_setDefaultValue:forKey:"_sel, &telvo_setDefaultValue_forKey),
        method("telvo_setObject:forKey:defaultValue:"_sel, &telvo_setObject_forKey_defaultValue),
        method("telvo_setObject:forKey:removeIfNil:"_sel, &telvo_setObject_forKey_removeIfNil),
        method("telvo_replaceObject:withObject:"_sel, &telvo_replaceObject_withObject),
    });

}  // namespace

Ref<NSMutableDictionary> telvo_dictionaryWithArrayOfDictionaries_usingKey(const Ref<NSArray>& array, const id& key) {
  if (!array || !key) return nil;
  const auto byValue = NSMutableDictionary::dictionaryWithCapacity(array->count());
  for (const id& element : NSFastEnumeration(array)) {
    const id value = objectFor(as<NSDictionary>(element), key);
    if (value) byValue->setObject_forKey(element, value);
  }
  return byValue;
}

Ref<NSMutableDictionary> telvo_deepCopy(const Ref<NSDictionary>& dictionary) {
  return copyWithValues(dictionary, &categories::deepCopyOfElement);
}

Ref<NSMutableDictionary> telvo_deepMutableCopy(const Ref<NSDictionary>& dictionary) {
  return copyWithValues(dictionary, &categories::deepMutableCopyOfElement);
}

id telvo_nilOrObjectForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  const id value = objectFor(dictionary, key);
  return NSEqualObjects(value, NSNull::null()) ? id() : value;
}

id telvo_emptyStringOrObjectForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  if (!dictionary) return nil;
  const id value = telvo_nilOrObjectForKey(dictionary, key);
  return value ? value : id(""_ns);
}

bool telvo_hasKey(const Ref<NSDictionary>& dictionary, const id& key) { return objectFor(dictionary, key) != nil; }

Ref<NSArray> telvo_sortedKeys(const Ref<NSDictionary>& dictionary) {
  return dictionary ? dictionary->allKeys()->sortedArrayUsingSelector("caseInsensitiveCompare:"_sel) : Ref<NSArray>();
}

bool telvo_boolForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  const auto text = telvo_descriptionForKey(dictionary, key);
  if (!text) return false;
  return text->integerValue() != 0 || text->lowercaseString()->isEqualToString("yes"_ns);
}

NSInteger telvo_integerForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  const auto text = telvo_descriptionForKey(dictionary, key);
  return text ? text->integerValue() : 0;
}

double telvo_floatForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  const auto text = telvo_descriptionForKey(dictionary, key);
  return text ? static_cast<double>(text->floatValue()) : 0.0;
}

NSTimeInterval telvo_timeIntervalForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  const auto text = telvo_descriptionForKey(dictionary, key);
  return text ? text->doubleValue() : 0.0;
}

Ref<NSDate> telvo_dateForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  return dateFrom(dictionary, key, false);
}

Ref<NSDate> telvo_timeForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  return dateFrom(dictionary, key, true);
}

Ref<NSString> telvo_descriptionForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  return NSDescription(objectFor(dictionary, key));
}

NSUInteger telvo_stringLengthForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  const auto text = telvo_descriptionForKey(dictionary, key);
  return text ? text->length() : 0;
}

bool telvo_containsSomethingForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  return telvo_stringLengthForKey(dictionary, key) != 0;
}

id telvo_objectForKey_orBool(const Ref<NSDictionary>& dictionary, const id& key, bool defaultValue) {
  return telvo_objectForKey_defaultValue(dictionary, key, NSNumber::numberWithBool(defaultValue));
}

id telvo_objectForKey_orInteger(const Ref<NSDictionary>& dictionary, const id& key, NSInteger defaultValue) {
  // A boolean of the lowest byte, on purpose: callers read these values as flags.
  return telvo_objectForKey_orBool(dictionary, key, (defaultValue & 0xFF) != 0);
}

id telvo_objectForKey_defaultValue(const Ref<NSDictionary>& dictionary, const id& key, const id& defaultValue) {
  if (!dictionary) return nil;
  const id value = objectFor(dictionary, key);
  return value ? value : defaultValue;
}

id telvo_keyForObject(const Ref<NSDictionary>& dictionary, const id& object) {
  if (!dictionary || !object) return nil;
  for (const auto& [key, value] : *dictionary) {
    if (NSEqualObjects(value, object)) return key;
  }
  return nil;
}

void telvo_setBool_forKey(const Ref<NSMutableDictionary>& dictionary, bool value, const id& key) {
  telvo_setObject_forKey_removeIfNil(dictionary, NSNumber::numberWithBool(value), key, false);
}

void telvo_setInteger_forKey(const Ref<NSMutableDictionary>& dictionary, NSInteger value, const id& key) {
  telvo_setObject_forKey_removeIfNil(dictionary, NSNumber::numberWithInteger(value), key, false);
}

void telvo_setFloat_forKey(const Ref<NSMutableDictionary>& dictionary, double value, const id& key) {
  telvo_setObject_forKey_removeIfNil(dictionary, NSNumber::numberWithDouble(value), key, false);
}

void telvo_setTimeInterval_forKey(const Ref<NSMutableDictionary>& dictionary, NSTimeInterval value, const id& key) {
  telvo_setObject_forKey_removeIfNil(dictionary, NSNumber::numberWithDouble(value), key, false);
}

void telvo_setJSONDate_forKey_removeIfNil(const Ref<NSMutableDictionary>& dictionary, const id& date, const id& key,
                                          bool removeIfNil) {
  if (!dictionary) return;
  if (date && !as<NSDate>(date)) NSLog("Detected non-date value: %@; this will crash"_ns, date);
  const id text = date ? date->performSelector("telvo_JSONStringValue"_sel) : id();
  telvo_setObject_forKey_removeIfNil(dictionary, text, key, removeIfNil);
}

void telvo_setDefaultValue_forKey(const Ref<NSMutableDictionary>& dictionary, const id& value, const id& key) {
  if (!telvo_hasKey(dictionary, key)) telvo_setObject_forKey_removeIfNil(dictionary, value, key, false);
}

void telvo_setObject_forKey_defaultValue(const Ref<NSMutableDictionary>& dictionary, const id& object, const id& key,
                                         const id& defaultValue) {
  telvo_setObject_forKey_removeIfNil(dictionary, object ? object : defaultValue, key, false);
}

void telvo_setObject_forKey_removeIfNil(const Ref<NSMutableDictionary>& dictionary, const id& object, const id& key,
                                        bool removeIfNil) {
  if (!dictionary) return;
  if (object) {
    dictionary->setObject_forKey(object, key);
  } else if (removeIfNil) {
    dictionary->removeObjectForKey(key);
  }
}

void telvo_replaceObject_withObject(const Ref<NSMutableDictionary>& dictionary, const id& oldObject,
                                    const id& newObject) {
  const id key = telvo_keyForObject(dictionary, oldObject);
  if (key && newObject) dictionary->setObject_forKey(newObject, key);
}

}  // namespace telvo
