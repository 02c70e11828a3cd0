#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "appkit/rtf/RTFTokenizer.h"

namespace {

using appkit::RTFToken;
using Kind = appkit::RTFToken::Kind;

// The tokens in one line: "{", "}", "word=1", "*symbol", "#byte", "'text'", "binary".
std::string tokensOf(std::string_view bytes) {
  appkit::RTFTokenizer tokenizer(bytes);
  std::string line;
  for (RTFToken token = tokenizer.next(); token.kind != Kind::End; token = tokenizer.next()) {
    if (!line.empty()) line += " ";
    switch (token.kind) {
      case Kind::GroupStart:
        line += "{";
        break;
      case Kind::GroupEnd:
        line += "}";
        break;
      case Kind::Word:
        line += std::string(token.text) + (token.hasParameter ? "=" + std::to_string(token.parameter) : "");
        break;
      case Kind::Symbol:
        line += "*" + std::string(token.text);
        break;
      case Kind::Byte:
        line += "#" + std::to_string(token.parameter);
        break;
      case Kind::Text:
        line += "'" + std::string(token.text) + "'";
        break;
      case Kind::Binary:
        line += "binary";
        break;
      case Kind::End:
        break;
    }
  }
  return line;
}

TEST(RTFTokenizer, OneSpaceEndsAControlWordAndBelongsToIt) {
  EXPECT_EQ(tokensOf("{\\b bold\\b0  plain}"), "{ b 'bold' b=0 ' plain' }");
  EXPECT_EQ(tokensOf("\\fs24text"), "fs=24 'text'");
}

TEST(RTFTokenizer, ParametersMayBeNegativeAndStopAtTheLimits) {
  EXPECT_EQ(tokensOf("\\li-720 x"), "li=-720 'x'");
  EXPECT_EQ(tokensOf("\\a99999999999999999999\\b-99999999999999999999"), "a=2147483647 b=-2147483647");
  EXPECT_EQ(tokensOf("\\b-x"), "b '-x'");
}

TEST(RTFTokenizer, LineEndsShapeTheFileOnly) {
  EXPECT_EQ(tokensOf("ab\r\ncd\n\\b\nef"), "'ab' 'cd' b 'ef'");
  EXPECT_EQ(tokensOf(std::string_view("a\0b", 3)), "'a' 'b'");
}

TEST(RTFTokenizer, EscapedLineEndIsOneParagraphBreak) {
  EXPECT_EQ(tokensOf("a\\\nb\\\r\nc\\\rd"), "'a' par 'b' par 'c' par 'd'");
}

TEST(RTFTokenizer, TabsAreTheControlWord) { EXPECT_EQ(tokensOf("a\tb\\\tc"), "'a' tab 'b' tab 'c'"); }

TEST(RTFTokenizer, BytesHaveTwoHexadecimalDigits) {
  EXPECT_EQ(tokensOf("\\'e9\\'E9x"), "#233 #233 'x'");
  EXPECT_EQ(tokensOf("\\'zz"), "*' 'zz'");
  EXPECT_EQ(tokensOf("\\'e"), "*' 'e'");
}

TEST(RTFTokenizer, BinaryDataIsSteppedOver) {
  EXPECT_EQ(tokensOf("\\bin3 }{\\x"), "binary 'x'");
  EXPECT_EQ(tokensOf("\\bin-5 x"), "binary 'x'");
  EXPECT_EQ(tokensOf("\\bin999999999 abc"), "binary");
}

TEST(RTFTokenizer, SymbolsAreSingleCharacters) { EXPECT_EQ(tokensOf("\\~\\{\\\\\\*"), "*~ *{ *\\ **"); }

TEST(RTFTokenizer, EndsAnywhere) {
  EXPECT_EQ(tokensOf(""), "");
  EXPECT_EQ(tokensOf("{\\"), "{");
  EXPECT_EQ(tokensOf("\\fs"), "fs");
  EXPECT_EQ(tokensOf("\\fs-"), "fs '-'");
}

}  // namespace
