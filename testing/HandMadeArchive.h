#pragma once

#include <initializer_list>

#include "foundation/Foundation.h"
#include "foundation/coding/NSKeyedUnarchiver.h"
#include "foundation/coding/NSPropertyListUID.h"

// An archive of one object of that class with these values; a value is a UID from 3 on for the objects that follow.
inline Ref<NSData> archiveOfObject(const Ref<NSString>& className, std::initializer_list<NSDictionary::Entry> values,
                                   std::initializer_list<id> others = {}) {
  const auto uid = [](NSUInteger value) { return NSPropertyListUID::uidWithValue(value); };
  const auto object = NSMutableDictionary::dictionary(values);
  object->setObject_forKey(uid(2), "$class"_ns);
  const auto classes = NSArray::arrayWithObjects({className, "NSObject"_ns});
  const auto objects = NSMutableArray::arrayWithObjects(
      {"$null"_ns, object, NSDictionary::dictionary({{"$classname"_ns, className}, {"$classes"_ns, classes}})});
  for (const id& each : others) objects->addObject(each);
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(
      NSDictionary::dictionary({{"$version"_ns, NSNumber::numberWithInteger(100000)},
                                {"$archiver"_ns, "NSKeyedArchiver"_ns},
                                {"$top"_ns, NSDictionary::dictionary({{"root"_ns, uid(1)}})},
                                {"$objects"_ns, objects}}),
      NSPropertyListBinaryFormat_v1_0, 0, nullptr);
}

// The object in an archive, of whatever class, read with secure coding.
inline id unarchived(const Ref<NSData>& data) {
  return NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(NSObject::classObject(), data, nullptr);
}

// The object archived with secure coding and read again.
inline id throughArchive(const id& object) {
  return unarchived(NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(object, true, nullptr));
}
