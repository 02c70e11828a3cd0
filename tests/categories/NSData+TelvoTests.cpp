#include <gtest/gtest.h>

#include "appkit/NSAttributedString+AppKit.h"
#include "appkit/NSColor.h"
#include "appkit/NSFont.h"
#include "categories/NSData+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/NSKeyedUnarchiver.h"

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

}  // namespace
