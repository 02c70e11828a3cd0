#pragma once

#include <initializer_list>
#include <string>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSKeyedArchiver.h"
#include "foundation/coding/NSKeyedUnarchiver.h"
#include "foundation/coding/NSPropertyListUID.h"

// Classes for archives, and archives put together by hand.

class Shelf : public NSObject {
  NS_OBJECT(Shelf, NSObject)

 public:
  void encodeWithCoder(NSCoder& coder) const {
    coder.encodeObject_forKey(label, "label"_ns);
    coder.encodeObject_forKey(content, "$class"_ns);
    coder.encodeBool_forKey(open, "open"_ns);
    coder.encodeInteger_forKey(count, "count"_ns);
    coder.encodeDouble_forKey(width, "width"_ns);
  }
  static id initWithCoder(NSCoder& coder) {
    auto shelf = make<Shelf>();
    shelf->label = coder.decodeObjectOfClass_forKey<NSString>("label"_ns);
    shelf->content = coder.decodeObjectOfClasses_forKey({NSArray::classObject(), Shelf::classObject()}, "$class"_ns);
    shelf->open = coder.decodeBoolForKey("open"_ns);
    shelf->count = coder.decodeIntegerForKey("count"_ns);
    shelf->width = coder.decodeDoubleForKey("width"_ns);
    return shelf;
  }

  Ref<NSString> label;
  id content;
  bool open = false;
  NSInteger count = 0;
  double width = 0;
};

class Crate : public Shelf {
  NS_OBJECT(Crate, Shelf)
};

class Raising : public NSObject {
  NS_OBJECT(Raising, NSObject)

 public:
  void encodeWithCoder(NSCoder&) const { NSException::raise_format(NSGenericException(), "not now"_ns); }
  static id initWithCoder(NSCoder&) { NSException::raise_format(NSGenericException(), "not now"_ns); }
};

class Insecure : public NSObject {
  NS_OBJECT(Insecure, NSObject)
};

inline Ref<NSData> archived(const id& object, Ref<NSError>* error = nullptr) {
  return NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(object, true, error);
}

inline id unarchived(const Ref<NSData>& data, Class type = NSObject::classObject(), Ref<NSError>* error = nullptr) {
  return NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(type, data, error);
}

inline void expectComesBack(const id& object) {
  Ref<NSError> error;
  const auto data = archived(object, &error);
  ASSERT_NE(data, nil) << error->description()->UTF8String();
  const id back = unarchived(data, object->isa(), &error);
  ASSERT_NE(back, nil) << error->description()->UTF8String();
  EXPECT_EQ(back->isa(), object->isa());
  EXPECT_TRUE(back->isEqual(object)) << back->description()->UTF8String();
}

inline Ref<NSDictionary> propertyListOf(const Ref<NSData>& data) {
  return as<NSDictionary>(
      NSPropertyListSerialization::propertyListWithData_options_format_error(data, 0, nullptr, nullptr));
}

inline id uid(NSUInteger value) { return NSPropertyListUID::uidWithValue(value); }

// An archive with these objects after "$null", whose root is the first of them.
inline Ref<NSData> archiveOf(std::initializer_list<id> objects) {
  const auto all = NSMutableArray::arrayWithObjects({"$null"_ns});
  for (const id& each : objects) all->addObject(each);
  const auto archive = NSDictionary::dictionary({{"$version"_ns, NSNumber::numberWithInteger(100000)},
                                                 {"$archiver"_ns, "NSKeyedArchiver"_ns},
                                                 {"$top"_ns, NSDictionary::dictionary({{"root"_ns, uid(1)}})},
                                                 {"$objects"_ns, all}});
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(
      archive, NSPropertyListBinaryFormat_v1_0, 0, nullptr);
}

inline id classNamed(const Ref<NSString>& name) {
  return NSDictionary::dictionary(
      {{"$classname"_ns, name}, {"$classes"_ns, NSArray::arrayWithObjects({name, "NSObject"_ns})}});
}

inline id object(NSUInteger type, std::initializer_list<NSDictionary::Entry> values = {}) {
  const auto dictionary = NSMutableDictionary::dictionary(values);
  dictionary->setObject_forKey(uid(type), "$class"_ns);
  return dictionary;
}

inline id references(std::initializer_list<NSUInteger> numbers) {
  const auto list = NSMutableArray::array();
  for (const NSUInteger number : numbers) list->addObject(uid(number));
  return list;
}

inline Ref<NSData> xmlArchive(const std::string& objects) {
  return NSData::dataWithBytes(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>$archiver</key>"
      "<string>NSKeyedArchiver</string><key>$objects</key><array><string>$null</string>" +
      objects +
      "</array><key>$top</key><dict><key>root</key><dict><key>CF$UID</key><integer>1</integer></dict></dict>"
      "<key>$version</key><integer>100000</integer></dict></plist>");
}

inline std::string xmlReference(int number) {
  return "<dict><key>CF$UID</key><integer>" + std::to_string(number) + "</integer></dict>";
}
