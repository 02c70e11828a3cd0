#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

std::string members(const Ref<NSCharacterSet>& set, std::u32string_view characters) {
  std::string answers;
  for (const char32_t character : characters) answers.push_back(set->longCharacterIsMember(character) ? '1' : '0');
  return answers;
}

TEST(NSCharacterSet, SetsGoByUnicodeProperties) {
  // Latin, Greek, dotless i, sharp s, Cyrillic, title-case digraph, Hangul, ideograph, combining acute, digits of
  // three scripts, roman numeral, mathematical letter beyond the first plane.
  const std::u32string_view characters =
      U"aAωΩıßжЖǅ한漢\u0301"
      U"7٣௧Ⅷ𝐚";
  EXPECT_EQ(members(NSCharacterSet::lowercaseLetterCharacterSet(), characters), "10101110000000001");
  EXPECT_EQ(members(NSCharacterSet::uppercaseLetterCharacterSet(), characters), "01010001100000000");
  EXPECT_EQ(members(NSCharacterSet::letterCharacterSet(), characters), "11111111111100001");
  EXPECT_EQ(members(NSCharacterSet::decimalDigitCharacterSet(), characters), "00000000000011100");
  EXPECT_EQ(members(NSCharacterSet::alphanumericCharacterSet(), characters), "11111111111111111");
  EXPECT_EQ(members(NSCharacterSet::nonBaseCharacterSet(), characters), "00000000000100000");
}

TEST(NSCharacterSet, PunctuationIsNeitherSymbolNorLetter) {
  EXPECT_EQ(members(NSCharacterSet::punctuationCharacterSet(), U".,-_«»、¿(]&%$+<a1 "),
            "111111111111"
            "000000");
}

TEST(NSCharacterSet, WhiteSpaceHoldsNoLineEnds) {
  const std::u32string_view characters = U" \t\u00A0\u3000\u2009\n\r\v\f\u0085\u2028\u2029x";
  EXPECT_EQ(members(NSCharacterSet::whitespaceCharacterSet(), characters), "1111100000000");
  EXPECT_EQ(members(NSCharacterSet::newlineCharacterSet(), characters), "0000011111110");
  EXPECT_EQ(members(NSCharacterSet::whitespaceAndNewlineCharacterSet(), characters), "1111111111110");
}

TEST(NSCharacterSet, ControlCharactersIncludeInvisibleFormatting) {
  EXPECT_EQ(members(NSCharacterSet::controlCharacterSet(), U"\u0001\u007F\u200D\uFEFF a"), "111100");
}

TEST(NSCharacterSet, HoldsTheCharactersOfAText) {
  const auto set = NSCharacterSet::characterSetWithCharactersInString("aé😀"_ns);
  EXPECT_EQ(members(set, U"aé😀be\u0301"), "111000");
  EXPECT_FALSE(set->characterIsMember(0xD83D)) << "half of the pair is another code point";
  EXPECT_EQ(members(NSCharacterSet::characterSetWithCharactersInString(nil), U"a"), "0");
  EXPECT_EQ(members(NSCharacterSet::characterSetWithCharactersInString(""_ns), U"a"), "0");
}

TEST(NSCharacterSet, HoldsARangeOfCodePoints) {
  EXPECT_EQ(members(NSCharacterSet::characterSetWithRange({'b', 2}), U"abcd"), "0110");
  EXPECT_EQ(members(NSCharacterSet::characterSetWithRange({'b', 0}), U"ab"), "00");
  EXPECT_EQ(members(NSCharacterSet::characterSetWithRange({'b', NSUIntegerMax}), U"ab\U0010FFFF"), "011");
  EXPECT_EQ(members(NSCharacterSet::characterSetWithRange({NSNotFound, 1}), U"ab"), "00");
}

TEST(NSCharacterSet, InversionHoldsEverythingElse) {
  const auto set = NSCharacterSet::decimalDigitCharacterSet()->invertedSet();
  EXPECT_EQ(members(set, U"a7٣😀"), "1001");
  EXPECT_TRUE(set->characterIsMember(0xD83D));
  EXPECT_TRUE(set->invertedSet()->isEqual(NSCharacterSet::decimalDigitCharacterSet()));
}

