#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "appkit/rtf/RTFScript.h"

namespace {

using appkit::RTFScript;
using appkit::scriptOfUnit;

TEST(RTFScript, LettersBelongToAKindOfScript) {
  for (const char16_t unit : std::u16string_view(u"AZazéžßжЯλԱა")) {
    EXPECT_EQ(scriptOfUnit(unit), RTFScript::Western) << std::hex << +unit;
  }
  for (const char16_t unit : std::u16string_view(u"日漢々あアｱㄅ한ᄀ　、（ꀀ㐀豈")) {
    EXPECT_EQ(scriptOfUnit(unit), RTFScript::EastAsian) << std::hex << +unit;
  }
  for (const char16_t unit : std::u16string_view(u"שבעپܐހकতกລကកཀᠠ\uFB2A\uFE8D")) {
    EXPECT_EQ(scriptOfUnit(unit), RTFScript::Complex) << std::hex << +unit;
  }
}

TEST(RTFScript, WhatIsNoLetterBelongsToNone) {
  for (const char16_t unit : std::u16string_view(u"@[`{09 \t\n.-\u0301\u2014\u20AC\u2028\xD83D\xDE00\xFFFF")) {
    EXPECT_EQ(scriptOfUnit(unit), std::nullopt) << std::hex << +unit;
  }
}

TEST(RTFScript, IdeographsBeyondTheFirstPlaneAreToldByTheirFirstHalf) {
  EXPECT_EQ(scriptOfUnit(0xD840), RTFScript::EastAsian);
  EXPECT_EQ(scriptOfUnit(0xD8BF), RTFScript::EastAsian);
  EXPECT_EQ(scriptOfUnit(0xD83F), std::nullopt);
  EXPECT_EQ(scriptOfUnit(0xD8C0), std::nullopt);
  EXPECT_EQ(scriptOfUnit(0xDC00), std::nullopt);
}

TEST(RTFScript, TextIsCutWhereTheScriptChanges) {
  std::u16string_view rest = u"1 a b日 2本שx";
  auto script = RTFScript::Complex;
  std::vector<std::pair<std::u16string, RTFScript>> runs;
  while (!rest.empty()) {
    const std::u16string run(appkit::takeScriptRun(rest, script));
    runs.emplace_back(run, script);
  }
  const std::vector<std::pair<std::u16string, RTFScript>> expected{{u"1 ", RTFScript::Complex},
                                                                   {u"a b", RTFScript::Western},
                                                                   {u"日 2本", RTFScript::EastAsian},
                                                                   {u"ש", RTFScript::Complex},
                                                                   {u"x", RTFScript::Western}};
  EXPECT_EQ(runs, expected);
}

TEST(RTFScript, FindsWhetherAScriptOccurs) {
  EXPECT_TRUE(appkit::containsScript(u"a ש", RTFScript::Complex));
  EXPECT_FALSE(appkit::containsScript(u"a 日", RTFScript::Complex));
  EXPECT_FALSE(appkit::containsScript(u"", RTFScript::Western));
}

}  // namespace
