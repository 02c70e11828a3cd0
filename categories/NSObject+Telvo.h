#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSMutableDictionary;
class NSSet;

// Extensions of every object. Sent to nil they answer nil, 0 or false and do nothing.

// Two names for one test: whether the descriptions of both are the same to caseInsensitiveCompare(). So the number 5
// and the text "5" are equivalent, and so are "A" and "a". Nil, and what has no description, is equivalent to nothing.
bool telvo_isEquivalent(const id& object, const id& other);
bool telvo_isEquivalentTo(const id& object, const id& other);

// Whether the object's class is a proper subclass of that class.
bool telvo_isReallySubclassOfClass(const id& object, Class other);

// ---- Values by key ----

// The value for the key path; the default value instead of nil, of NSNull, and when the look-up raises an NSException.
id telvo_valueForKeyPath_defaultValue(const id& object, const Ref<NSString>& keyPath, const id& defaultValue);

// Sets the object's value for the key to the dictionary's value for the key, when it has one. A key that the object
// does not know raises NSUndefinedKeyException.
void telvo_setValueForKey_withDictionary(const id& object, const Ref<NSString>& key,
                                         const Ref<NSDictionary>& dictionary);
// The same; when the dictionary has none, its value for the other key (nil: no other key), or for the first of the
// other keys (an array, or another collection) that it has one for, is stored under `key`.
void telvo_setValueForKey_orDictKey_withDictionary(const id& object, const Ref<NSString>& key, const id& otherKey,
                                                   const Ref<NSDictionary>& dictionary);
void telvo_setValueForKey_orDictKeys_withDictionary(const id& object, const Ref<NSString>& key, const id& otherKeys,
                                                    const Ref<NSDictionary>& dictionary);

// Stores the object's value for the key in the dictionary, under the same key. For nil the dictionary is left alone, or
// with removeIfNil loses the key. A key that the object does not know raises NSUndefinedKeyException.
void telvo_setValueInDictionary_forKey(const id& object, const Ref<NSMutableDictionary>& dictionary,
                                       const Ref<NSString>& key);
void telvo_setValueInDictionary_forKey_removeIfNil(const id& object, const Ref<NSMutableDictionary>& dictionary,
                                                   const Ref<NSString>& key, bool removeIfNil);

// ---- Methods by selector ----

// The method's result as an integer; 0 when the object does not respond to the selector or the method gives nothing.
// NSNull stands for an argument that is missing, so methods with up to two arguments can be called; one that takes
// fewer than were given raises NSInvalidArgumentException.
NSInteger telvo_performIntegerSelector(const id& object, SEL selector);
NSInteger telvo_performIntegerSelector_withObject(const id& object, SEL selector, const id& first);
NSInteger telvo_performIntegerSelector_withObject_withObject(const id& object, SEL selector, const id& first,
                                                             const id& second);
// The lowest byte of the same: false for 256.
bool telvo_performBoolSelector(const id& object, SEL selector);
bool telvo_performBoolSelector_withObject(const id& object, SEL selector, const id& first);
bool telvo_performBoolSelector_withObject_withObject(const id& object, SEL selector, const id& first, const id& second);

// Calls the method with the array's elements as its arguments; its result is dropped. A method with another number of
// arguments is not called and a line is logged; the empty selector does nothing. A selector that the object does not
// respond to raises NSInvalidArgumentException.
void telvo_performSelector_withArguments(const id& object, SEL selector, const Ref<NSArray>& arguments);

// Calls the method once for each element of the array, value of the dictionary or member of the set as it is now, with
// that as the argument. Selectors as above.
void telvo_performSelector_withEachObjectInArray(const id& object, SEL selector, const Ref<NSArray>& array);
void telvo_performSelector_withEachObjectInDictionary(const id& object, SEL selector,
                                                      const Ref<NSDictionary>& dictionary);
void telvo_performSelector_withEachObjectInSet(const id& object, SEL selector, const Ref<NSSet>& set);

TELVO_NAMESPACE_END
