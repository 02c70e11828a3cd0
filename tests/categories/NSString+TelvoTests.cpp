#include <limits>

#include <gtest/gtest.h>

#include "categories/NSString+Telvo.h"
#include "foundation/Foundation.h"

namespace {

constexpr NSInteger lowest = std::numeric_limits<NSInteger>::min();
constexpr NSRange none{NSNotFound, 0};

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }

Ref<NSString> units(std::u16string text) { return NSString::stringWithUnits(std::move(text)); }

// ---- Comparison and tests

TEST(NSStringTelvo, ComparisonIgnoresCaseAndSpacesOnly) {
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare(" A b C "_ns, "abc"_ns), NSOrderedSame);
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare("a b"_ns, "AC"_ns), NSOrderedAscending);
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare("b"_ns, " A"_ns), NSOrderedDescending);
  EXPECT_NE(telvo_caseAndSpaceInsensitiveCompare("a\tb"_ns, "ab"_ns), NSOrderedSame);
  EXPECT_NE(telvo_caseAndSpaceInsensitiveCompare("a\nb"_ns, "ab"_ns), NSOrderedSame);
  EXPECT_NE(telvo_caseAndSpaceInsensitiveCompare("a\u00A0b"_ns, "ab"_ns), NSOrderedSame);
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare("GROSSE STRASSE"_ns, "große straße"_ns), NSOrderedSame);
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare("   "_ns, ""_ns), NSOrderedSame);
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare("a"_ns, nil), NSOrderedDescending);
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare(nil, "a"_ns), NSOrderedSame);
}

TEST(NSStringTelvo, LettersAreLookedForRegardlessOfEverythingElse) {
  EXPECT_TRUE(telvo_containsStringLetters("The Quick-Brown fox!"_ns, "kb, ROWN"_ns));
  EXPECT_FALSE(telvo_containsStringLetters("abc"_ns, "ac"_ns));
  EXPECT_FALSE(telvo_containsStringLetters("abc"_ns, "123"_ns)) << "no letters are contained nowhere";
  EXPECT_TRUE(telvo_containsStringLetters("Straße"_ns, "AẞE"_ns)) << "capital sharp s";
  EXPECT_TRUE(telvo_containsStringLetters("IZMİR"_ns, "zmir"_ns)) << "the dotted i's dot is no letter";
  EXPECT_FALSE(telvo_containsStringLetters("ızmır"_ns, "izmir"_ns)) << "the dotless i is another letter";
  EXPECT_FALSE(telvo_containsStringLetters("한국어"_ns, "국"_ns)) << "letters without case do not count";
  EXPECT_FALSE(telvo_containsStringLetters("abc"_ns, nil));
  EXPECT_FALSE(telvo_containsStringLetters(nil, "a"_ns));
}

TEST(NSStringTelvo, LetterEquivalenceIsExactOnTheLetters) {
  EXPECT_TRUE(telvo_isLetterEquivalentToString("A-b 3 C"_ns, "abc"_ns));
  EXPECT_FALSE(telvo_isLetterEquivalentToString("abc"_ns, "abcd"_ns));
  EXPECT_FALSE(telvo_isLetterEquivalentToString("straße"_ns, "strasse"_ns));
  EXPECT_TRUE(telvo_isLetterEquivalentToString("123"_ns, "456"_ns));
  EXPECT_FALSE(telvo_isLetterEquivalentToString("123"_ns, nil));
  EXPECT_FALSE(telvo_isLetterEquivalentToString(nil, nil));
}

TEST(NSStringTelvo, LengthCountsUnits) {
  EXPECT_EQ(telvo_signedLength("a😀"_ns), 3);
  EXPECT_EQ(telvo_signedLength(nil), 0);
  EXPECT_TRUE(telvo_containsSomething(" "_ns));
  EXPECT_FALSE(telvo_containsSomething(""_ns));
  EXPECT_FALSE(telvo_containsSomething(nil));
}

TEST(NSStringTelvo, OrPrefersTheArgumentToTheReceiver) {
  EXPECT_EQ(utf8(telvo_or("receiver"_ns, "argument"_ns)), "argument");
  EXPECT_EQ(utf8(telvo_or("receiver"_ns, ""_ns)), "") << "an empty argument is an argument";
  EXPECT_EQ(utf8(telvo_or("receiver"_ns, nil)), "receiver");
  EXPECT_EQ(telvo_or(nil, "argument"_ns), nil);
}

