#include <thread>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "testing/EnvironmentVariable.h"

namespace {

// The texts in the order of a file browser, joined by spaces.
std::string sorted(std::initializer_list<const char*> texts) {
  const auto array = NSMutableArray::array();
  for (const char* text : texts) array->addObject(NSString::stringWithUTF8String(text));
  return array->sortedArrayUsingSelector("localizedStandardCompare:"_sel)
      ->componentsJoinedByString(" "_ns)
      ->UTF8String();
}

class LocalizedStandardCompare : public testing::Test {
 protected:
  EnvironmentVariable all_{"LC_ALL", nullptr};
  EnvironmentVariable collate_{"LC_COLLATE", nullptr};
  EnvironmentVariable lang_{"LANG", nullptr};
};

TEST_F(LocalizedStandardCompare, DigitRunsAreComparedByValue) {
  EXPECT_EQ(sorted({"a10", "a9", "a100", "a1"}), "a1 a9 a10 a100");
  EXPECT_EQ(sorted({"v1.10.2", "v1.9.10", "v1.9.9"}), "v1.9.9 v1.9.10 v1.10.2");
  EXPECT_EQ(sorted({"x123456789012345678901234567891", "x123456789012345678901234567890"}),
            "x123456789012345678901234567890 x123456789012345678901234567891");
}

TEST_F(LocalizedStandardCompare, WithoutALocaleCaseAndAccentsComeAfterTheLetters) {
  EXPECT_EQ(sorted({"b", "A", "a", "B", "é", "f", "e"}), "a A b B e é f");
  const EnvironmentVariable c("LC_ALL", "C.UTF-8");
  EXPECT_EQ(sorted({"b", "A", "a", "B", "é", "f", "e"}), "a A b B e é f");
}

TEST_F(LocalizedStandardCompare, FollowsTheUsersLanguage) {
  EXPECT_EQ(sorted({"zebra", "ärlig", "apa"}), "apa ärlig zebra");
  {
    const EnvironmentVariable lang("LANG", "sv_SE.UTF-8");
    EXPECT_EQ(sorted({"zebra", "ärlig", "apa"}), "apa zebra ärlig");
    const EnvironmentVariable collate("LC_COLLATE", "de_DE.UTF-8");
    EXPECT_EQ(sorted({"zebra", "ärlig", "apa"}), "apa ärlig zebra");
    const EnvironmentVariable all("LC_ALL", "sv_SE.UTF-8@euro");
    EXPECT_EQ(sorted({"zebra", "ärlig", "apa"}), "apa zebra ärlig");
  }
  EXPECT_EQ(sorted({"zebra", "ärlig", "apa"}), "apa ärlig zebra");
}

TEST_F(LocalizedStandardCompare, AnUnknownLanguageSortsTheCommonWay) {
  const EnvironmentVariable lang("LANG", "xx_YY.nonsense@@@");
  EXPECT_EQ(sorted({"b", "A", "a10", "a9"}), "A a9 a10 b");
}

TEST_F(LocalizedStandardCompare, OnlyEqualTextsAreTheSame) {
  EXPECT_NE("a01"_ns->localizedStandardCompare("a1"_ns), NSOrderedSame);
  EXPECT_NE("a-b"_ns->localizedStandardCompare("ab"_ns), NSOrderedSame);
  EXPECT_EQ("é"_ns->localizedStandardCompare("e\xCC\x81"_ns), NSOrderedSame);
  EXPECT_EQ("a1"_ns->localizedStandardCompare("a1"_ns), NSOrderedSame);
  EXPECT_EQ(sorted({"a1", "a01", "a001"}), sorted({"a001", "a1", "a01"}));
  EXPECT_EQ("a"_ns->localizedStandardCompare(nil), NSOrderedDescending);
}

TEST_F(LocalizedStandardCompare, NamesThatAreNoUTF8AreComparedToo) {
  const auto one = NSString::stringWithUTF8String("a\xff");
  const auto other = NSString::stringWithUTF8String("a\xfe");
  EXPECT_EQ(one->localizedStandardCompare(one), NSOrderedSame);
  EXPECT_NE(one->localizedStandardCompare(other), NSOrderedSame);
  EXPECT_EQ(one->localizedStandardCompare(other), -other->localizedStandardCompare(one));
}

TEST_F(LocalizedStandardCompare, WorksOnSeveralThreads) {
  std::string results[2];
  std::thread one([&] { results[0] = sorted({"b10", "b9", "a"}); });
  std::thread two([&] { results[1] = sorted({"b10", "b9", "a"}); });
  one.join();
  two.join();
  EXPECT_EQ(results[0], "a b9 b10");
  EXPECT_EQ(results[1], "a b9 b10");
}

}  // namespace