TEST(NSCharacterSet, RunsConsistOfWholeCharacters) {
  const auto set = NSCharacterSet::characterSetWithCharactersInString("a😀"_ns);
  const std::u16string_view text = u"xa😀a😁";
  EXPECT_EQ(set->endOfRun(text, 1, NSCharacterSet::Run::OfMembers), 5U);
  EXPECT_EQ(set->endOfRun(text, 0, NSCharacterSet::Run::OfOthers), 1U);
  EXPECT_EQ(set->endOfRun(text, 5, NSCharacterSet::Run::OfOthers), 7U);
  EXPECT_EQ(set->endOfRun(text, 7, NSCharacterSet::Run::OfMembers), 7U);
  EXPECT_EQ(set->startOfRun(text, 5, NSCharacterSet::Run::OfMembers), 1U);
  EXPECT_EQ(set->startOfRun(text, 7, NSCharacterSet::Run::OfOthers), 5U);
  EXPECT_EQ(set->startOfRun(text, 0, NSCharacterSet::Run::OfMembers), 0U);
}

TEST(NSCharacterSet, EqualityGoesByMembers) {
  const auto one = NSCharacterSet::characterSetWithCharactersInString("ab"_ns);
  const auto other = NSCharacterSet::characterSetWithCharactersInString("ba"_ns);
  EXPECT_TRUE(one->isEqual(other));
  EXPECT_EQ(one->hash(), other->hash());
  EXPECT_FALSE(one->isEqual(NSCharacterSet::characterSetWithCharactersInString("abc"_ns)));
  EXPECT_FALSE(one->isEqual("ab"_ns));
}

TEST(NSMutableCharacterSet, ChangesWithoutChangingItsCopies) {
  const auto set = make<NSMutableCharacterSet>();
  set->addCharactersInString("abc"_ns);
  set->removeCharactersInString("b"_ns);
  set->formUnionWithCharacterSet(NSCharacterSet::decimalDigitCharacterSet());
  const auto copy = as<NSCharacterSet>(set->copy());
  set->invert();
  EXPECT_EQ(members(set, U"abc7x"), "01001");
  EXPECT_EQ(members(copy, U"abc7x"), "10110");
  const auto changed = as<NSMutableCharacterSet>(NSCharacterSet::decimalDigitCharacterSet()->mutableCopy());
  changed->addCharactersInString("x"_ns);
  EXPECT_EQ(members(changed, U"abc7x"), "00011");
  EXPECT_EQ(members(NSCharacterSet::decimalDigitCharacterSet(), U"7x"), "10");
}

TEST(NSString, FindsCharactersOfASet) {
  const auto digits = NSCharacterSet::decimalDigitCharacterSet();
  EXPECT_EQ("ab1c2d"_ns->rangeOfCharacterFromSet(digits), NSMakeRange(2, 1));
  EXPECT_EQ("ab1c2d"_ns->rangeOfCharacterFromSet(digits, NSBackwardsSearch), NSMakeRange(4, 1));
  EXPECT_EQ("a𝟙b"_ns->rangeOfCharacterFromSet(digits), NSMakeRange(1, 2));
  EXPECT_EQ("a𝟙b"_ns->rangeOfCharacterFromSet(digits, NSBackwardsSearch), NSMakeRange(1, 2));
  EXPECT_EQ("abc"_ns->rangeOfCharacterFromSet(digits), NSMakeRange(NSNotFound, 0));
  EXPECT_EQ("abc"_ns->rangeOfCharacterFromSet(digits, NSBackwardsSearch), NSMakeRange(NSNotFound, 0));
  EXPECT_EQ(""_ns->rangeOfCharacterFromSet(digits), NSMakeRange(NSNotFound, 0));
}

TEST(NSString, TrimsCharactersAtBothEnds) {
  const auto space = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  EXPECT_EQ(" \n a b\u3000\t"_ns->stringByTrimmingCharactersInSet(space)->UTF8String(), "a b");
  EXPECT_EQ(" \n "_ns->stringByTrimmingCharactersInSet(space)->UTF8String(), "");
  EXPECT_EQ(""_ns->stringByTrimmingCharactersInSet(space)->UTF8String(), "");
  EXPECT_EQ("😀a😀"_ns->stringByTrimmingCharactersInSet(NSCharacterSet::characterSetWithCharactersInString("😀"_ns))
                ->UTF8String(),
            "a");
}

}  // namespace
