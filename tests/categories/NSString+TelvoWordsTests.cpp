#include <limits>

#include <gtest/gtest.h>

#include "categories/NSString+Telvo.h"
#include "foundation/Foundation.h"

// Lines and words.

namespace {

constexpr NSInteger lowest = std::numeric_limits<NSInteger>::min();

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }

std::string described(const Ref<NSArray>& pieces) {
  if (!pieces) return "(nil)";
  std::string text;
  for (const id& piece : *pieces) text += "[" + utf8(as<NSString>(piece)) + "]";
  return text;
}

// ---- Wrapping

TEST(NSStringTelvo, WrapsLinesAfterWhiteSpace) {
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("aaa bbb ccc "_ns, 8)), "[aaa bbb ][ccc ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("aaa bbb ccc "_ns, 80)), "[aaa bbb ccc ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("aa\tbb\u3000cc "_ns, 3)), "[aa\t][bb\u3000][cc ]");
  EXPECT_EQ(telvo_componentsSeparatedByLength(nil, 8), nil);
}

TEST(NSStringTelvo, WrappingRepeatsTheLastWhiteSpaceBehindALinesLastWord) {
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("aaa bbb ccc"_ns, 8)), "[aaa bbb ][ccc ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("aaa bbb ccc"_ns, 80)), "[aaa bbb ccc ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("a   b"_ns, 80)), "[a   b   ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("a  b"_ns, 5)), "[a  ][b  ]") << "it counts in the length, too";
}

TEST(NSStringTelvo, WrappingKeepsEveryLineAndEmptyOnes) {
  EXPECT_EQ(described(telvo_componentsSeparatedByLength(""_ns, 8)), "[]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("\n"_ns, 8)), "[][]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("a \n\nb "_ns, 8)), "[a ][][b ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("a \r\nb "_ns, 8)), "[a \r ][b ]")
      << "a carriage return is neither a line end nor white space here";
}

TEST(NSStringTelvo, WrappingNeverBreaksAWord) {
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("aaaaaaaa bb "_ns, 4)), "[][aaaaaaaa ][bb ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("bb aaaaaaaa cc "_ns, 4)), "[bb ][aaaaaaaa ][cc ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("a b "_ns, 0)), "[][a ][b ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("a b "_ns, lowest)), "[][a ][b ]");
}

TEST(NSStringTelvo, WrappingCountsUnits) {
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("😀😀 😀 "_ns, 7)), "[😀😀 ][😀 ]");
  EXPECT_EQ(described(telvo_componentsSeparatedByLength("😀😀 😀 "_ns, 8)), "[😀😀 😀 ]");
}

void expectInvalidArgument(const Ref<NSString>& text) {
  for (const NSInteger length : {0, 80}) {
    try {
      telvo_componentsSeparatedByLength(text, length);
      ADD_FAILURE() << "no exception for " << utf8(text);
    } catch (const Ref<NSException>& exception) {
      EXPECT_TRUE(exception->name()->isEqual(NSInvalidArgumentException())) << utf8(text);
    }
  }
}

TEST(NSStringTelvo, WrappingALineOfOneWordWithoutWhiteSpaceRaises) {
  expectInvalidArgument("word"_ns);
  expectInvalidArgument("a \nword\nb "_ns);
}

TEST(NSStringTelvo, WrappingALineThatBeginsWithWhiteSpaceRaises) {
  expectInvalidArgument(" word "_ns);
  expectInvalidArgument("\tword"_ns);
  expectInvalidArgument("   "_ns);
  expectInvalidArgument("a \n b "_ns);
}

// ---- Words

TEST(NSStringTelvo, CountsRunsUpToWhiteSpace) {
  EXPECT_EQ(telvo_wordCount("one two\tthree"_ns), 3U);
  EXPECT_EQ(telvo_wordCount("  one  "_ns), 1U);
  EXPECT_EQ(telvo_wordCount("한국 漢字\u3000😀"_ns), 3U);
  EXPECT_EQ(telvo_wordCount(""_ns), 0U);
  EXPECT_EQ(telvo_wordCount(nil), 0U);
}

TEST(NSStringTelvo, NeitherPunctuationNorLineEndsEndAWord) {
  EXPECT_EQ(telvo_wordCount("a,b"_ns), 1U);
  EXPECT_EQ(telvo_wordCount("a\nb"_ns), 1U);
  EXPECT_EQ(telvo_wordCount("a, b"_ns), 2U);
}

TEST(NSStringTelvo, PunctuationAndLineEndsInFrontOfWordsAreNoWords) {
  EXPECT_EQ(telvo_wordCount("- a ... \n b !"_ns), 2U);
  EXPECT_EQ(telvo_wordCount(" .,;\n\r\t«»"_ns), 0U);
  EXPECT_EQ(telvo_wordCount("+ a"_ns), 2U) << "a symbol is not punctuation";
}

}  // namespace