TEST(NSStringTelvo, PiecesBetweenBarsHaveIndexes) {
  EXPECT_EQ(utf8(telvo_indexedBy("one | two"_ns, 0)), "one");
  EXPECT_EQ(utf8(telvo_indexedBy("one | two"_ns, 1)), "two");
  EXPECT_EQ(utf8(telvo_indexedBy("one | two"_ns, 2)), "");
  EXPECT_EQ(utf8(telvo_indexedBy("one | two"_ns, NSIntegerMax)), "");
  EXPECT_EQ(utf8(telvo_indexedBy("one | two"_ns, -1)), "");
  EXPECT_EQ(utf8(telvo_indexedBy("one|two"_ns, 0)), "one|two");
  EXPECT_EQ(utf8(telvo_indexedBy(" | a |  | "_ns, 0)), "");
  EXPECT_EQ(utf8(telvo_indexedBy(" | a |  | "_ns, 1)), "a");
  EXPECT_EQ(utf8(telvo_indexedBy(" | a |  | "_ns, 2)), "");
  EXPECT_EQ(utf8(telvo_indexedBy("a | | b"_ns, 1)), "| b") << "separators do not overlap";
  EXPECT_EQ(telvo_indexedBy(nil, 0), nil);
}

// ---- Filters

TEST(NSStringTelvo, RemovesTheUnitsOfASet) {
  EXPECT_EQ(utf8(telvo_stringByRemovingCharactersInSet("a1b2"_ns, NSCharacterSet::decimalDigitCharacterSet())), "ab");
  EXPECT_EQ(utf8(telvo_stringByRemovingCharactersInSet("a1b2"_ns, nil)), "a1b2");
  EXPECT_EQ(telvo_stringByRemovingCharactersInSet(nil, NSCharacterSet::decimalDigitCharacterSet()), nil);
  const auto text = NSMutableString::stringWithString("a1"_ns);
  telvo_stringByRemovingCharactersInSet(text, NSCharacterSet::decimalDigitCharacterSet());
  EXPECT_EQ(utf8(text), "a1");
}

TEST(NSStringTelvo, KeepsDigitsOfEveryScript) {
  EXPECT_EQ(utf8(telvo_digitsOnly("Tel. +49 (0) 30-12½"_ns)), "4903012");
  EXPECT_EQ(utf8(telvo_digitsOnly("a٣۷߂四Ⅷ²x"_ns)), "٣۷߂") << "neither numerals nor superscripts are decimal digits";
  EXPECT_EQ(utf8(telvo_digitsOnly("x𝟙y😀"_ns)), "𝟙");
  EXPECT_EQ(utf8(telvo_digitsOnly(""_ns)), "");
  EXPECT_EQ(telvo_digitsOnly(nil), nil);
}

TEST(NSStringTelvo, KeepsLowercasedLetters) {
  EXPECT_EQ(utf8(telvo_lowercasedLettersOnly("Grüße, WELT 3!"_ns)), "grüßewelt");
  EXPECT_EQ(utf8(telvo_lowercasedLettersOnly("ΑΣ Ж"_ns)), "αςж") << "the final sigma is lower-cased by its place";
  EXPECT_EQ(utf8(telvo_lowercasedLettersOnly("한국 漢字 عرب"_ns)), "") << "letters without case are not lower-case";
  EXPECT_EQ(utf8(telvo_lowercasedLettersOnly("İIı"_ns)), "iiı") << "the dot above is a mark, and is dropped";
  EXPECT_EQ(utf8(telvo_lowercasedLettersOnly("e\u0301É"_ns)), "eé");
  EXPECT_EQ(utf8(telvo_lowercasedLettersOnly("𝐚😀𐐀"_ns)), "𝐚𐐨");
  EXPECT_EQ(telvo_lowercasedLettersOnly(nil), nil);
}

TEST(NSStringTelvo, KeepsLowercasedLettersAndDigits) {
  EXPECT_EQ(utf8(telvo_lowercasedLettersOrDigitsOnly("Ab-C 1٣Ⅷ½_한e\u0301!"_ns)), "abc1٣ⅷ½한e\u0301");
  EXPECT_EQ(telvo_lowercasedLettersOrDigitsOnly(nil), nil);
}

