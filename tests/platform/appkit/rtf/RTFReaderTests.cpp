#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "appkit/NSAttributedString+AppKit.h"
#include "appkit/NSColor.h"
#include "appkit/NSFont.h"
#include "appkit/rtf/RTFReader.h"
#include "foundation/Foundation.h"
#include "tests/platform/appkit/rtf/RTFDocuments.h"

namespace {

TEST(RTFReader, WhatIsNoRTFGivesNil) {
  EXPECT_EQ(NSAttributedStringFromRTF(nil), nil);
  for (const std::string_view document : {"", "plain text", "{", "{}", "{\\b x}", "\\rtf1 x", "{\\*\\rtf1 x}",
                                          "{ \\rtf1}", "<html></html>", "PK\x03\x04"}) {
    EXPECT_EQ(read(document), nil) << document;
  }
}

TEST(RTFReader, SpaceAndByteOrderMarkMayComeFirst) {
  EXPECT_NE(read("\xEF\xBB\xBF{\\rtf1 x}"), nil);
  EXPECT_NE(read(" \r\n{\\rtf1 x}"), nil);
}

TEST(RTFReader, EmptyDocumentIsEmptyText) {
  EXPECT_EQ(read("{\\rtf1}")->length(), 0U);
  EXPECT_EQ(read("{\\rtf")->length(), 0U);
}

TEST(RTFReader, DocumentThatIsCutShortGivesWhatIsThere) {
  const std::string document = "{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0\\fs24 some {\\b bold} text\\par}";
  for (std::size_t size = 0; size <= document.size(); ++size) {
    const auto styled = read(document.substr(0, size));
    EXPECT_TRUE(!styled || "some bold text\n"_ns->hasPrefix(styled->string())) << size;
  }
  EXPECT_EQ(read(document.substr(0, document.size() - 5))->string()->UTF8String(), "some bold text");
}

TEST(RTFReader, WhatFollowsTheDocumentDoesNotCount) {
  EXPECT_EQ(read("{\\rtf1 a}b}{\\rtf1 c}")->string()->UTF8String(), "a");
}

TEST(RTFReader, ParagraphLineAndTabWordsAreCharacters) {
  EXPECT_EQ(textOf("a\\par b\\line c\\tab d\\\ne\tf\\page g\\sect h"), "a\nb\u2028c\td\ne\tf\fg\nh");
}

TEST(RTFReader, SpecialCharacters) {
  EXPECT_EQ(textOf("\\emdash\\endash\\bullet\\lquote\\rquote\\ldblquote\\rdblquote"), "—–•‘’“”");
  EXPECT_EQ(textOf("\\emspace\\enspace\\qmspace\\zwj\\zwnj\\zwbo\\zwnbo\\ltrmark\\rtlmark"),
            "\u2003\u2002\u2005\u200D\u200C\u200B\u2060\u200E\u200F");
  EXPECT_EQ(textOf("\\~\\-\\_\\\\\\{\\}"), "\u00A0\u00AD\u2011\\{}");
}

TEST(RTFReader, UnknownWordsAndSymbolsAreSkipped) { EXPECT_EQ(textOf("a\\unheardof12 b\\|\\:c"), "abc"); }

TEST(RTFReader, IgnorableDestinationsAreSkippedWithAllTheirGroups) {
  EXPECT_EQ(textOf("a{\\*\\unheardof x{y\\b z}\\par}b"), "ab");
  EXPECT_EQ(textOf("a{\\unheardof x}b"), "axb");
  EXPECT_EQ(textOf("{\\info{\\title T}}{\\stylesheet{\\s1 S;}}{\\header H}{\\pict 00ff}{\\footnote F}a"), "a");
  EXPECT_EQ(textOf("a{\\*\\b x}b"), "ab");
}

TEST(RTFReader, BinaryDataIsNoText) { EXPECT_EQ(textOf("a\\bin4 {}}xb"), "ab"); }

TEST(RTFReader, UnicodeCharactersReplaceTheirFallback) {
  EXPECT_EQ(textOf("\\u8364?x"), "€x");
  EXPECT_EQ(textOf("\\uc0\\u8364 ?x"), "€?x");
  EXPECT_EQ(textOf("\\uc2\\u12354\\'82\\'a0x"), "あx");
  EXPECT_EQ(textOf("\\uc3\\u8364 EURx"), "€x");
  EXPECT_EQ(textOf("\\u8364\\'80x\\u8217\\rquote y"), "€x’y");
  EXPECT_EQ(textOf("\\u8364\\bin2 {{x"), "€x");
}

TEST(RTFReader, FallbackEndsWithItsGroup) {
  EXPECT_EQ(textOf("{\\uc5\\u8364 ab}cd"), "€cd");
  EXPECT_EQ(textOf("{\\uc0 {\\uc2}\\u8364 a}\\u8364 ab"), "€a€b");
  EXPECT_EQ(textOf("\\uc5\\u8364{ab}cd"), "€abcd");
}

TEST(RTFReader, UnicodeCharacterWithoutFallbackDoesNotSwallowTheNextOne) {
  EXPECT_EQ(textOf("\\u1055\\u1088\\u8364?x"), "Пр€x");
}

TEST(RTFReader, UnicodeNumbersBeyondSixteenBitsSigned) {
  EXPECT_EQ(textOf("\\u-10179?\\u-8704?"), "😀");
  EXPECT_EQ(textOf("\\u55357?\\u56832?"), "😀");
  EXPECT_EQ(textOf("\\u128512?"), "😀");
  EXPECT_EQ(textOf("\\u2000000000?\\u-100000?\\u x"), "\uFFFD\uFFFDx");
}

TEST(RTFReader, UnicodeAlternativeIsPreferred) {
  EXPECT_EQ(textOf("a{\\upr{ansi {x}}{\\*\\ud{\\u8364?uni}}}b"), "a€unib");
}

TEST(RTFReader, BytesAreReadInTheDocumentsCodePage) {
  EXPECT_EQ(textOf("caf\\'e9 \\'80"), "café €");
  EXPECT_EQ(textOf("\\ansicpg1251 \\'cf\\'f0\\'e8"), "При");
  EXPECT_EQ(textOf("\\mac\\'8e"), "é");
  EXPECT_EQ(textOf("\\pc\\'82"), "é");
  EXPECT_EQ(textOf("\\pca\\'d5"), "ı");
  EXPECT_EQ(textOf("\\ansicpg65001 \xE2\x82\xAC"), "€");
  EXPECT_EQ(textOf("\\ansicpg99999 \\'e9"), "é");
  EXPECT_EQ(textOf("caf\xE9"), "café");
}

TEST(RTFReader, BytesAreReadInTheFontsCharset) {
  const std::string fonts =
      "{\\fonttbl{\\f0\\fcharset0 A;}{\\f1\\fcharset204 B;}{\\f2\\fcharset128 C;}{\\f3\\fcharset161 "
      "D;}{\\f4\\fcharset238 "
      "E;}{\\f5\\fcharset134 F;}{\\f6\\fcharset129 G;}{\\f7\\cpg866 H;}{\\f8\\fcharset1 I;}}";
  EXPECT_EQ(textOf(fonts + "\\f1\\'cf{\\f0\\'e9}\\'f0"), "Пéр");
  EXPECT_EQ(textOf(fonts + "\\f3\\'e1\\f4\\'e8\\f7\\'80\\f8\\'e9"), "αčАé");
  EXPECT_EQ(textOf(fonts + "\\f5\\'c4\\'e3\\f6\\'b0\\'a1"), "你가");
}

TEST(RTFReader, DoubleByteCharactersComeInAnyForm) {
  const std::string font = "{\\fonttbl{\\f2\\fcharset128 C;}}\\f2 ";
  EXPECT_EQ(textOf(font + "\\'82\\'a0"), "あ");
  EXPECT_EQ(textOf(font + "\\'83A"), "ア");
  EXPECT_EQ(textOf(font + "\\'83\\\\\\'83\\{\\'83\\}"), "ソボマ");
  EXPECT_EQ(textOf(font + "\\'82\\b x"), "\uFFFDx");
}

TEST(RTFReader, AnsiFontsOfADocumentInAnotherCodePageMeanTheDocuments) {
  EXPECT_EQ(textOf("\\mac{\\fonttbl{\\f0\\fcharset0 A;}}\\f0\\'8e"), "é");
  EXPECT_EQ(textOf("\\ansicpg932{\\fonttbl{\\f0\\fcharset0 A;}}\\f0\\'82\\'a0"), "あ");
}

TEST(RTFReader, SymbolFontsAreNoLetters) {
  EXPECT_EQ(textOf("{\\fonttbl{\\f0\\fcharset2 Symbol;}}\\f0\\'b7a\\'d2"), "•α\u00AE");
  EXPECT_EQ(textOf("{\\fonttbl{\\f0\\fcharset2 Wingdings;}}\\f0\\'fc"), "\uF0FC");
}

TEST(RTFReader, ListMarksAreText) {
  EXPECT_EQ(textOf("{\\pntext\\bullet\\tab}{\\*\\pn\\pnlvlblt{\\pntxtb x}}item"), "•\titem");
}

TEST(RTFReader, TableCellsAreSeparatedByTabs) {
  EXPECT_EQ(textOf("\\trowd\\cellx1\\cellx2\\intbl a\\cell b\\cell\\row\\intbl c\\cell\\row after"), "a\tb\nc\nafter");
}

TEST(RTFReader, HiddenAndDeletedTextIsLeftOut) {
  EXPECT_EQ(textOf("a{\\v x}b\\v y\\v0 c{\\deleted z}d\\v y\\plain e"), "abcde");
}

TEST(RTFReader, FontsAndSizes) {
  const std::string fonts = "{\\fonttbl{\\f0\\froman Times New Roman;}{\\f1\\fswiss{\\*\\panose 02}Arial;}}";
  EXPECT_EQ(fontOf(fonts + "\\f1\\fs26 x"), "\"ArialMT 13.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1\\fs25 x"), "\"ArialMT 12.50 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1 x"), "\"ArialMT 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1\\fs26{\\f0 y}x"), "\"ArialMT 13.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1\\fs24\\fsmilli12250 x"), "\"ArialMT 12.25 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1\\fs0 x"), "\"ArialMT 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1\\fs-20 x"), "\"ArialMT 12.00 pt.\"");
}

