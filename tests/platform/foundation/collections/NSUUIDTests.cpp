#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

TEST(NSUUID, RandomOnesDifferAndTellTheirVersion) {
  const std::string text = NSUUID::UUID()->UUIDString()->UTF8String();
  ASSERT_EQ(text.size(), 36U);
  EXPECT_EQ(text[14], '4');
  EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
  EXPECT_EQ(text.find_first_not_of("0123456789ABCDEF-"), std::string::npos) << text;
  EXPECT_NE(text, NSUUID::UUID()->UUIDString()->UTF8String());
}

TEST(NSUUID, ReadsItsOwnForm) {
  const auto uuid = NSUUID::UUIDWithUUIDString("00112233-4455-6677-8899-aabbccddeeff"_ns);
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->bytes()[15], 0xFF);
  EXPECT_EQ(uuid->description()->UTF8String(), "00112233-4455-6677-8899-AABBCCDDEEFF");
  const auto same = NSUUID::UUIDWithUUIDString(uuid->UUIDString());
  EXPECT_TRUE(uuid->isEqual(same));
  EXPECT_EQ(uuid->hash(), same->hash());
  EXPECT_FALSE(uuid->isEqual(NSUUID::UUID()));
  EXPECT_FALSE(uuid->isEqual(uuid->UUIDString()));
}

TEST(NSUUID, RejectsOtherTexts) {
  for (const char* text : {"", "00112233445566778899aabbccddeeff", "00112233-4455-6677-8899-aabbccddeefg",
                           "001122334-455-6677-8899-aabbccddeeff", "00112233-4455-6677-8899-aabbccddeeff0",
                           "00112233-4455-6677-8899-aabbccdde\xc3\xa9"}) {
    EXPECT_EQ(NSUUID::UUIDWithUUIDString(NSString::stringWithUTF8String(text)), nil) << text;
  }
  EXPECT_EQ(NSUUID::UUIDWithUUIDString(nil), nil);
}

}  // namespace
