#include <gtest/gtest.h>

#include "categories/NSDictionary+Telvo.h"
#include "foundation/Foundation.h"

namespace {

bool boolOf(const id& value) { return telvo_boolForKey(NSDictionary::dictionary({{"key"_ns, value}}), "key"_ns); }

TEST(NSDictionaryTelvo, BoolIsTrueForYesAndForIntegersOtherThanZero) {
  EXPECT_TRUE(boolOf("YES"_ns));
  EXPECT_TRUE(boolOf("yes"_ns));
  EXPECT_TRUE(boolOf("Yes"_ns));
  EXPECT_TRUE(boolOf("7"_ns));
  EXPECT_TRUE(boolOf("-1"_ns));
  EXPECT_TRUE(boolOf("  2 of them"_ns));
  EXPECT_TRUE(boolOf(NSNumber::numberWithBool(true)));
  EXPECT_TRUE(boolOf(NSNumber::numberWithInteger(-3)));
}

TEST(NSDictionaryTelvo, BoolIsFalseForEverythingElse) {
  EXPECT_FALSE(boolOf("true"_ns));
  EXPECT_FALSE(boolOf("NO"_ns));
  EXPECT_FALSE(boolOf("0"_ns));
  EXPECT_FALSE(boolOf(""_ns));
  EXPECT_FALSE(boolOf(" yes"_ns));
  EXPECT_FALSE(boolOf("0.5"_ns));
  EXPECT_FALSE(boolOf(NSNumber::numberWithBool(false)));
  EXPECT_FALSE(boolOf(NSNull::null()));
  EXPECT_FALSE(telvo_boolForKey(NSDictionary::dictionary(), "absent"_ns));
  EXPECT_FALSE(telvo_boolForKey(nil, "key"_ns));
}

}  // namespace