TEST(RTFReader, FontTableMayHaveNoGroupsAndNoSemicolons) {
  EXPECT_EQ(fontOf("{\\fonttbl\\f0\\fnil Courier;\\f1\\fnil Georgia;}\\f0 x"), "\"Courier 12.00 pt.\"");
  EXPECT_EQ(fontOf("{\\fonttbl{\\f0 Courier}{\\f1 Georgia}}\\f0 x"), "\"Courier 12.00 pt.\"");
}

TEST(RTFReader, FontNamesMayBeEncoded) {
  EXPECT_EQ(fontOf("{\\fonttbl{\\f0\\fcharset128 \\'82\\'6c\\'82\\'72;}}\\f0 x"), "\"ＭＳ 12.00 pt.\"");
  EXPECT_EQ(fontOf("{\\fonttbl{\\f0 A\\u8364?\\'3bB;}}\\f0 x"), "\"A€;B 12.00 pt.\"");
}

TEST(RTFReader, BoldAndItalicChooseTheFace) {
  const std::string fonts = "{\\fonttbl{\\f0 Times New Roman;}{\\f1 Helvetica-Bold;}{\\f2 Calibri;}}\\f0 ";
  EXPECT_EQ(fontOf(fonts + "\\b x"), "\"TimesNewRomanPS-BoldMT 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\b\\i x"), "\"TimesNewRomanPS-BoldItalicMT 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\b\\b0\\i x"), "\"TimesNewRomanPS-ItalicMT 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1 x"), "\"Helvetica-Bold 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1\\b x"), "\"Helvetica-Bold 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f1\\i x"), "\"Helvetica-BoldOblique 12.00 pt.\"");
  EXPECT_EQ(fontOf(fonts + "\\f2\\b x"), "\"Calibri-Bold 12.00 pt.\"");
}