TEST(NSStringTelvo, RemovesDiacriticalMarks) {
  EXPECT_EQ(utf8(telvo_stringByRemovingDiacriticalMarks("Crème brûlée, Ångström, Việt"_ns)),
            "Creme brulee, Angstrom, Viet");
  EXPECT_EQ(utf8(telvo_stringByRemovingDiacriticalMarks("straße Łódź ı"_ns)), "straße Łodz ı")
      << "what is no letter with a mark stays";
  EXPECT_EQ(utf8(telvo_stringByRemovingDiacriticalMarks("e\u0301\u0323x\u20DD"_ns)), "ex");
  EXPECT_EQ(utf8(telvo_stringByRemovingDiacriticalMarks(units(u"a\U0001D165b\U0001E944"))), "ab")
      << "marks beyond the first plane";
  EXPECT_EQ(telvo_stringByRemovingDiacriticalMarks(nil), nil);
}

// Halves of surrogate pairs are units as any other.
TEST(NSStringTelvo, HalvesOfCharactersPassThroughEveryFilter) {
  const auto halves = units(
      u"\xDE00"
      u"a\xD83D");
  EXPECT_EQ(telvo_stringByRemovingDiacriticalMarks(halves)->units(), halves->units());
  EXPECT_EQ(telvo_lowercasedLettersOnly(halves)->units(), u"a");
  EXPECT_EQ(telvo_lowercasedLettersOrDigitsOnly(halves)->units(), u"a");
  EXPECT_EQ(telvo_digitsOnly(halves)->units(), u"");
  EXPECT_EQ(telvo_stringByRemovingPrefix(units(u"\xD83D\xDE00"), units(u"\xD83D"))->units(), units(u"\xDE00")->units());
  EXPECT_EQ(telvo_wordCount(halves), 1U);
}

TEST(NSStringTelvo, WhatIsLeftWithoutMarksStaysDecomposed) {
  EXPECT_EQ(telvo_stringByRemovingDiacriticalMarks("한"_ns)->units(), u"\u1112\u1161\u11AB");
}

TEST(NSStringTelvo, RemovesPrefixAndSuffix) {
  EXPECT_EQ(utf8(telvo_stringByRemovingPrefix("abcab"_ns, "ab"_ns)), "cab");
  EXPECT_EQ(utf8(telvo_stringByRemovingSuffix("abcab"_ns, "ab"_ns)), "abc");
  EXPECT_EQ(utf8(telvo_stringByRemovingPrefix("ab"_ns, "ab"_ns)), "");
  const auto text = "abc"_ns;
  EXPECT_EQ(telvo_stringByRemovingPrefix(text, "AB"_ns), text);
  EXPECT_EQ(telvo_stringByRemovingSuffix(text, "abcd"_ns), text);
  EXPECT_EQ(telvo_stringByRemovingPrefix(text, nil), text);
  EXPECT_EQ(telvo_stringByRemovingSuffix(text, nil), text);
  EXPECT_EQ(utf8(telvo_stringByRemovingPrefix(text, ""_ns)), "abc");
  EXPECT_EQ(telvo_stringByRemovingPrefix(nil, "a"_ns), nil);
  EXPECT_EQ(telvo_stringByRemovingSuffix(nil, "a"_ns), nil);
}

TEST(NSStringTelvo, DeletesSpacesAtTheEndsOfACopy) {
  const auto text = NSMutableString::stringWithString("  a b  "_ns);
  EXPECT_EQ(utf8(telvo_stringByDeletingLeadingSpaces_trailingSpaces(text, true, true)), "a b");
  EXPECT_EQ(utf8(text), "  a b  ");
  EXPECT_EQ(telvo_stringByDeletingLeadingSpaces_trailingSpaces(nil, true, true), nil);
}

TEST(NSStringTelvo, PadsToAMinimumLength) {
  EXPECT_EQ(utf8(telvo_stringWithMinimumLength_paddedWith_padLeft("7"_ns, 3, "0"_ns, true)), "007");
  EXPECT_EQ(utf8(telvo_stringWithMinimumLength_paddedWith_padLeft("7"_ns, 3, "0"_ns, false)), "700");
  EXPECT_EQ(utf8(telvo_stringWithMinimumLength_paddedWith_padLeft("a"_ns, 3, nil, false)), "a  ");
  EXPECT_EQ(utf8(telvo_stringWithMinimumLength_paddedWith_padLeft("😀"_ns, 3, nil, true)), " 😀");
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(nil, 3, nil, true), nil);
}

