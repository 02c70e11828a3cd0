#include <string>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSKeyedArchiver.h"
#include "foundation/coding/NSKeyedUnarchiver.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/collections/NSUUID.h"
#include "tests/platform/foundation/coding/Archives.h"

namespace {

TEST(NSKeyedUnarchiver, ReadsOnlyTheClassesAskedFor) {
  Ref<NSError> error;
  EXPECT_EQ(unarchived(archived("text"_ns), NSArray::classObject(), &error), nil);
  EXPECT_EQ(error->code(), NSCoderInvalidValueError);
  EXPECT_NE(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
                {NSArray::classObject(), NSString::classObject()}, archived("text"_ns), nullptr),
            nil);
  EXPECT_EQ(unarchived(archived(NSArray::arrayWithObject(make<Shelf>())), NSArray::classObject()), nil);
  EXPECT_NE(
      NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
          {NSArray::classObject(), Shelf::classObject()}, archived(NSArray::arrayWithObject(make<Shelf>())), nullptr),
      nil);
  const auto shelf = make<Shelf>();
  shelf->content = NSArray::arrayWithObject(NSArray::arrayWithObject("x"_ns));
  EXPECT_NE(unarchived(archived(shelf), Shelf::classObject()), nil);
  shelf->content = "no shelf"_ns;
  EXPECT_EQ(unarchived(archived(shelf), Shelf::classObject()), nil);
}

TEST(NSKeyedUnarchiver, ReadsAnArrayInXMLForm) {
  const auto back = unarchived(xmlArchive(
      "<dict><key>$class</key>" + xmlReference(5) + "<key>NS.objects</key><array>" + xmlReference(2) + xmlReference(2) +
      xmlReference(3) + xmlReference(4) +
      "</array></dict><string>ho</string><string>white</string><string>horse</string><dict><key>$classes</key><array>"
      "<string>NSArray</string><string>NSObject</string></array><key>$classname</key><string>NSArray</string></dict>"));
  EXPECT_TRUE(NSEqualObjects(back, NSArray::arrayWithObjects({"ho"_ns, "ho"_ns, "white"_ns, "horse"_ns})));
}

TEST(NSKeyedUnarchiver, ReadsAURLWithItsBase) {
  const auto back = as<NSURL>(unarchived(archiveOf({object(4, {{"NS.base"_ns, uid(2)}, {"NS.relative"_ns, uid(5)}}),
                                                    object(4, {{"NS.base"_ns, uid(0)}, {"NS.relative"_ns, uid(3)}}),
                                                    "http://h.example"_ns, classNamed("NSURL"_ns), "a.xml"_ns})));
  ASSERT_NE(back, nil);
  EXPECT_EQ(back->absoluteString()->UTF8String(), "http://h.example/a.xml");
  EXPECT_EQ(back->relativeString()->UTF8String(), "a.xml");
}

TEST(NSKeyedUnarchiver, ReadsASetOfNumbers) {
  const auto back =
      unarchived(archiveOf({object(4, {{"NS.objects"_ns, references({2, 3})}}), NSNumber::numberWithInteger(3),
                            NSNumber::numberWithInteger(2), classNamed("NSSet"_ns)}));
  EXPECT_TRUE(
      NSEqualObjects(back, NSSet::setWithObjects({NSNumber::numberWithInteger(2), NSNumber::numberWithInteger(3)})));
}

// ---- Older layouts ----

