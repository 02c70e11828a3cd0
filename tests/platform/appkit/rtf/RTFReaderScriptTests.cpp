#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/platform/appkit/rtf/RTFDocuments.h"

namespace {

constexpr const char* scriptFonts =
    "{\\fonttbl{\\f0 Georgia;}{\\f1 Courier;}{\\f2 Verdana;}{\\f3\\fcharset177 Miriam;}{\\f4\\fcharset128 Gothic;}}";

// The font of the first character of the text, in a document with those fonts.
std::string scriptFontOf(std::string_view content, std::string_view text) {
  return fontOf(scriptFonts + std::string(content), text);
}

TEST(RTFReader, ComplexScriptsHaveTheFontOfTheirOwnWords) {
  const std::string content =
      "\\plain\\rtlch\\af1\\afs36\\ab\\ai\\ltrch\\f0\\fs24 x \\u1513?\\u1500? y \\u1575? z \\u2325? w \\u3585?";
  EXPECT_EQ(scriptFontOf(content, "x"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "ש"), "\"Courier-BoldOblique 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "ל"), "\"Courier-BoldOblique 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "y"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "ا"), "\"Courier-BoldOblique 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "क"), "\"Courier-BoldOblique 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "ก"), "\"Courier-BoldOblique 18.00 pt.\"");
}

TEST(RTFReader, ComplexScriptsAreNotBoldByTheWordForOthers) {
  EXPECT_EQ(scriptFontOf("\\rtlch\\af1\\afs24\\ltrch\\f0\\fs36\\b x\\u1513?", "ש"), "\"Courier 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\rtlch\\af1\\afs24\\ltrch\\f0\\fs36\\b x\\u1513?", "x"), "\"Georgia-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\rtlch\\ab\\ab0\\ltrch\\f0\\b \\u1513?", "ש"), "\"Georgia 12.00 pt.\"");
}

TEST(RTFReader, EastAsianTextHasTheFontOfItsOwnWords) {
  const std::string content =
      "\\plain\\hich\\af1\\dbch\\af2\\afs36\\ab\\loch\\f0\\fs24 x\\u26085? \\u12354?3\\u45785?\\u-10156?\\u-9215?";
  EXPECT_EQ(scriptFontOf(content, "x"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "日"), "\"Verdana-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "あ"), "\"Verdana-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "3"), "\"Verdana-Bold 18.00 pt.\"") << "what has no script goes with what is before";
  EXPECT_EQ(scriptFontOf(content, "닙"), "\"Verdana-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(content, "𥀁"), "\"Verdana-Bold 18.00 pt.\"");
  // Word processors give only the font where size and weight are those of the Western text.
  EXPECT_EQ(scriptFontOf("\\dbch\\af2\\loch\\f0\\fs36\\b \\u26085?", "日"), "\"Verdana-Bold 18.00 pt.\"");
}

TEST(RTFReader, PlainWordsHoldForTextOfEveryScriptWithoutWordsOfItsOwn) {
  EXPECT_EQ(scriptFontOf("\\f1\\fs36\\b\\u1513?", "ש"), "\"Courier-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\f1\\fs36\\b\\u26085?", "日"), "\"Courier-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\rtlch\\f1\\fs36\\b\\u1513?", "ש"), "\"Courier-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\ltrch\\af0\\afs24\\rtlch\\f1\\fs36\\b\\u1513?", "ש"), "\"Courier-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\loch\\af0\\hich\\af0\\dbch\\f1\\fs36\\b\\u26085?", "日"), "\"Courier-Bold 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\rtlch\\af1\\afs20\\ab\\ltrch{\\rtlch\\f2\\fs40\\b0\\u1513?}", "ש"),
            "\"Verdana 20.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\f0\\fs24\\fsmilli12250\\u1513?", "ש"), "\"Georgia 12.25 pt.\"");
}

TEST(RTFReader, WordsOfScriptsEndWithTheirGroupAndWithPlain) {
  EXPECT_EQ(scriptFontOf("\\f0{\\rtlch\\af1\\afs36\\ltrch\\u1513?}\\u1500?", "ל"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\deff0\\rtlch\\af1\\afs36\\ltrch\\plain\\f2\\u1500?", "ל"), "\"Verdana 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\dbch\\af1\\plain\\f2\\b\\u26085?", "日"), "\"Verdana-Bold 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\f0\\rtlch\\af99\\afs36\\ltrch\\u1513?", "ש"), "\"Georgia 18.00 pt.\"") << "no such font";
}

TEST(RTFReader, WhatHasNoScriptGoesWithTheRunWhenNothingIsBeforeIt) {
  const std::string words = "\\rtlch\\af1\\afs36\\ltrch\\f0\\fs24";
  EXPECT_EQ(scriptFontOf(words + " 1", "1"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf(words + "\\rtlch 1", "1"), "\"Courier 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf(words + " \\u1513?{ 1}", "1"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf(words + " \\u1513?\\par 1", "1"), "\"Georgia 12.00 pt.\"");
  EXPECT_EQ(scriptFontOf(words + " \\u1513? 1", "1"), "\"Courier 18.00 pt.\"");
  EXPECT_EQ(scriptFontOf("\\dbch\\af1\\afs36 1", "1"), "\"Courier 18.00 pt.\"");
}

TEST(RTFReader, BytesOfARunAreInTheCodePageOfItsFont) {
  EXPECT_EQ(textOf(scriptFonts + std::string("\\f0\\rtlch\\af3 \\'f9\\ltrch \\'e9")), "שé");
  EXPECT_EQ(textOf(scriptFonts + std::string("\\f0\\dbch\\af4 \\'82\\'a0\\loch \\'e9")), "あé");
}

TEST(RTFReader, AnOfficeSuitesRunsOfOtherScriptsKeepSizeAndWeight) {
  const auto styled = read(
      "{\\rtf1\\ansi\\deff3\\adeflang1025\n{\\fonttbl{\\f0\\froman\\fprq2\\fcharset0 Times New Roman;}"
      "{\\f3\\froman\\fprq2\\fcharset0 Serif;}{\\f5\\fnil\\fprq2\\fcharset0 Kaiti;}{\\f6\\fnil\\fprq2\\fcharset0 "
      "Naskh;}}\n"
      "{\\stylesheet{\\s0\\snext0\\rtlch\\af6\\afs24\\alang1081 "
      "\\ltrch\\lang1031\\langfe2052\\hich\\af3\\loch\\f3\\fs24\\dbch\\af5 "
      "Standard;}}\n\\pard\\plain \\s0\\rtlch\\af6\\afs24\\alang1081 "
      "\\ltrch\\lang1031\\hich\\af3\\loch\\f3\\fs24\\dbch\\af5"
      "{\\dbch\\af5\\afs40\\ab\\dbch\\loch\n\\u20013\\'3f\\u25991\\'3f}{\\loch\n and }"
      "{\\rtlch\\af6\\afs40\\ab \\ltrch\\rtlch\n\\u1593\\'3f\\u1585\\'3f}\n\\par }");
  EXPECT_EQ(styled->string()->UTF8String(), "中文 and عر\n");
  EXPECT_EQ(attributeOf(styled, "中文", NSFontAttributeName()), "\"Kaiti-Bold 20.00 pt.\"");
  EXPECT_EQ(attributeOf(styled, "and", NSFontAttributeName()), "\"Serif 12.00 pt.\"");
  EXPECT_EQ(attributeOf(styled, "عر", NSFontAttributeName()), "\"Naskh-Bold 20.00 pt.\"");
}

}  // namespace