TEST(NSStringTelvo, LongPaddingGoesBeyondTheMinimum) {
  EXPECT_EQ(utf8(telvo_stringWithMinimumLength_paddedWith_padLeft("a"_ns, 3, "xy"_ns, true)), "xyxya");
}

TEST(NSStringTelvo, PaddingThatIsNotNeededOrEmptyChangesNothing) {
  const auto text = "abc"_ns;
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(text, 3, nil, true), text);
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(text, 2, nil, true), text);
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(text, lowest, nil, true), text);
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(text, NSIntegerMax, ""_ns, true), text);
}

TEST(NSStringTelvo, PaddingBeyondAllMemoryIsNotMade) {
  const auto text = "abc"_ns;
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(text, NSIntegerMax, nil, true), text);
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(text, NSIntegerMax / 2, "xyzw"_ns, false), text);
  EXPECT_EQ(telvo_stringWithMinimumLength_paddedWith_padLeft(text, NSInteger{1} << 40, nil, true), text);
}

TEST(NSStringTelvo, MarksSpacesInsideQuotes) {
  EXPECT_EQ(utf8(telvo_stringByRemovingQuotesAndSpaces("say \"hi there\""_ns)), "say hi&SP&there");
  EXPECT_EQ(utf8(telvo_stringByRemovingQuotesAndSpaces("a b \"c  d\" e f"_ns)), "a b c&SP&&SP&d e f");
  EXPECT_EQ(utf8(telvo_stringByRemovingQuotesAndSpaces("\"a b"_ns)), "a&SP&b") << "a quote may stay open";
  EXPECT_EQ(utf8(telvo_stringByRemovingQuotesAndSpaces("\"a\tb\" 'c d' “e f”"_ns)), "a\tb 'c d' “e f”");
  EXPECT_EQ(utf8(telvo_stringByRemovingQuotesAndSpaces("\"\"\""_ns)), "");
  EXPECT_EQ(telvo_stringByRemovingQuotesAndSpaces(nil), nil);
}

// ---- Extraction

TEST(NSStringTelvo, TakesUnitsFromTheLeft) {
  const auto text = "abcdef"_ns;
  EXPECT_EQ(utf8(telvo_left(text, 2)), "ab");
  EXPECT_EQ(utf8(telvo_left(text, 0)), "");
  EXPECT_EQ(utf8(telvo_left(text, -2)), "abcd");
  EXPECT_EQ(utf8(telvo_left(text, -6)), "");
  EXPECT_EQ(utf8(telvo_left(text, -7)), "");
  EXPECT_EQ(utf8(telvo_left(text, lowest)), "");
  EXPECT_EQ(telvo_left(text, 6), text);
  EXPECT_EQ(telvo_left(text, 10), text);
  EXPECT_EQ(telvo_left("a😀"_ns, 2)->units(), (std::u16string{u'a', 0xD83D}));
  EXPECT_EQ(utf8(telvo_left(""_ns, -1)), "");
  EXPECT_EQ(telvo_left(nil, 2), nil);
}

TEST(NSStringTelvo, TakesUnitsFromTheRight) {
  const auto text = "abcdef"_ns;
  EXPECT_EQ(utf8(telvo_right(text, 2)), "ef");
  EXPECT_EQ(utf8(telvo_right(text, 0)), "");
  EXPECT_EQ(utf8(telvo_right(text, -2)), "cdef");
  EXPECT_EQ(utf8(telvo_right(text, -6)), "");
  EXPECT_EQ(utf8(telvo_right(text, lowest)), "");
  EXPECT_EQ(telvo_right(text, 6), text);
  EXPECT_EQ(telvo_right(text, 10), text);
  EXPECT_EQ(telvo_right("😀a"_ns, 2)->units(), (std::u16string{0xDE00, u'a'}));
  EXPECT_EQ(telvo_right(nil, 2), nil);
}

TEST(NSStringTelvo, TakesUnitsFromAnIndex) {
  const auto text = "abcdef"_ns;
  EXPECT_EQ(utf8(telvo_from_length(text, 1, 3)), "bcd");
  EXPECT_EQ(utf8(telvo_from_length(text, 4, 10)), "ef");
  EXPECT_EQ(utf8(telvo_from_length(text, 1, -2)), "bcd") << "a negative length leaves out units at the end";
  EXPECT_EQ(utf8(telvo_from_length(text, 1, -9)), "");
  EXPECT_EQ(utf8(telvo_from_length(text, 6, 1)), "");
  EXPECT_EQ(utf8(telvo_from_length(text, -1, 3)), "");
  EXPECT_EQ(utf8(telvo_from_length(text, lowest, 3)), "");
  EXPECT_EQ(telvo_from_length(nil, 0, 1), nil);
}

