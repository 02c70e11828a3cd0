#include <random>

#include <gtest/gtest.h>

#include "foundation/text/CaseFolding.h"
#include "foundation/text/NSString.h"
#include "foundation/text/TextSearch.h"

namespace {

using foundation::LetterCase;
using foundation::TextSearch;

constexpr NSRange none{NSNotFound, 0};

TEST(TextSearch, FindsTheFirstOccurrenceFromAnIndex) {
  const TextSearch search(u"ab", LetterCase::Kept);
  EXPECT_EQ(search.find(u"xxabab"), NSMakeRange(2, 2));
  EXPECT_EQ(search.find(u"xxabab", 3), NSMakeRange(4, 2));
  EXPECT_EQ(search.find(u"xxabab", 5), none);
  EXPECT_EQ(search.find(u"", 0), none);
  EXPECT_EQ(TextSearch(u"", LetterCase::Kept).find(u"abc"), none);
  EXPECT_EQ(TextSearch(u"", LetterCase::Folded).find(u"abc"), none);
}

TEST(TextSearch, FindsLongTargetsThatOverlapThemselves) {
  const std::u16string target = u"aabaabaaabaabaabaab";
  const std::u16string text = u"aabaabaaabaabaabaaa" + target + target;
  EXPECT_EQ(TextSearch(target, LetterCase::Kept).find(text), NSMakeRange(text.find(target), target.size()));
  EXPECT_EQ(TextSearch(target, LetterCase::Kept).find(text, 20), NSMakeRange(text.find(target, 20), target.size()));
}

TEST(TextSearch, AgreesWithThePlainSearch) {
  std::mt19937 random(1);
  const auto randomText = [&](std::size_t length) {
    std::u16string text;
    while (text.size() < length) text.push_back(random() % 4 ? u'a' : u'b');
    return text;
  };
  for (int round = 0; round < 500; ++round) {
    const std::u16string target = randomText(1 + random() % 24);
    const std::u16string text = randomText(random() % 300) + target + randomText(random() % 20);
    EXPECT_EQ(TextSearch(target, LetterCase::Kept).find(text), NSMakeRange(text.find(target), target.size()));
    EXPECT_EQ(TextSearch(target, LetterCase::Folded).find(text), NSMakeRange(text.find(target), target.size()));
  }
}

TEST(TextSearch, IgnoresCaseByFullFolding) {
  EXPECT_EQ(TextSearch(u"STRASSE", LetterCase::Folded).find(u"xStraßex"), NSMakeRange(1, 6));
  EXPECT_EQ(TextSearch(u"straße", LetterCase::Folded).find(u"xSTRASSEx"), NSMakeRange(1, 7));
  EXPECT_EQ(TextSearch(u"ÉTÉ", LetterCase::Folded).find(u"un été"), NSMakeRange(3, 3));
  EXPECT_EQ(TextSearch(u"σ", LetterCase::Folded).find(u"ς"), NSMakeRange(0, 1));
  EXPECT_EQ(TextSearch(u"𐐨", LetterCase::Folded).find(u"x𐐀"), NSMakeRange(1, 2));
  EXPECT_EQ(TextSearch(u"i", LetterCase::Folded).find(u"ı"), none) << "dotless i is a letter of its own";
  EXPECT_EQ(TextSearch(u"i\u0307", LetterCase::Folded).find(u"İ"), NSMakeRange(0, 1));
}

TEST(TextSearch, NeverMatchesPartOfACharacter) {
  EXPECT_EQ(TextSearch(u"s", LetterCase::Folded).find(u"ß"), none);
  EXPECT_EQ(TextSearch(u"sss", LetterCase::Folded).find(u"ßß"), none);
  EXPECT_EQ(TextSearch(u"sss", LetterCase::Folded).find(u"ßßs"), NSMakeRange(1, 2));
  EXPECT_EQ(TextSearch(u"ss", LetterCase::Folded).find(u"sßs"), NSMakeRange(1, 1));
}

TEST(TextSearch, TakesTimeLinearInBothTexts) {
  // A search that starts over at every place would need minutes here.
  const std::u16string text(2'000'000, u'a');
  const std::u16string target = std::u16string(1'000'000, u'a') + u'b';
  EXPECT_EQ(TextSearch(target, LetterCase::Kept).find(text), none);
  EXPECT_EQ(TextSearch(target, LetterCase::Folded).find(text), none);
}

TEST(CaseFolding, FoldsTextsAndSingleCharactersAlike) {
  for (const std::u16string_view text : {u"A", u"ß", u"İ", u"ŉ", u"𐐀", u"ﬃ", u"한", u"漢", u"\xD800", u"Ω"}) {
    const foundation::FoldedCharacter character = foundation::foldedCharacterAt(text, 0);
    EXPECT_EQ(character.view(), foundation::foldedText(text));
    EXPECT_EQ(character.characterSize, text.size());
  }
}

TEST(NSMutableString, ReplacesBackwardOccurrencesFromTheEnd) {
  const auto text = NSMutableString::stringWithString("aaa"_ns);
  text->replaceOccurrencesOfString_withString_options_range("aa"_ns, "x"_ns, NSBackwardsSearch, {0, 3});
  EXPECT_EQ(text->UTF8String(), "ax");
  text->setString("aaa"_ns);
  text->replaceOccurrencesOfString_withString_options_range("aa"_ns, "x"_ns, 0, {0, 3});
  EXPECT_EQ(text->UTF8String(), "xa");
  text->setString("abab"_ns);
  EXPECT_EQ(text->replaceOccurrencesOfString_withString_options_range("ab"_ns, "x"_ns, 0, {1, 2}), 0U);
  EXPECT_EQ(text->replaceOccurrencesOfString_withString_options_range("ab"_ns, "x"_ns, NSAnchoredSearch, {2, 2}), 1U);
  EXPECT_EQ(text->UTF8String(), "abx");
}

}  // namespace
