#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }

TEST(NSScanner, StepsOverWhiteSpaceAtFirst) {
  const auto scanner = NSScanner::scannerWithString("  one \n two "_ns);
  EXPECT_EQ(utf8(scanner->scanUpToCharactersFromSet(NSCharacterSet::whitespaceAndNewlineCharacterSet())), "one");
  EXPECT_EQ(scanner->scanLocation(), 5U);
  EXPECT_FALSE(scanner->isAtEnd());
  EXPECT_EQ(utf8(scanner->scanString("two"_ns)), "two");
  EXPECT_TRUE(scanner->isAtEnd());
  EXPECT_EQ(scanner->scanLocation(), 11U);
}

TEST(NSScanner, SkipsNothingWhenToldSo) {
  const auto scanner = NSScanner::scannerWithString(" a"_ns);
  scanner->setCharactersToBeSkipped(nil);
  EXPECT_EQ(utf8(scanner->scanString("a"_ns)), "(nil)");
  EXPECT_EQ(utf8(scanner->scanCharactersFromSet(NSCharacterSet::whitespaceCharacterSet())), " ");
  EXPECT_EQ(utf8(scanner->scanString("a"_ns)), "a");
}

TEST(NSScanner, StaysWhereItWasWhenNothingIsRead) {
  const auto scanner = NSScanner::scannerWithString("  <b"_ns);
  EXPECT_EQ(scanner->scanUpToString("<"_ns), nil);
  EXPECT_EQ(scanner->scanLocation(), 0U);
  EXPECT_EQ(scanner->scanUpToCharactersFromSet(NSCharacterSet::punctuationCharacterSet()->invertedSet()), nil);
  EXPECT_EQ(scanner->scanCharactersFromSet(NSCharacterSet::letterCharacterSet()), nil);
  EXPECT_EQ(scanner->scanCharactersFromSet(nil), nil);
  EXPECT_EQ(scanner->scanLocation(), 0U);
}

TEST(NSScanner, ReadsToTheEndWhenTheMarkerDoesNotCome) {
  const auto scanner = NSScanner::scannerWithString("abc"_ns);
  EXPECT_EQ(utf8(scanner->scanUpToString("<"_ns)), "abc");
  EXPECT_TRUE(scanner->isAtEnd());
  EXPECT_EQ(scanner->scanUpToString("<"_ns), nil);
}

TEST(NSScanner, IgnoresLetterCaseUnlessToldNotTo) {
  const auto scanner = NSScanner::scannerWithString("ABC"_ns);
  scanner->setCaseSensitive(true);
  EXPECT_EQ(scanner->scanString("abc"_ns), nil);
  scanner->setCaseSensitive(false);
  EXPECT_EQ(utf8(scanner->scanUpToString("c"_ns)), "AB");
  EXPECT_EQ(utf8(scanner->scanString("c"_ns)), "C");
}

TEST(NSScanner, ReadsWholeCharacters) {
  const auto scanner = NSScanner::scannerWithString("😀😁x"_ns);
  EXPECT_EQ(utf8(scanner->scanUpToCharactersFromSet(NSCharacterSet::characterSetWithCharactersInString("😁"_ns))), "😀");
  EXPECT_EQ(utf8(scanner->scanUpToCharactersFromSet(NSCharacterSet::letterCharacterSet())), "😁");
}

TEST(NSScanner, CanBePlacedAnywhere) {
  const auto scanner = NSScanner::scannerWithString("abc"_ns);
  scanner->setScanLocation(2);
  EXPECT_EQ(utf8(scanner->scanUpToString("x"_ns)), "c");
  EXPECT_THROW(scanner->setScanLocation(4), Ref<NSException>);
  EXPECT_THROW(NSScanner::scannerWithString(nil), Ref<NSException>);
}

TEST(NSScanner, KeepsTheTextAsItWasGiven) {
  const auto text = NSMutableString::stringWithString("abc"_ns);
  const auto scanner = NSScanner::scannerWithString(text);
  text->setString(""_ns);
  EXPECT_EQ(utf8(scanner->scanUpToString("c"_ns)), "ab");
}

}  // namespace