TEST(NSKeyedUnarchiver, ReadsCollectionsWhoseObjectsAreNumbered) {
  const auto array = [](const Ref<NSString>& type) {
    return unarchived(
        archiveOf({object(2, {{"NS.object.0"_ns, uid(3)}, {"NS.object.1"_ns, uid(4)}, {"NS.object.2"_ns, uid(3)}}),
                   classNamed(type), "a"_ns, "b"_ns}));
  };
  const auto list = NSArray::arrayWithObjects({"a"_ns, "b"_ns, "a"_ns});
  EXPECT_TRUE(NSEqualObjects(array("NSArray"_ns), list));
  EXPECT_TRUE(NSEqualObjects(array("NSMutableArray"_ns), list));
  EXPECT_EQ(array("NSMutableArray"_ns)->isa(), NSMutableArray::classObject());
  EXPECT_TRUE(NSEqualObjects(array("NSSet"_ns), NSSet::setWithArray(list)));
  EXPECT_EQ(array("NSMutableSet"_ns)->isa(), NSMutableSet::classObject());
  const auto dictionary = unarchived(archiveOf(
      {object(
           2,
           {{"NS.key.0"_ns, uid(3)}, {"NS.object.0"_ns, uid(4)}, {"NS.key.1"_ns, uid(4)}, {"NS.object.1"_ns, uid(3)}}),
       classNamed("NSDictionary"_ns), "a"_ns, "b"_ns}));
  EXPECT_TRUE(NSEqualObjects(dictionary, NSDictionary::dictionary({{"a"_ns, "b"_ns}, {"b"_ns, "a"_ns}})));
}

TEST(NSKeyedUnarchiver, NumberedObjectsReachToTheFirstGap) {
  const auto back = unarchived(archiveOf(
      {object(2, {{"NS.object.0"_ns, uid(3)}, {"NS.object.2"_ns, uid(3)}}), classNamed("NSArray"_ns), "a"_ns}));
  EXPECT_TRUE(NSEqualObjects(back, NSArray::arrayWithObject("a"_ns)));
  EXPECT_EQ(unarchived(archiveOf({object(2, {{"NS.object.1"_ns, uid(3)}}), classNamed("NSArray"_ns), "a"_ns})), nil);
  EXPECT_EQ(unarchived(archiveOf({object(2, {{"NS.object.0"_ns, uid(9)}}), classNamed("NSArray"_ns), "a"_ns})), nil);
  EXPECT_EQ(unarchived(archiveOf({object(2, {{"NS.object.0"_ns, "a"_ns}}), classNamed("NSArray"_ns), "a"_ns})), nil);
  EXPECT_EQ(unarchived(archiveOf({object(2, {{"NS.object.0"_ns, uid(1)}}), classNamed("NSArray"_ns)})), nil);
  EXPECT_EQ(
      unarchived(archiveOf({object(2, {{"NS.key.0"_ns, uid(3)}, {"NS.key.1"_ns, uid(3)}, {"NS.object.0"_ns, uid(3)}}),
                            classNamed("NSDictionary"_ns), "a"_ns})),
      nil);
}

TEST(NSKeyedUnarchiver, ReadsNumbersThatAreObjects) {
  const auto numberWith = [](const Ref<NSString>& key, const id& value) {
    return as<NSNumber>(unarchived(archiveOf({object(2, {{key, value}}), classNamed("NSNumber"_ns)})));
  };
  const auto integer = [](NSInteger value) { return NSNumber::numberWithInteger(value); };
  EXPECT_EQ(numberWith("NS.intval"_ns, integer(-7))->value(), NSNumber::Value(NSInteger{-7}));
  EXPECT_EQ(numberWith("NS.intval"_ns, NSNumber::numberWithUnsignedInteger(NSUIntegerMax))->value(),
            NSNumber::Value(NSUIntegerMax));
  EXPECT_EQ(numberWith("NS.intval"_ns, NSNumber::numberWithBool(true))->value(), NSNumber::Value(NSInteger{1}));
  EXPECT_EQ(numberWith("NS.dblval"_ns, NSNumber::numberWithDouble(0.5))->value(), NSNumber::Value(0.5));
  EXPECT_EQ(numberWith("NS.dblval"_ns, integer(2))->value(), NSNumber::Value(2.0));
  EXPECT_EQ(numberWith("NS.boolval"_ns, NSNumber::numberWithBool(true))->value(), NSNumber::Value(true));
  EXPECT_EQ(numberWith("NS.boolval"_ns, integer(0))->value(), NSNumber::Value(false));
  EXPECT_EQ(numberWith("NS.intval"_ns, "7"_ns), nil);
  EXPECT_EQ(numberWith("other"_ns, integer(7)), nil);
  const auto list = unarchived(archiveOf({object(2, {{"NS.objects"_ns, references({3})}}), classNamed("NSArray"_ns),
                                          object(4, {{"NS.intval"_ns, integer(3)}}), classNamed("NSNumber"_ns)}));
  EXPECT_TRUE(NSEqualObjects(list, NSArray::arrayWithObject(integer(3))));
}