TEST(NSStringTelvo, TakesUnitsBetweenIndexesInclusively) {
  const auto text = "abcdef"_ns;
  EXPECT_EQ(utf8(telvo_from_to(text, 1, 3)), "bcd");
  EXPECT_EQ(utf8(telvo_from_to(text, 2, 2)), "c");
  EXPECT_EQ(utf8(telvo_from_to(text, 3, 2)), "");
  EXPECT_EQ(utf8(telvo_from_to(text, 3, 1)), "");
  EXPECT_EQ(utf8(telvo_from_to(text, 4, 100)), "ef");
  EXPECT_EQ(utf8(telvo_from_to(text, 0, NSIntegerMax)), "abcdef");
  EXPECT_EQ(utf8(telvo_from_to(text, lowest, NSIntegerMax)), "");
  EXPECT_EQ(utf8(telvo_from_to(text, -2, 3)), "");
  EXPECT_EQ(utf8(telvo_from_to(text, NSIntegerMax, lowest)), "");
  EXPECT_EQ(telvo_from_to(nil, 0, 1), nil);
}

TEST(NSStringTelvo, CutsAtAMarker) {
  const auto text = "a=b=c"_ns;
  EXPECT_EQ(utf8(telvo_substringFromString(text, "="_ns)), "b=c");
  EXPECT_EQ(utf8(telvo_substringToString(text, "="_ns)), "a");
  EXPECT_EQ(utf8(telvo_substringFromString(text, "c"_ns)), "");
  EXPECT_EQ(utf8(telvo_substringToString(text, "a"_ns)), "");
  for (const Ref<NSString>& marker : {"x"_ns, ""_ns, "A"_ns, Ref<NSString>()}) {
    EXPECT_EQ(telvo_substringFromString(text, marker), text);
    EXPECT_EQ(telvo_substringToString(text, marker), text);
  }
  EXPECT_EQ(telvo_substringFromString(nil, "="_ns), nil);
  EXPECT_EQ(telvo_substringToString(nil, "="_ns), nil);
}

TEST(NSStringTelvo, FindsTheRangeBetweenMarkers) {
  const auto text = "a[b]c[d]"_ns;
  EXPECT_EQ(telvo_rangeFromString_toString(text, "["_ns, "]"_ns), NSMakeRange(2, 1));
  EXPECT_EQ(telvo_rangeFromString_toString_inclusive(text, "["_ns, "]"_ns, false), NSMakeRange(2, 1));
  EXPECT_EQ(telvo_rangeFromString_toString_inclusive(text, "["_ns, "]"_ns, true), NSMakeRange(1, 3));
  EXPECT_EQ(telvo_rangeFromString_toString(text, "<"_ns, "]"_ns), none);
  EXPECT_EQ(telvo_rangeFromString_toString(text, "["_ns, ">"_ns), none);
  EXPECT_EQ(telvo_rangeFromString_toString("]x["_ns, "["_ns, "]"_ns), none) << "the end is looked for behind the start";
  EXPECT_EQ(telvo_rangeFromString_toString("aaa"_ns, "aa"_ns, "a"_ns), NSMakeRange(2, 0));
  EXPECT_EQ(telvo_rangeFromString_toString_inclusive("|x|"_ns, "|"_ns, "|"_ns, true), NSMakeRange(0, 3));
  EXPECT_EQ(telvo_rangeFromString_toString(text, nil, "]"_ns), none);
  EXPECT_EQ(telvo_rangeFromString_toString(text, "["_ns, nil), none);
  EXPECT_EQ(telvo_rangeFromString_toString(text, ""_ns, ""_ns), none);
  EXPECT_EQ(telvo_rangeFromString_toString(nil, "["_ns, "]"_ns), NSMakeRange(0, 0));
}