TEST(RTFReader, DefaultFontAppliesUntilAnotherIsChosenAndAfterPlain) {
  const std::string start = "\\deff1{\\fonttbl{\\f0 Arial;}{\\f1 Georgia;}}";
  EXPECT_EQ(fontOf(start + "x"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(fontOf(start + "\\f0\\fs40\\b y\\plain x"), "\"Georgia 12.00 pt.\"");
}

TEST(RTFReader, TextHasNoFontWhenTheDocumentSaysNothing) {
  EXPECT_EQ(fontOf(" x"), "");
  EXPECT_EQ(fontOf("\\f7 x"), "");
  EXPECT_EQ(fontOf("\\b x"), "\"Helvetica-Bold 12.00 pt.\"");
  EXPECT_EQ(fontOf("\\fs40 x"), "\"Helvetica 20.00 pt.\"");
}

TEST(RTFReader, ColorsComeFromTheTable) {
  const std::string start = "{\\rtf1{\\colortbl;\\red255\\green0\\blue0;\\blue51;}";
  const auto color = [&](const std::string& content, const Ref<NSString>& name) {
    return attributeOf(read(start + content + "}"), "x", name);
  };
  EXPECT_EQ(color("\\cf1 x", NSForegroundColorAttributeName()), "RGB 1 0 0 1");
  EXPECT_EQ(color("\\cf2 x", NSForegroundColorAttributeName()), "RGB 0 0 0.2 1");
  EXPECT_EQ(color("\\cf1\\cf0 x", NSForegroundColorAttributeName()), "");
  EXPECT_EQ(color("\\cf3 x", NSForegroundColorAttributeName()), "");
  EXPECT_EQ(color("\\cf-1 x", NSForegroundColorAttributeName()), "");
  EXPECT_EQ(color("\\cb1 x", NSBackgroundColorAttributeName()), "RGB 1 0 0 1");
  EXPECT_EQ(color("\\highlight2 x", NSBackgroundColorAttributeName()), "RGB 0 0 0.2 1");
  EXPECT_EQ(color("\\cb1\\plain x", NSBackgroundColorAttributeName()), "");
}

TEST(RTFReader, FirstEntryOfTheColorTableCanBeAColor) {
  const auto styled = read("{\\rtf1{\\colortbl\\red255\\green300\\blue-4;}\\cf0 x}");
  EXPECT_EQ(attributeOf(styled, "x", NSForegroundColorAttributeName()), "RGB 1 1 0 1");
}

TEST(RTFReader, LinesAndPositions) {
  const auto value = [](const std::string& content, const Ref<NSString>& name) {
    return attributeOf(read("{\\rtf1" + content + "}"), "x", name);
  };
  EXPECT_EQ(value("\\ul x", NSUnderlineStyleAttributeName()), "1");
  EXPECT_EQ(value("\\uldb x", NSUnderlineStyleAttributeName()), "9");
  EXPECT_EQ(value("\\uldash x", NSUnderlineStyleAttributeName()), std::to_string(0x201));
  EXPECT_EQ(value("\\ulw x", NSUnderlineStyleAttributeName()), std::to_string(0x8001));
  EXPECT_EQ(value("\\ul\\ulnone x", NSUnderlineStyleAttributeName()), "");
  EXPECT_EQ(value("\\ul\\ul0 x", NSUnderlineStyleAttributeName()), "");
  EXPECT_EQ(value("\\strike x", NSStrikethroughStyleAttributeName()), "1");
  EXPECT_EQ(value("\\striked1 x", NSStrikethroughStyleAttributeName()), "9");
  EXPECT_EQ(value("\\striked1\\striked0 x", NSStrikethroughStyleAttributeName()), "");
  EXPECT_EQ(value("\\super x", NSSuperscriptAttributeName()), "1");
  EXPECT_EQ(value("\\sub x", NSSuperscriptAttributeName()), "-1");
  EXPECT_EQ(value("\\super\\nosupersub x", NSSuperscriptAttributeName()), "");
  EXPECT_EQ(value("\\up8 x", NSSuperscriptAttributeName()), "1");
  EXPECT_EQ(value("\\dn x", NSSuperscriptAttributeName()), "-1");
  EXPECT_EQ(value("\\up-2 x", NSSuperscriptAttributeName()), "-1");
  EXPECT_EQ(value("\\up8\\up0 x", NSSuperscriptAttributeName()), "");
}

TEST(RTFReader, AlignmentInForceAtItsEndHoldsForTheWholeParagraph) {
  const auto styled = read("{\\rtf1\\qc a\\par b\\qr c\\par\\pard d\\par{\\qj e\\par}f\\par\\qc g}");
  const auto alignment = [&](std::string_view text) {
    return attributeOf(styled, text, NSParagraphStyleAttributeName());
  };
  EXPECT_EQ(alignment("a"), "Alignment 2");
  EXPECT_EQ(alignment("b"), "Alignment 1");
  EXPECT_EQ(alignment("c"), "Alignment 1");
  EXPECT_EQ(alignment("d"), "");
  EXPECT_EQ(alignment("e"), "Alignment 3");
  EXPECT_EQ(alignment("f"), "");
  EXPECT_EQ(alignment("g"), "Alignment 2");
}

TEST(RTFReader, AParagraphWhoseEndIsLeftOutGoesOnWithTheNext) {
  const auto styled = read("{\\rtf1\\qc a{\\v\\par}\\ql b{\\deleted\\par\\row}\\qr c\\par\\ql d}");
  EXPECT_EQ(styled->string()->UTF8String(), "abc\nd");
  for (const char* text : {"a", "b", "c"}) {
    EXPECT_EQ(attributeOf(styled, text, NSParagraphStyleAttributeName()), "Alignment 1");
  }
}

TEST(RTFReader, HyperlinkFieldsAreLinks) {
  const auto styled =
      read("{\\rtf1 a{\\field{\\*\\fldinst{HYPERLINK \"http://h/?a=b\" \\\\l \"p\"}}{\\fldrslt{\\ul b}}}c}");
  EXPECT_EQ(styled->string()->UTF8String(), "abc");
  const auto url = as<NSURL>(styled->attribute_atIndex_effectiveRange(NSLinkAttributeName(), 1));
  ASSERT_NE(url, nil);
  EXPECT_EQ(url->absoluteString()->UTF8String(), "http://h/?a=b#p");
  EXPECT_EQ(attributeOf(styled, "a", NSLinkAttributeName()), "");
  EXPECT_EQ(attributeOf(styled, "c", NSLinkAttributeName()), "");
}

TEST(RTFReader, DestinationsThatAreKnownAreReadBehindAnAsteriskAsWell) {
  EXPECT_EQ(textOf("a{\\*\\field{\\*\\fldinst X}{\\*\\fldrslt b}}{\\*\\pntext c}{\\*\\listtext d}{\\*\\shptxt e}f"),
            "abcdef");
  EXPECT_EQ(textOf("a{\\object{\\*\\objdata 00ff}{\\*\\result b}}c"), "abc");
  EXPECT_EQ(textOf("a{\\*\\fonttbl{\\f0 Arial;}}{\\*\\info{\\title T}}b"), "ab");
  const auto styled =
      read("{\\rtf1 see {\\field{\\*\\fldinst{ HYPERLINK \"http://h/\" }}{\\*\\fldrslt {\\ul link}}} there}");
  EXPECT_EQ(styled->string()->UTF8String(), "see link there");
  EXPECT_EQ(attributeOf(styled, "link", NSLinkAttributeName()), "http://h/");
  EXPECT_EQ(attributeOf(styled, "link", NSUnderlineStyleAttributeName()), "1");
  EXPECT_EQ(attributeOf(styled, "there", NSLinkAttributeName()), "");
}

TEST(RTFReader, AddressThatIsNoURLIsALinkAsText) {
  const auto styled = read("{\\rtf1{\\field{\\*\\fldinst HYPERLINK \"my file\"}{\\fldrslt b}}}");
  EXPECT_TRUE(NSEqualObjects(styled->attribute_atIndex_effectiveRange(NSLinkAttributeName(), 0), "my file"_ns));
}

TEST(RTFReader, ResultsOfOtherFieldsAreTheirText) {
  const auto styled =
      read("{\\rtf1 {\\field{\\*\\fldinst PAGE}{\\fldrslt 7}} of {\\field{\\fldinst NUMPAGES}{\\fldrslt 9}}}");
  EXPECT_EQ(styled->string()->UTF8String(), "7 of 9");
  EXPECT_EQ(attributeOf(styled, "7", NSLinkAttributeName()), "");
}

TEST(RTFReader, DocumentOfAWordProcessorReadsWithItsTextFontsAndSizes) {
  const auto styled = read(
      "{\\rtf1\\adeflang1025\\ansi\\ansicpg1252\\uc1\\adeff0\\deff0\\stshfdbch0{\\fonttbl{\\f0\\fbidi "
      "\\froman\\fcharset0"
      "\\fprq2{\\*\\panose 02020603050405020304}Times New Roman;}{\\f37\\fbidi \\fswiss\\fcharset0\\fprq2{\\*\\panose "
      "020f0502020204030204}Calibri;}{\\flomajor\\f31500\\fbidi \\froman\\fcharset0 Times New Roman{\\*\\falt T};}}"
      "{\\colortbl;\\red0\\green0\\blue0;\\red192\\green0\\blue0;}{\\*\\defchp \\f37\\fs22 }{\\stylesheet{\\ql "
      "\\rtlch\\fcs1 \\af0\\afs22 \\ltrch\\fcs0 \\f37\\fs22 \\snext0 Normal;}{\\*\\cs10 \\additive Default;}}"
      "{\\*\\rsidtbl \\rsid1}{\\mmathPr\\mmathFont34}{\\info{\\author A}}\\pard\\plain \\ltrpar\\qc \\rtlch\\fcs1 "
      "\\af0\\afs22 \\ltrch\\fcs0 \\f37\\fs22{\\rtlch\\fcs1 \\ab\\af0\\afs32 \\ltrch\\fcs0 \\b\\fs32\\cf2 \\hich\\af37"
      "\\dbch\\af31505\\loch\\f37 Title}{\\rtlch \\ltrch \\par }\\pard\\plain \\ql\\f37\\fs22 {Body \\ldblquote text"
      "\\rdblquote .\\par }{\\*\\themedata 504b}}");
  EXPECT_EQ(styled->string()->UTF8String(), "Title\nBody “text”.\n");
  EXPECT_EQ(attributeOf(styled, "Title", NSFontAttributeName()), "\"Calibri-Bold 16.00 pt.\"");
  EXPECT_EQ(attributeOf(styled, "Body", NSFontAttributeName()), "\"Calibri 11.00 pt.\"");
  EXPECT_EQ(attributeOf(styled, "Title", NSParagraphStyleAttributeName()), "Alignment 2");
}

TEST(RTFReader, DocumentOfAnOfficeSuiteReadsWithItsTextFontsAndSizes) {
  const auto styled = read(
      "{\\rtf1\\ansi\\deff3\\adeflang1025\n{\\fonttbl{\\f0\\froman\\fprq2\\fcharset0 Times New "
      "Roman;}{\\f1\\froman\\fprq2"
      "\\fcharset2 Symbol;}{\\f3\\froman\\fprq2\\fcharset0 Serif Text;}{\\f4\\fnil\\fprq0\\fcharset0 "
      "Georgia;}{\\f6\\fnil"
      "\\fprq0\\fcharset2 OpenSymbol{\\*\\falt Arial Unicode MS};}{\\f7\\fnil\\fprq0\\fcharset0 Courier "
      "New;}}\n{\\colortbl;"
      "\\red0\\green0\\blue0;\\red255\\green0\\blue0;\\red255\\green255\\blue0;}\n{\\stylesheet{"
      "\\s0\\snext0\\rtlch\\af8"
      "\\afs24 \\ltrch\\cf0\\f3\\fs24 "
      "Normal;}\n}{\\*\\listtable{\\list\\listtemplateid1\n{\\listlevel\\levelnfc23{\\leveltext "
      "\\'01\\u8226 ?;}{\\levelnumbers;}\\f6}}}{\\listoverridetable{\\listoverride\\ls1}}{\\*\\generator Office}\n"
      "\\pard\\plain \\s1\\ql\\ltrpar{\\hich\\af4\\loch\\fs40\\b\\f4\\loch\n\\u220\\'dcberschrift \\u8364\\'80}\n\\par "
      "\\pard\\plain "
      "\\s18\\loch\\sb0\\sa140\\qc\\f3\\fs24{\\loch\n x}{\\loch{\\*\\updnprop8000}\\up8\\loch\n2}{\\loch\n "
      "}{\\loch\\cf2\\chcbpat3\\loch\nred}\n\\par \\pard\\plain \\ql{\\hich\\af7\\loch\\fs18\\f7\\loch\ncode "
      "\\u1046\\'3f \\uc0 "
      "\\u55357\\uc1 \\u56832\\'3f}\n\\par \\pard\\plain {{\\field{\\*\\fldinst HYPERLINK \"http://example.com/\" "
      "}{\\fldrslt "
      "{\\ul\\ulc0\\loch\nlink}{}}}\\loch\n after}\n\\par \\trowd\\trql\\cellx271\\cellx572\\pard\\plain "
      "\\intbl{\\loch\na}\\cell"
      "\\pard\\plain \\intbl{\\loch\nb}\\cell\\row\\pard\\plain {\\listtext\\pard\\plain \\f6 "
      "\\u8226\\'95\\tab}\\ilvl0\\ls1 "
      "{\\loch\none}\n\\par }");
  EXPECT_EQ(styled->string()->UTF8String(), "Überschrift €\n x2 red\ncode Ж 😀\nlink after\na\tb\n•\tone\n");
  EXPECT_EQ(attributeOf(styled, "Über", NSFontAttributeName()), "\"Georgia-Bold 20.00 pt.\"");
  EXPECT_EQ(attributeOf(styled, "2", NSSuperscriptAttributeName()), "1");
  EXPECT_EQ(attributeOf(styled, "red", NSForegroundColorAttributeName()), "RGB 1 0 0 1");
  EXPECT_EQ(attributeOf(styled, "red", NSBackgroundColorAttributeName()), "RGB 1 1 0 1");
  EXPECT_EQ(attributeOf(styled, "red", NSParagraphStyleAttributeName()), "Alignment 2");
  EXPECT_EQ(attributeOf(styled, "code", NSFontAttributeName()), "\"CourierNewPSMT 9.00 pt.\"");
  EXPECT_EQ(attributeOf(styled, "link", NSLinkAttributeName()), "http://example.com/");
  EXPECT_EQ(attributeOf(styled, "after", NSLinkAttributeName()), "");
  EXPECT_EQ(attributeOf(styled, "after", NSFontAttributeName()), "\"Serif Text 12.00 pt.\"");
}

TEST(RTFReader, HundredThousandNestedGroupsAreRead) {
  constexpr std::size_t depth = 100'000;
  const std::string open = std::string(depth, '{') + "x";
  EXPECT_EQ(textOf(open + std::string(depth, '}') + "y"), "xy");
  EXPECT_EQ(read("{\\rtf1 " + open)->string()->UTF8String(), "x");
  std::string bold;
  for (std::size_t i = 0; i < depth; ++i) bold += "{\\b\\fonttbl";
  EXPECT_NE(read("{\\rtf1 " + bold), nil);
}

TEST(RTFReader, MoreThanAMillionNestedGroupsAreNoDocument) {
  EXPECT_EQ(read("{\\rtf1 " + std::string(1'000'001, '{')), nil);
}

// Comparing these names for each run would take minutes.
TEST(RTFReader, LongNamesAndAddressesAreNotComparedForEachRun) {
  const std::string name(300'000, 'A');
  const std::string fonts = "{\\rtf1{\\fonttbl{\\f0 " + name + "1;}{\\f1 " + name + "2;}{\\f2 " + name + "1;}}";
  std::string runs;
  std::string results;
  for (int i = 0; i < 100'000; ++i) {
    runs += "\\f0 x\\f2 z\\f1 y";
    results += "{\\fldrslt x}y";
  }
  const auto styled = read(fonts + runs + "}");
  NSRange range;
  const auto font = as<NSFont>(styled->attribute_atIndex_effectiveRange(NSFontAttributeName(), 0, &range));
  EXPECT_EQ(font->fontName()->UTF8String(), name + "1");
  EXPECT_EQ(range, NSMakeRange(0, 2)) << "the same font under two numbers";
  const auto linked =
      read("{\\rtf1{\\field{\\*\\fldinst HYPERLINK \"" + name + "1\"}{\\fldrslt a{\\field{\\*\\fldinst " +
           "HYPERLINK \"" + name + "2\"}" + results + "}}}}");
  EXPECT_EQ(linked->length(), 200'001U);
}

TEST(RTFReader, HostileTablesAndFieldsAreBounded) {
  EXPECT_NE(read("{\\rtf1{\\fonttbl\\f2147483647 A;\\f-5 B;\\f B;}\\f2147483647\\f-7 x"), nil);
  EXPECT_NE(read("{\\rtf1{\\colortbl;;;\\red9;{\\colortbl\\red1;}}\\cf4\\cb2147483647 x}"), nil);
  EXPECT_NE(read("{\\rtf1{\\field{\\fldinst{\\field{\\fldinst HYPERLINK x}}}{\\fldrslt{\\fldinst HYPERLINK y}z}}}"),
            nil);
  EXPECT_NE(read("{\\rtf1\\uc2147483647\\u1 abc{\\uc-7\\u2 d}"), nil);
  EXPECT_NE(read("{\\rtf1\\u\\'\\*\\*{\\*}{\\*{\\*\\*\\b}}\\row\\cell\\row\\upr\\ud}"), nil);
  EXPECT_NE(read("{\\rtf1{\\*\\telvoexact size=x color=1,2 background=,,,, link=text =1 underline=}z}"), nil);
}

}  // namespace