TEST(NSKeyedUnarchiver, ReadsCountedAndOrderedSetsAsSets) {
  const auto members = NSArray::arrayWithObjects({"b"_ns, "a"_ns});
  for (const auto& name : {"NSOrderedSet"_ns, "NSMutableOrderedSet"_ns, "NSCountedSet"_ns}) {
    const bool isMutable = !name->isEqualToString("NSOrderedSet"_ns);
    for (const auto& values : {NSDictionary::dictionary({{"NS.objects"_ns, references({3, 4})}}),
                               NSDictionary::dictionary({{"NS.object.0"_ns, uid(3)}, {"NS.object.1"_ns, uid(4)}}),
                               NSDictionary::dictionary({{"NS.object0"_ns, uid(3)},
                                                         {"NS.object1"_ns, uid(4)},
                                                         {"NS.count"_ns, NSNumber::numberWithInteger(2)},
                                                         {"NS.count0"_ns, NSNumber::numberWithInteger(5)},
                                                         {"NS.count1"_ns, NSNumber::numberWithInteger(1)}})}) {
      const auto set = values->mutableCopy();
      as<NSMutableDictionary>(set)->setObject_forKey(uid(2), "$class"_ns);
      const auto back = as<NSSet>(unarchived(archiveOf({set, classNamed(name), "b"_ns, "a"_ns}), NSSet::classObject()));
      ASSERT_TRUE(back) << name->UTF8String();
      EXPECT_TRUE(NSEqualObjects(back->allObjects(), members)) << "in their order";
      EXPECT_EQ(back->isa() == NSMutableSet::classObject(), isMutable) << name->UTF8String();
    }
  }
}

TEST(NSKeyedUnarchiver, TakesAClassThatTheArchiveHintsAtForOneItDoesNotKnow) {
  const auto read = [](const Ref<NSString>& name, const id& hints, Class allowed = NSObject::classObject()) {
    const id type = NSDictionary::dictionary(
        {{"$classname"_ns, name}, {"$classes"_ns, NSArray::arrayWithObject(name)}, {"$classhints"_ns, hints}});
    return unarchived(archiveOf({object(2, {{"NS.objects"_ns, references({3})}}), type, "a"_ns}), allowed);
  };
  const auto hints = NSArray::arrayWithObjects({"AlsoUnknown"_ns, "NSMutableArray"_ns, "NSSet"_ns});
  EXPECT_TRUE(NSEqualObjects(read("Unknown"_ns, hints), NSArray::arrayWithObject("a"_ns)));
  EXPECT_EQ(read("Unknown"_ns, hints)->isa(), NSMutableArray::classObject());
  EXPECT_EQ(read("NSSet"_ns, hints)->isa(), NSSet::classObject()) << "its own class comes first";
  EXPECT_EQ(read("Unknown"_ns, NSArray::arrayWithObject("NSOrderedSet"_ns))->isa(), NSSet::classObject());
  EXPECT_EQ(read("Unknown"_ns, hints, NSSet::classObject()), nil) << "only what may stand there";
  EXPECT_EQ(read("Unknown"_ns, NSArray::arrayWithObjects({"AlsoUnknown"_ns, NSNumber::numberWithInteger(1)})), nil);
  EXPECT_EQ(read("Unknown"_ns, "NSArray"_ns), nil);
  EXPECT_EQ(read("Unknown"_ns, NSArray::array()), nil);
}

// Runs of the lengths 1, 3 and 1, the last with the attributes of the first.
Ref<NSData> styledArchive(const std::string& info, const id& list) {
  const id dictionary = classNamed("NSDictionary"_ns);
  return archiveOf({object(10, {{"NSString"_ns, uid(2)}, {"NSAttributes"_ns, uid(3)}, {"NSAttributeInfo"_ns, uid(8)}}),
                    "01234"_ns, list, object(6, {{"NS.keys"_ns, references({7})}, {"NS.objects"_ns, references({7})}}),
                    object(6, {{"NS.keys"_ns, NSArray::array()}, {"NS.objects"_ns, NSArray::array()}}), dictionary,
                    "Font"_ns, object(9, {{"NS.data"_ns, NSData::dataWithBytes(info)}}), classNamed("NSMutableData"_ns),
                    classNamed("NSAttributedString"_ns), classNamed("NSMutableArray"_ns)});
}