TEST(NSStringTelvo, TakesTheTextBetweenMarkers) {
  const auto text = "a[b]c"_ns;
  EXPECT_EQ(utf8(telvo_substringFromString_toString_defaultString(text, "["_ns, "]"_ns, "none"_ns)), "b");
  EXPECT_EQ(utf8(telvo_substringFromString_toString_defaultString(text, "<"_ns, ">"_ns, "none"_ns)), "none");
  EXPECT_EQ(telvo_substringFromString_toString_defaultString(text, "<"_ns, ">"_ns, nil), nil);
  EXPECT_EQ(utf8(telvo_substringFromString_toString_defaultString("[]"_ns, "["_ns, "]"_ns, "none"_ns)), "");
  EXPECT_EQ(telvo_substringFromString_toString_defaultString(nil, "["_ns, "]"_ns, "none"_ns), nil);
}

// ---- Transforms

TEST(NSStringTelvo, ReversesUnitByUnit) {
  EXPECT_EQ(utf8(telvo_reverse("abc"_ns)), "cba");
  EXPECT_EQ(telvo_reverse("a😀"_ns)->units(), (std::u16string{0xDE00, 0xD83D, u'a'}));
  EXPECT_EQ(telvo_reverse("e\u0301x"_ns)->units(), u"x\u0301e");
  EXPECT_TRUE(telvo_reverse(telvo_reverse("a😀한"_ns))->isEqual("a😀한"_ns));
  EXPECT_EQ(utf8(telvo_reverse(""_ns)), "");
  EXPECT_EQ(telvo_reverse(nil), nil);
}

TEST(NSStringTelvo, RotatesLettersByThirteen) {
  EXPECT_EQ(utf8(telvo_rotate13("Hello"_ns)), "Uryyb");
  EXPECT_EQ(utf8(telvo_rotate13("ABCMNXYZabcmnxyz"_ns)), "NOPZAKLMnopzaklm");
  EXPECT_EQ(utf8(telvo_rotate13(telvo_rotate13("HelloWorld"_ns))), "HelloWorld");
  EXPECT_EQ(utf8(telvo_rotate13("0123456789 .,:;!?@`\t\n"_ns)), "0123456789 .,:;!?@`\t\n");
  EXPECT_EQ(telvo_rotate13(nil), nil);
}

TEST(NSStringTelvo, RotationTurnsSomeSignsIntoLetters) {
  EXPECT_EQ(utf8(telvo_rotate13("[\\]^_"_ns)), "NOPQR");
  EXPECT_EQ(utf8(telvo_rotate13("{|}~\x7f"_ns)), "nopqr");
}

TEST(NSStringTelvo, RotationLeavesOneByteOfAUnit) {
  EXPECT_EQ(telvo_rotate13("é"_ns)->units(), u"é");
  EXPECT_EQ(telvo_rotate13("ÿ"_ns)->units(), u"ÿ");
  EXPECT_EQ(telvo_rotate13(units(u"\u0141"))->units(), u"A") << "the low byte is not rotated";
  EXPECT_EQ(telvo_rotate13("€"_ns)->units(), u"\u00AC");
  EXPECT_EQ(telvo_rotate13("😀"_ns)->units(), (std::u16string{0x3D, 0x00}));
}

TEST(NSStringTelvo, ConvertsToBase64AndBack) {
  EXPECT_EQ(utf8(telvo_encodeAsBase64UsingEncoding("Grüße"_ns, NSUTF8StringEncoding)), "R3LDvMOfZQ==");
  EXPECT_EQ(utf8(telvo_encodeAsBase64UsingEncoding("Grüße"_ns, NSISOLatin1StringEncoding)), "R3L832U=");
  EXPECT_EQ(utf8(telvo_decodeFromBase64UsingEncoding("R3LDvMOfZQ=="_ns, NSUTF8StringEncoding)), "Grüße");
  EXPECT_EQ(utf8(telvo_decodeFromBase64UsingEncoding("R3L832U="_ns, NSISOLatin1StringEncoding)), "Grüße");
  for (const auto encoding : {NSUTF8StringEncoding, NSUTF16StringEncoding, NSUTF32BigEndianStringEncoding}) {
    const auto text = "a 한 😀 e\u0301"_ns;
    EXPECT_TRUE(telvo_decodeFromBase64UsingEncoding(telvo_encodeAsBase64UsingEncoding(text, encoding), encoding)
                    ->isEqual(text));
  }
}

TEST(NSStringTelvo, Base64IsOneLine) {
  const auto text = telvo_stringWithMinimumLength_paddedWith_padLeft(""_ns, 1000, "x"_ns, true);
  EXPECT_FALSE(telvo_encodeAsBase64UsingEncoding(text, NSUTF8StringEncoding)->containsString("\n"_ns));
}

