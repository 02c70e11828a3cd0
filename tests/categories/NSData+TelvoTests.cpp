#include <string>

#include <gtest/gtest.h>

#include "appkit/NSAttributedString+AppKit.h"
#include "appkit/NSColor.h"
#include "appkit/NSFont.h"
#include "appkit/NSParagraphStyle.h"
#include "categories/NSData+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/coding/NSKeyedUnarchiver.h"
#include "testing/HandMadeArchive.h"

namespace {

// A class from the time before secure coding.
class OldNote : public NSObject {
  NS_OBJECT(OldNote, NSObject)

 public:
  explicit OldNote(Ref<NSString> text) : text_(std::move(text)) {}

  const Ref<NSString>& text() const { return text_; }

 private:
  static void encode(const NSObject& object, NSCoder& coder) {
    coder.encodeObject_forKey(static_cast<const OldNote&>(object).text_, "text"_ns);
  }
  static id decode(NSCoder& coder) { return make<OldNote>(coder.decodeObjectOfClass_forKey<NSString>("text"_ns)); }

  Ref<NSString> text_;
};

Class OldNote::classObject() {
  static const NSClass object("OldNote", NSObject::classObject(), {}, NSCoding{encode, decode, false});
  return &object;
}

class Uncoded : public NSObject {
  NS_OBJECT(Uncoded, NSObject)
};

Class Uncoded::classObject() {
  static const NSClass object("Uncoded", NSObject::classObject(), {});
  return &object;
}

Ref<NSData> archivedWithoutSecureCoding(const id& object) {
  return NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(object, false, nullptr);
}

TEST(NSDataTelvo, ObjectComesBackFromItsArchive) {
  const auto object = NSDictionary::dictionary({
      {"list"_ns, NSArray::arrayWithObjects({"a"_ns, NSNumber::numberWithInteger(1), NSNull::null()})},
      {"date"_ns, NSDate::dateWithTimeIntervalSince1970(0.5)},
  });
  EXPECT_TRUE(NSEqualObjects(telvo_objectOfClass(telvo_dataWithObject(object), NSDictionary::classObject()), object));
}

TEST(NSDataTelvo, StyledTextComesBackWithItsAttributes) {
  const auto text = make<NSMutableAttributedString>("abc"_ns);
  text->addAttribute_value_range(NSFontAttributeName(), NSFont::fontWithName_size("Georgia"_ns, 13), {0, 2});
  text->addAttribute_value_range(NSForegroundColorAttributeName(), NSColor::colorWithWhite_alpha(0.3, 0.5), {1, 2});
  EXPECT_TRUE(NSEqualObjects(telvo_objectOfClass(telvo_dataWithObject(text), NSAttributedString::classObject()), text));
}

TEST(NSDataTelvo, WhatCannotBeArchivedSecurelyGivesNil) {
  EXPECT_EQ(telvo_dataWithObject(nil), nil);
  EXPECT_EQ(telvo_dataWithObject(make<Uncoded>()), nil);
  EXPECT_EQ(telvo_dataWithObject(make<OldNote>("x"_ns)), nil);
  EXPECT_EQ(telvo_dataWithObject(NSArray::arrayWithObject(make<OldNote>("x"_ns))), nil);
}

// The fallback is unchecked on purpose.
TEST(NSDataTelvo, ObjectOfAnotherClassIsReturnedAllTheSame) {
  const auto data = telvo_dataWithObject("text"_ns);
  EXPECT_TRUE(NSEqualObjects(telvo_objectOfClass(data, NSDictionary::classObject()), "text"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_objectOfClass(data, nullptr), "text"_ns));
}

TEST(NSDataTelvo, ArchivesFromBeforeSecureCodingStillLoad) {
  const auto note =
      as<OldNote>(telvo_objectOfClass(archivedWithoutSecureCoding(make<OldNote>("x"_ns)), OldNote::classObject()));
  ASSERT_NE(note, nil);
  EXPECT_TRUE(note->text()->isEqual("x"_ns));
  const auto inside = archivedWithoutSecureCoding(NSArray::arrayWithObject(make<OldNote>("y"_ns)));
  EXPECT_NE(as<NSArray>(telvo_objectOfClass(inside, NSArray::classObject())), nil);
}

TEST(NSDataTelvo, SubclassesCount) {
  const auto data = telvo_dataWithObject(NSMutableString::stringWithString("x"_ns));
  EXPECT_EQ(telvo_objectOfClass(data, NSString::classObject())->isa(), NSMutableString::classObject());
}

TEST(NSDataTelvo, DamagedDataGivesNil) {
  EXPECT_EQ(telvo_objectOfClass(nil, NSString::classObject()), nil);
  EXPECT_EQ(telvo_objectOfClass(NSData::data(), NSString::classObject()), nil);
  EXPECT_EQ(telvo_objectOfClass(NSData::dataWithBytes("no archive"), NSString::classObject()), nil);
  const auto data = telvo_dataWithObject(NSArray::arrayWithObjects({"a"_ns, NSDate::date()}));
  for (NSUInteger size = 0; size < data->length(); ++size) {
    EXPECT_EQ(telvo_objectOfClass(data->subdataWithRange({0, size}), NSArray::classObject()), nil) << size;
  }
}

Ref<NSMutableAttributedString> textWithEveryAttribute() {
  const auto text = make<NSMutableAttributedString>("one two three äöü 😀"_ns);
  const auto set = [&](const Ref<NSString>& name, const id& value, NSRange range) {
    text->addAttribute_value_range(name, value, range);
  };
  set(NSFontAttributeName(), NSFont::fontWithName_size("Georgia-Bold"_ns, 13.5), {0, 7});
  set(NSFontAttributeName(), NSFont::userFontOfSize(9), {7, 3});
  set(NSForegroundColorAttributeName(), NSColor::redColor(), {2, 8});
  set(NSBackgroundColorAttributeName(), NSColor::colorWithWhite_alpha(0.25, 0.5), {3, 9});
  set(NSUnderlineStyleAttributeName(), NSNumber::numberWithInteger(NSUnderlineStyleDouble), {1, 2});
  set(NSStrikethroughStyleAttributeName(), NSNumber::numberWithInteger(NSUnderlineStyleSingle), {5, 5});
  set(NSSuperscriptAttributeName(), NSNumber::numberWithInteger(-1), {8, 2});
  set(NSParagraphStyleAttributeName(), make<NSParagraphStyle>(NSTextAlignmentCenter), {0, 10});
  set(NSLinkAttributeName(), NSURL::URLWithString("http://h/a"_ns), {4, 3});
  set(NSLinkAttributeName(), "by text"_ns, {11, 2});
  set("Own"_ns, NSArray::arrayWithObjects({NSDate::dateWithTimeIntervalSince1970(0.5), NSNull::null()}), {6, 6});
  return text;
}

TEST(NSDataTelvo, EveryAttributeOfStyledTextComesBack) {
  const auto text = textWithEveryAttribute();
  const id back = telvo_objectOfClass(telvo_dataWithObject(text), NSAttributedString::classObject());
  ASSERT_NE(back, nil);
  EXPECT_EQ(back->isa(), NSMutableAttributedString::classObject());
  EXPECT_TRUE(back->isEqual(text)) << back->description()->UTF8String();
  const id fixed = text->copy();
  const id other = telvo_objectOfClass(telvo_dataWithObject(fixed), NSAttributedString::classObject());
  EXPECT_EQ(other->isa(), NSAttributedString::classObject());
  EXPECT_TRUE(other->isEqual(fixed));
}

TEST(NSDataTelvo, MutableAttributeValuesStayMutableAndShared) {
  const auto style = make<NSMutableParagraphStyle>(NSTextAlignmentRight);
  const auto text = make<NSMutableAttributedString>("ab"_ns);
  text->addAttribute_value_range(NSParagraphStyleAttributeName(), style, {0, 2});
  text->addAttribute_value_range("Own"_ns, NSMutableString::stringWithString("x"_ns), {0, 1});
  text->addAttribute_value_range("List"_ns, NSMutableArray::arrayWithObjects({style}), {1, 1});
  const auto back =
      as<NSAttributedString>(telvo_objectOfClass(telvo_dataWithObject(text), NSAttributedString::classObject()));
  ASSERT_NE(back, nil);
  EXPECT_TRUE(back->isEqual(text));
  const auto value = [&](const Ref<NSString>& name, NSUInteger at) {
    return back->attribute_atIndex_effectiveRange(name, at);
  };
  EXPECT_EQ(value(NSParagraphStyleAttributeName(), 0)->isa(), NSMutableParagraphStyle::classObject());
  EXPECT_EQ(value(NSParagraphStyleAttributeName(), 0), value(NSParagraphStyleAttributeName(), 1));
  EXPECT_EQ(value("Own"_ns, 0)->isa(), NSMutableString::classObject());
  EXPECT_EQ(as<NSMutableArray>(value("List"_ns, 1))->firstObject(), value(NSParagraphStyleAttributeName(), 1));
}

TEST(NSDataTelvo, StyledTextInsideCollectionsComesBack) {
  const auto object = NSDictionary::dictionary(
      {{"texts"_ns, NSMutableArray::arrayWithObjects({textWithEveryAttribute(), textWithEveryAttribute()->copy()})},
       {"font"_ns, NSFont::fontWithName_size("Courier"_ns, 10)},
       {"color"_ns, NSColor::blueColor()}});
  // Not with secure coding for dictionaries only: a font is none of what they may hold. The fallback reads it.
  EXPECT_EQ(NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(NSDictionary::classObject(),
                                                                      telvo_dataWithObject(object), nullptr),
            nil);
  EXPECT_TRUE(NSEqualObjects(telvo_objectOfClass(telvo_dataWithObject(object), NSDictionary::classObject()), object));
}

TEST(NSDataTelvo, HostileArchivesGiveNilInTheFallbackToo) {
  const auto uid = [](NSUInteger value) -> id { return NSPropertyListUID::uidWithValue(value); };
  const auto list = [&](NSUInteger value) -> NSDictionary::Entry {
    return {"NS.objects"_ns, NSArray::arrayWithObject(uid(value))};
  };
  const std::initializer_list<Ref<NSData>> archives{
      archiveOfObject("NSArray"_ns, {list(1)}),                             // holds itself
      archiveOfObject("NSArray"_ns, {list(1'000'000)}),                     // not there
      archiveOfObject("NSArray"_ns, {list(NSUIntegerMax)}),                 //
      archiveOfObject("NSArray"_ns, {}),                                    // lacks its objects
      archiveOfObject("NSArray"_ns, {{"NS.objects"_ns, "text"_ns}}),        // of the wrong type
      archiveOfObject("NoSuchClass"_ns, {}),                                //
      archiveOfObject("NSAttributedString"_ns, {{"NSString"_ns, uid(1)}}),  // is its own text
      archiveOfObject("NSMutableDictionary"_ns, {list(3)}, {"value"_ns}),   // has no keys
      archiveOfObject("NSURL"_ns, {{"NS.relative"_ns, uid(1)}}),            //
      archiveOfObject("NSColor"_ns, {{"NSColorSpace"_ns, "RGB"_ns}}),       //
      archiveOfObject("NSKeyedUnarchiver"_ns, {}),                          // codes nothing
  };
  int number = 0;
  for (const auto& archive : archives) {
    EXPECT_EQ(telvo_objectOfClass(archive, NSArray::classObject()), nil) << number;
    ++number;
  }
}

// Numbers at the end of a binary archive tell how many objects it has and where: all of them made enormous.
TEST(NSDataTelvo, GiganticCountsGiveNil) {
  const std::string bytes(telvo_dataWithObject(NSArray::arrayWithObjects({"a"_ns, "b"_ns}))->view());
  constexpr std::size_t numbers = 24;
  for (std::size_t i = bytes.size() - numbers; i < bytes.size(); ++i) {
    std::string damaged = bytes;
    damaged[i] = '\x7F';
    EXPECT_EQ(telvo_objectOfClass(NSData::dataWithBytes(damaged), NSArray::classObject()), nil) << i;
  }
  // A count of an array, of a text or of a run's length that the data does not hold.
  for (const char marker : {'\xAF', '\x5F', '\x4F', '\xDF'}) {
    std::string damaged = bytes;
    damaged.replace(8, 10, std::string(1, marker) + "\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
    EXPECT_EQ(telvo_objectOfClass(NSData::dataWithBytes(damaged), NSArray::classObject()), nil);
  }
  const auto runs = archiveOfObject(
      "NSAttributedString"_ns,
      {{"NSString"_ns, NSPropertyListUID::uidWithValue(3)},
       {"NSAttributes"_ns, NSPropertyListUID::uidWithValue(4)},
       {"NSAttributeInfo"_ns, NSPropertyListUID::uidWithValue(5)}},
      {"ab"_ns, NSDictionary::dictionary(), NSData::dataWithBytes("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F")});
  EXPECT_EQ(telvo_objectOfClass(runs, NSAttributedString::classObject()), nil);
}

// Every level holds the next one twice, which makes 2 to the power of 100 arrays for whoever copies them.
TEST(NSDataTelvo, TowersAreReadAndWrittenWithoutBeingUnfolded) {
  id tower = NSArray::arrayWithObject("x"_ns);
  for (int level = 0; level < 100; ++level) tower = NSArray::arrayWithObjects({tower, tower});
  const auto data = telvo_dataWithObject(tower);
  ASSERT_NE(data, nil);
  EXPECT_LT(data->length(), 10'000U);
  const auto back = as<NSArray>(telvo_objectOfClass(data, NSArray::classObject()));
  ASSERT_NE(back, nil);
  EXPECT_EQ(back->firstObject(), back->lastObject());
  EXPECT_EQ(back->hash(), tower->hash());
}

}  // namespace
