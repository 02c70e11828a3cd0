#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSKeyedArchiver.h"
#include "foundation/coding/NSKeyedUnarchiver.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "foundation/collections/NSUUID.h"
#include "tests/platform/foundation/coding/Archives.h"

namespace {

Ref<NSMutableArray> nested(std::size_t depth) {
  auto array = NSMutableArray::array();
  for (std::size_t i = 1; i < depth; ++i) array = NSMutableArray::arrayWithObjects({array});
  return array;
}

TEST(NSKeyedArchiver, ValuesComeBack) {
  expectComesBack("text äöü €😀"_ns);
  expectComesBack(""_ns);
  expectComesBack("$null"_ns);
  expectComesBack(NSString::stringWithUnits(u"\xD800 \xDC80 x"));
  expectComesBack(NSData::dataWithBytes(std::string("\0\1\2", 3)));
  expectComesBack(NSData::data());
  expectComesBack(NSDate::dateWithTimeIntervalSinceReferenceDate(-0.123456789));
  expectComesBack(NSNull::null());
  expectComesBack(NSURL::URLWithString("http://h/a?b#c"_ns));
  expectComesBack(NSURL::URLWithString_relativeToURL("../x"_ns, NSURL::URLWithString("http://h/a/b/"_ns)));
  expectComesBack(NSUUID::UUID());
}

TEST(NSKeyedArchiver, NumbersKeepTheirKind) {
  for (const NSNumber::Value& value :
       {NSNumber::Value(true), NSNumber::Value(false), NSNumber::Value(NSInteger{1}), NSNumber::Value(1.0),
        NSNumber::Value(NSInteger{-5}), NSNumber::Value(std::numeric_limits<NSInteger>::min()),
        NSNumber::Value(NSUIntegerMax), NSNumber::Value(0.1), NSNumber::Value(-0.0)}) {
    const auto back = as<NSNumber>(unarchived(archived(make<NSNumber>(value))));
    ASSERT_NE(back, nil);
    EXPECT_EQ(back->value(), value);
  }
  EXPECT_TRUE(std::isnan(as<NSNumber>(unarchived(archived(NSNumber::numberWithDouble(std::nan("")))))->doubleValue()));
}

TEST(NSKeyedArchiver, EqualNumbersOfDifferentKindsStayApart) {
  const auto list = NSArray::arrayWithObjects(
      {NSNumber::numberWithBool(true), NSNumber::numberWithInteger(1), NSNumber::numberWithDouble(1)});
  const auto back = as<NSArray>(unarchived(archived(list)));
  EXPECT_TRUE(as<NSNumber>(back->objectAtIndex(0))->isBool());
  EXPECT_FALSE(as<NSNumber>(back->objectAtIndex(1))->isBool());
  EXPECT_TRUE(as<NSNumber>(back->objectAtIndex(2))->isReal());
}

TEST(NSKeyedArchiver, CollectionsAndMutableVariantsComeBack) {
  const auto list = NSArray::arrayWithObjects({"a"_ns, NSNumber::numberWithInteger(1), NSNull::null()});
  expectComesBack(list);
  expectComesBack(NSArray::array());
  expectComesBack(NSMutableArray::arrayWithArray(list));
  expectComesBack(NSSet::setWithArray(list));
  expectComesBack(NSMutableSet::setWithObjects({list, "x"_ns}));
  expectComesBack(
      NSDictionary::dictionary({{"k"_ns, list}, {NSNumber::numberWithInteger(2), NSDictionary::dictionary()}}));
  expectComesBack(NSMutableDictionary::dictionary({{list, "list"_ns}}));
  expectComesBack(NSMutableString::stringWithString("abc"_ns));
  expectComesBack(NSData::dataWithBytes("xyz")->mutableCopy());
}

TEST(NSKeyedArchiver, StyledTextsComeBack) {
  expectComesBack(make<NSAttributedString>());
  expectComesBack(make<NSAttributedString>("plain"_ns));
  expectComesBack(make<NSMutableAttributedString>("one"_ns, NSDictionary::dictionary({{"k"_ns, "v"_ns}})));
  const auto text = make<NSMutableAttributedString>("some longer text"_ns);
  text->addAttribute_value_range("k"_ns, "1"_ns, {0, 4});
  text->addAttribute_value_range("k"_ns, NSNumber::numberWithInteger(2), {3, 7});
  expectComesBack(text);
  expectComesBack(text->copy());
}

TEST(NSKeyedArchiver, RunsOfEveryLengthComeBack) {
  for (const NSUInteger length : {1U, 127U, 128U, 16383U, 16384U, 3000000U}) {
    const auto text = make<NSMutableAttributedString>(NSString::stringWithUnits(std::u16string(length + 2, u'x')));
    text->addAttribute_value_range("k"_ns, "v"_ns, {1, length});
    expectComesBack(text);
  }
  const auto many = make<NSMutableAttributedString>(NSString::stringWithUnits(std::u16string(300, u'x')));
  for (NSUInteger i = 0; i < 300; ++i) {
    many->addAttribute_value_range("k"_ns, NSNumber::numberWithUnsignedInteger(i), {i, 1});
  }
  expectComesBack(many);
}

TEST(NSKeyedArchiver, ObjectsOfOwnClassesCodeThemselves) {
  const auto inner = make<Shelf>();
  inner->label = "inner"_ns;
  const auto outer = make<Shelf>();
  outer->content = inner;
  outer->open = true;
  outer->count = -7;
  outer->width = 0.25;
  const auto back = as<Shelf>(unarchived(archived(outer), Shelf::classObject()));
  ASSERT_NE(back, nil);
  EXPECT_EQ(back->label, nil);
  EXPECT_TRUE(back->open);
  EXPECT_EQ(back->count, -7);
  EXPECT_EQ(back->width, 0.25);
  EXPECT_TRUE(as<Shelf>(back->content)->label->isEqual("inner"_ns));
}

TEST(NSKeyedArchiver, ObjectStandsInTheArchiveOnce) {
  const auto shared = NSMutableArray::arrayWithObjects({"x"_ns});
  const auto list = NSArray::arrayWithObjects({shared, shared, NSMutableArray::arrayWithArray(shared)});
  const auto back = as<NSArray>(unarchived(archived(list)));
  EXPECT_EQ(back->objectAtIndex(0), back->objectAtIndex(1));
  EXPECT_NE(back->objectAtIndex(0), back->objectAtIndex(2));
}

TEST(NSKeyedArchiver, ArchiveHasTheFormThatTheOriginalPlatformReads) {
  const auto list = NSMutableArray::arrayWithObjects({"a"_ns, "b"_ns, "a"_ns, NSNumber::numberWithInteger(3)});
  const auto data = archived(list);
  EXPECT_TRUE(data->view().starts_with("bplist00"));
  const auto chain = NSArray::arrayWithObjects({"NSMutableArray"_ns, "NSArray"_ns, "NSObject"_ns});
  const auto expected = NSDictionary::dictionary({
      {"$version"_ns, NSNumber::numberWithInteger(100000)},
      {"$archiver"_ns, "NSKeyedArchiver"_ns},
      {"$top"_ns, NSDictionary::dictionary({{"root"_ns, uid(1)}})},
      {"$objects"_ns,
       NSArray::arrayWithObjects(
           {"$null"_ns, NSDictionary::dictionary({{"NS.objects"_ns, references({2, 3, 2, 4})}, {"$class"_ns, uid(5)}}),
            "a"_ns, "b"_ns, NSNumber::numberWithInteger(3),
            NSDictionary::dictionary({{"$classname"_ns, "NSMutableArray"_ns}, {"$classes"_ns, chain}})})},
  });
  EXPECT_TRUE(propertyListOf(data)->isEqual(expected)) << propertyListOf(data)->description()->UTF8String();
}

TEST(NSKeyedArchiver, XMLFormComesBackAsWell) {
  const auto archiver = make<NSKeyedArchiver>(true);
  archiver->setOutputFormat(NSPropertyListXMLFormat_v1_0);
  archiver->encodeObject_forKey(NSArray::arrayWithObjects({"a"_ns, NSDate::dateWithTimeIntervalSince1970(0.5)}),
                                NSKeyedArchiveRootObjectKey());
  const auto data = archiver->encodedData();
  EXPECT_NE(data->view().find("<key>CF$UID</key>"), std::string_view::npos);
  const auto back = as<NSArray>(unarchived(data));
  ASSERT_NE(back, nil);
  EXPECT_EQ(as<NSDate>(back->objectAtIndex(1))->timeIntervalSince1970(), 0.5);
}

TEST(NSKeyedArchiver, SeveralObjectsStandUnderTheirKeys) {
  const auto archiver = make<NSKeyedArchiver>(true);
  archiver->encodeObject_forKey("one"_ns, "first"_ns);
  archiver->encodeObject_forKey(nil, "nothing"_ns);
  archiver->encodeInteger_forKey(5, "number"_ns);
  const auto unarchiver = NSKeyedUnarchiver::unarchiverForReadingFromData_error(archiver->encodedData(), nullptr);
  EXPECT_TRUE(NSEqualObjects(unarchiver->decodeObjectOfClass_forKey<NSString>("first"_ns), "one"_ns));
  EXPECT_TRUE(unarchiver->containsValueForKey("nothing"_ns));
  EXPECT_EQ(unarchiver->decodeObjectForKey("nothing"_ns), nil);
  EXPECT_EQ(unarchiver->decodeIntegerForKey("number"_ns), 5);
  EXPECT_FALSE(unarchiver->containsValueForKey("missing"_ns));
  EXPECT_EQ(unarchiver->decodeIntegerForKey("missing"_ns), 0);
  EXPECT_EQ(unarchiver->error(), nil);
  unarchiver->finishDecoding();
  EXPECT_EQ(unarchiver->decodeObjectForKey("first"_ns), nil);
}

TEST(NSKeyedArchiver, ReadingWithAWriterRaisesAndViceVersa) {
  EXPECT_THROW(make<NSKeyedArchiver>(true)->decodeObjectForKey("k"_ns), Ref<NSException>);
  const auto unarchiver = NSKeyedUnarchiver::unarchiverForReadingFromData_error(archived("x"_ns), nullptr);
  EXPECT_THROW(unarchiver->encodeObject_forKey("x"_ns, "k"_ns), Ref<NSException>);
}

TEST(NSKeyedArchiver, WhatCannotBeArchivedIsAnError) {
  for (const id& refused : std::initializer_list<id>{make<Insecure>(), make<Raising>(), make<Crate>(), make<NSObject>(),
                                                     NSArray::arrayWithObject(make<Raising>())}) {
    Ref<NSError> error;
    EXPECT_EQ(archived(refused, &error), nil);
    ASSERT_NE(error, nil);
    EXPECT_EQ(error->code(), NSCoderInvalidValueError);
  }
}

TEST(NSKeyedArchiver, InsecureClassesNeedAnArchiveWithoutSecureCoding) {
  const auto data =
      NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(make<Insecure>(), false, nullptr);
  EXPECT_EQ(unarchived(data, Insecure::classObject()), nil);
  const auto unarchiver = NSKeyedUnarchiver::unarchiverForReadingFromData_error(data, nullptr);
  unarchiver->setRequiresSecureCoding(false);
  EXPECT_NE(unarchiver->decodeObjectForKey("root"_ns), nil);
}

TEST(NSKeyedArchiver, ObjectsThatHoldThemselvesAreAnError) {
  const auto list = NSMutableArray::array();
  const auto inner = NSMutableArray::arrayWithObjects({list});
  list->addObject(inner);
  EXPECT_EQ(archived(list), nil);
  list->removeAllObjects();
}

TEST(NSKeyedArchiver, EveryDepthThatIsWrittenIsRead) {
  EXPECT_NE(unarchived(archived(nested(512))), nil);
  EXPECT_EQ(archived(nested(513)), nil);
}

}  // namespace