TEST(NSKeyedUnarchiver, ReadsAStyledTextWithRuns) {
  const id list = object(11, {{"NS.objects"_ns, references({4, 5})}});
  const auto text = as<NSAttributedString>(unarchived(styledArchive(std::string("\1\0\3\1\1\0", 6), list)));
  ASSERT_NE(text, nil);
  NSRange range;
  EXPECT_TRUE(NSEqualObjects(text->attribute_atIndex_effectiveRange("Font"_ns, 0, &range), "Font"_ns));
  EXPECT_EQ(range, NSMakeRange(0, 1));
  EXPECT_EQ(text->attribute_atIndex_effectiveRange("Font"_ns, 2, &range), nil);
  EXPECT_EQ(range, NSMakeRange(1, 3));
  EXPECT_TRUE(NSEqualObjects(text->attribute_atIndex_effectiveRange("Font"_ns, 4, &range), "Font"_ns));
}

TEST(NSKeyedUnarchiver, StyledTextsWithDamagedRunsGiveNil) {
  const id list = object(11, {{"NS.objects"_ns, references({4, 5})}});
  for (const std::string& info : {std::string(), std::string("\5", 1), std::string("\4\0", 2), std::string("\6\0", 2),
                                  std::string("\5\2", 2), std::string("\5\0\1\0", 4), std::string("\x85", 1),
                                  std::string(12, '\xFF'), std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F\0", 10)}) {
    EXPECT_EQ(unarchived(styledArchive(info, list)), nil);
  }
  EXPECT_NE(unarchived(styledArchive(std::string("\5\0", 2), list)), nil);
  EXPECT_EQ(unarchived(styledArchive(std::string("\5\0", 2), "no list"_ns)), nil);
  EXPECT_EQ(unarchived(styledArchive(std::string("\5\0", 2), object(11, {{"NS.objects"_ns, references({7})}}))), nil);
}

TEST(NSKeyedUnarchiver, WhatIsNoArchiveGivesNil) {
  const auto plist = [](const id& propertyList) {
    return NSPropertyListSerialization::dataWithPropertyList_format_options_error(
        propertyList, NSPropertyListXMLFormat_v1_0, 0, nullptr);
  };
  Ref<NSError> error;
  EXPECT_EQ(unarchived(nil, NSObject::classObject(), &error), nil);
  EXPECT_NE(error, nil);
  error = nil;
  EXPECT_EQ(unarchived(plist(NSDictionary::dictionary()), NSObject::classObject(), &error), nil);
  EXPECT_EQ(error->code(), NSCoderReadCorruptError);
  EXPECT_EQ(unarchived(plist("text"_ns)), nil);
  const auto archive = propertyListOf(archived("x"_ns));
  for (const auto& key : {"$version"_ns, "$archiver"_ns, "$top"_ns, "$objects"_ns}) {
    const auto changed = NSMutableDictionary::dictionaryWithDictionary(archive);
    changed->setObject_forKey("other"_ns, key);
    EXPECT_EQ(unarchived(plist(changed)), nil);
    changed->removeObjectForKey(key);
    EXPECT_EQ(unarchived(plist(changed)), nil);
  }
  EXPECT_NE(unarchived(plist(archive)), nil);
}

TEST(NSKeyedUnarchiver, NilRootIsNil) {
  const auto archiver = make<NSKeyedArchiver>(true);
  archiver->encodeObject_forKey(nil, NSKeyedArchiveRootObjectKey());
  EXPECT_EQ(unarchived(archiver->encodedData()), nil);
}

TEST(NSKeyedUnarchiver, DamagedObjectsGiveNil) {
  const id array = classNamed("NSArray"_ns);
  const std::initializer_list<Ref<NSData>> archives{
      archiveOf({object(2, {{"NS.objects"_ns, references({1})}}), array}),                   // holds itself
      archiveOf({object(3, {{"NS.objects"_ns, references({2})}}),                            // by way of another
                 object(3, {{"NS.objects"_ns, references({1})}}), array}),                   //
      archiveOf({object(2, {{"NS.objects"_ns, references({99})}}), array}),                  // out of range
      archiveOf({object(2, {{"NS.objects"_ns, references({NSUIntegerMax})}}), array}),       //
      archiveOf({object(2, {{"NS.objects"_ns, references({0})}}), array}),                   // nil inside
      archiveOf({object(2, {{"NS.objects"_ns, "text"_ns}}), array}),                         // no list
      archiveOf({object(2, {{"NS.objects"_ns, NSArray::arrayWithObject("x"_ns)}}), array}),  // no reference
      archiveOf({object(2), array}),                                                         // nothing at all
      archiveOf({object(2), classNamed("NoSuchClass"_ns)}),
      archiveOf({object(2), classNamed("NSObject"_ns)}),
      archiveOf({object(2), classNamed("Raising"_ns)}),
      archiveOf({object(2), classNamed("Crate"_ns)}),
      archiveOf({object(2), "text"_ns}),
      archiveOf({object(1)}),
      archiveOf({object(0)}),
      archiveOf({object(99)}),
      archiveOf({object(2), NSDictionary::dictionary({{"$classname"_ns, NSNull::null()}})}),
      archiveOf({NSDictionary::dictionary()}),
      archiveOf({NSArray::array()}),
      archiveOf({uid(1)}),
      archiveOf({}),
      archiveOf({object(2), classNamed("NSDate"_ns)}),
      archiveOf({object(2, {{"NS.time"_ns, "noon"_ns}}), classNamed("NSDate"_ns)}),
      archiveOf({object(2), classNamed("NSMutableString"_ns)}),
      archiveOf({object(2, {{"NS.string"_ns, NSNumber::numberWithInteger(1)}}), classNamed("NSMutableString"_ns)}),
      archiveOf({object(2), classNamed("NSMutableData"_ns)}),
      archiveOf({object(2), classNamed("NSURL"_ns)}),
      archiveOf({object(3, {{"NS.relative"_ns, uid(2)}}), "no URL"_ns, classNamed("NSURL"_ns)}),
      archiveOf({object(2, {{"NS.uuidbytes"_ns, NSData::dataWithBytes("short")}}), classNamed("NSUUID"_ns)}),
      archiveOf({object(3, {{"NS.keys"_ns, references({2})}, {"NS.objects"_ns, references({})}}), "k"_ns,
                 classNamed("NSDictionary"_ns)}),
      archiveOf({object(3, {{"NS.keys"_ns, references({2})}}), "k"_ns, classNamed("NSDictionary"_ns)}),
      archiveOf({object(2), classNamed("NSAttributedString"_ns)}),
      archiveOf(
          {object(3, {{"NSString"_ns, uid(2)}}), NSNumber::numberWithInteger(1), classNamed("NSAttributedString"_ns)}),
  };
  int number = 0;
  for (const auto& archive : archives) {
    Ref<NSError> error;
    EXPECT_EQ(unarchived(archive, NSObject::classObject(), &error), nil) << number;
    EXPECT_NE(error, nil) << number;
    ++number;
  }
}

TEST(NSKeyedUnarchiver, KeysThatCannotBeCopiedGiveNil) {
  const auto data = archiveOf({object(3, {{"NS.keys"_ns, references({2})}, {"NS.objects"_ns, references({2})}}),
                               object(4, {}), classNamed("NSDictionary"_ns), classNamed("Shelf"_ns)});
  EXPECT_EQ(unarchived(data), nil);
}

TEST(NSKeyedUnarchiver, MutableKeysAreCopied) {
  const auto data = archiveOf({object(3, {{"NS.keys"_ns, references({2})}, {"NS.objects"_ns, references({2})}}),
                               object(4, {{"NS.string"_ns, "k"_ns}}), classNamed("NSDictionary"_ns),
                               classNamed("NSMutableString"_ns)});
  const auto back = as<NSDictionary>(unarchived(data));
  ASSERT_NE(back, nil);
  EXPECT_EQ(back->allKeys()->firstObject()->isa(), NSString::classObject());
  EXPECT_EQ(back->objectForKey("k"_ns)->isa(), NSMutableString::classObject());
}

TEST(NSKeyedUnarchiver, ReadsNoDeeperThanItMayWrite) {
  const auto objects = NSMutableArray::arrayWithObjects({"$null"_ns});
  constexpr NSUInteger depth = 100'000;
  for (NSUInteger i = 1; i <= depth; ++i) {
    objects->addObject(object(depth + 1, {{"NS.objects"_ns, i < depth ? references({i + 1}) : references({})}}));
  }
  objects->addObject(classNamed("NSArray"_ns));
  const auto archive = NSDictionary::dictionary({{"$version"_ns, NSNumber::numberWithInteger(100000)},
                                                 {"$archiver"_ns, "NSKeyedArchiver"_ns},
                                                 {"$top"_ns, NSDictionary::dictionary({{"root"_ns, uid(1)}})},
                                                 {"$objects"_ns, objects}});
  EXPECT_EQ(unarchived(NSPropertyListSerialization::dataWithPropertyList_format_options_error(
                archive, NSPropertyListBinaryFormat_v1_0, 0, nullptr)),
            nil);
}

// Two towers of arrays, each holding the next one twice: comparing them would take 2 to the power of 60 steps.
TEST(NSKeyedUnarchiver, SetsThatWouldCompareForEverGiveNil) {
  constexpr NSUInteger height = 60;
  for (const auto& type : {"NSSet"_ns, "NSDictionary"_ns}) {
    const auto objects = NSMutableArray::arrayWithObjects({"$null"_ns});
    const auto members = references({4, 4 + height});
    objects->addObject(object(2, {{"NS.objects"_ns, members}, {"NS.keys"_ns, members}}));
    objects->addObject(classNamed(type));
    objects->addObject(classNamed("NSArray"_ns));
    for (int tower = 0; tower < 2; ++tower) {
      for (NSUInteger i = 0; i < height; ++i) {
        const NSUInteger next = objects->count() + 1;
        objects->addObject(object(3, {{"NS.objects"_ns, i + 1 < height ? references({next, next}) : references({})}}));
      }
    }
    const auto archive = NSDictionary::dictionary({{"$version"_ns, NSNumber::numberWithInteger(100000)},
                                                   {"$archiver"_ns, "NSKeyedArchiver"_ns},
                                                   {"$top"_ns, NSDictionary::dictionary({{"root"_ns, uid(1)}})},
                                                   {"$objects"_ns, objects}});
    Ref<NSError> error;
    EXPECT_EQ(unarchived(NSPropertyListSerialization::dataWithPropertyList_format_options_error(
                             archive, NSPropertyListBinaryFormat_v1_0, 0, nullptr),
                         NSObject::classObject(), &error),
              nil);
    EXPECT_EQ(error->code(), NSCoderReadCorruptError);
  }
}

TEST(NSKeyedUnarchiver, LargeSetsOfCollectionsAreReadAllTheSame) {
  const auto set = NSMutableSet::set();
  for (NSInteger i = 0; i < 2000; ++i) {
    set->addObject(NSArray::arrayWithObjects({NSNumber::numberWithInteger(i), "x"_ns}));
  }
  expectComesBack(set);
}

TEST(NSKeyedUnarchiver, EveryDamagedByteEndsCleanly) {
  const auto text = make<NSMutableAttributedString>("abc"_ns);
  text->addAttribute_value_range("k"_ns, NSSet::setWithObjects({"1"_ns, NSDate::dateWithTimeIntervalSince1970(1)}),
                                 {0, 2});
  const auto data = archived(NSArray::arrayWithObjects({text, NSURL::URLWithString("http://h/"_ns), NSUUID::UUID()}));
  const std::string bytes(data->view());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (const unsigned change : {0x01U, 0x10U, 0x80U, 0xFFU}) {
      std::string damaged = bytes;
      damaged[i] = static_cast<char>(static_cast<unsigned char>(damaged[i]) ^ change);
      unarchived(NSData::dataWithBytes(damaged));
    }
    EXPECT_EQ(unarchived(NSData::dataWithBytes(bytes.substr(0, i))), nil);
  }
}

}  // namespace