TEST(NSStringTelvo, DecodingIgnoresUnknownCharacters) {
  EXPECT_EQ(utf8(telvo_decodeFromBase64UsingEncoding(" R3LD\r\nvMOf-_*ZQ=="_ns, NSUTF8StringEncoding)), "Grüße");
  EXPECT_EQ(utf8(telvo_decodeFromBase64UsingEncoding(""_ns, NSUTF8StringEncoding)), "");
}

TEST(NSStringTelvo, Base64FailsWithNil) {
  EXPECT_EQ(telvo_encodeAsBase64UsingEncoding("漢"_ns, NSISOLatin1StringEncoding), nil);
  EXPECT_EQ(telvo_encodeAsBase64UsingEncoding(nil, NSUTF8StringEncoding), nil);
  EXPECT_EQ(telvo_encodeAsBase64UsingEncoding(units(u"a\xD83D"), NSUTF8StringEncoding), nil) << "half a character";
  for (const NSUInteger unknown : {NSUInteger{0}, NSUInteger{99}, NSUIntegerMax}) {
    EXPECT_EQ(telvo_encodeAsBase64UsingEncoding("a"_ns, static_cast<NSStringEncoding>(unknown)), nil);
    EXPECT_EQ(telvo_decodeFromBase64UsingEncoding("YQ=="_ns, static_cast<NSStringEncoding>(unknown)), nil);
  }
  EXPECT_EQ(telvo_decodeFromBase64UsingEncoding("R3L832U="_ns, NSUTF8StringEncoding), nil) << "bytes that are no UTF-8";
  EXPECT_EQ(telvo_decodeFromBase64UsingEncoding("R3L"_ns, NSUTF8StringEncoding), nil) << "half a group";
  EXPECT_EQ(telvo_decodeFromBase64UsingEncoding(nil, NSUTF8StringEncoding), nil);
}

TEST(NSStringTelvo, UUIDsAreThirtyTwoUpperCaseDigits) {
  const std::string uuid = utf8(telvo_uuid());
  EXPECT_EQ(uuid.size(), 32U);
  EXPECT_EQ(uuid.find_first_not_of("0123456789ABCDEF"), std::string::npos) << uuid;
  EXPECT_NE(uuid, utf8(telvo_uuid()));
}

// ---- By selector

TEST(NSStringTelvo, MethodsAnswerToTheirSelectors) {
  const auto text = "abc"_ns;
  EXPECT_EQ(utf8(as<NSString>(text->performSelector("telvo_reverse"_sel))), "cba");
  EXPECT_EQ(utf8(as<NSString>(text->performSelector_withObject("telvo_left:"_sel, NSNumber::numberWithInteger(-1)))),
            "ab");
  EXPECT_TRUE(NSMutableString::string()->respondsToSelector("telvo_componentsSeparatedByLength:"_sel));
  const auto names = NSArray::arrayWithObjects({"B c"_ns, "a b"_ns, "ab"_ns});
  EXPECT_EQ(
      utf8(as<NSString>(names->sortedArrayUsingSelector("telvo_caseAndSpaceInsensitiveCompare:"_sel)->lastObject())),
      "B c");
}

TEST(NSStringTelvo, RemovesMarksInWhateverOrderAndNumberTheyCome) {
  EXPECT_TRUE(NSEqualObjects(telvo_stringByRemovingDiacriticalMarks("e\u0301\u0323\u0300a"_ns), "ea"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_stringByRemovingDiacriticalMarks("\u1EC7\u00C5\u0344"_ns), "eA"_ns));
  // In an order that canonical decomposition has to turn round.
  std::u16string units = u"x";
  for (int i = 0; i < 100'000; ++i) units += i % 2 == 0 ? u'\u0301' : u'\u0323';
  EXPECT_TRUE(NSEqualObjects(telvo_stringByRemovingDiacriticalMarks(NSString::stringWithUnits(units + u"y")), "xy"_ns));
}

TEST(NSStringTelvo, ComparesWithoutSpacesByCanonicalEquivalence) {
  EXPECT_EQ(telvo_caseAndSpaceInsensitiveCompare("CAF\u00C9 noir"_ns, "cafe\u0301noir"_ns), NSOrderedSame);
}

}  // namespace
