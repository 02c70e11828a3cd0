#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

std::string encoded(const std::string& bytes) {
  return NSData::dataWithBytes(bytes)->base64EncodedString()->UTF8String();
}

std::string decoded(std::string_view text, NSUInteger options = 0) {
  const auto data = NSData::dataWithBase64EncodedString_options(NSString::stringWithUTF8String(text), options);
  return data ? std::string(data->view()) : "(nil)";
}

TEST(Base64, MatchesTheStandardsExamples) {
  const std::pair<const char*, const char*> examples[] = {{"", ""},
                                                          {"f", "Zg=="},
                                                          {"fo", "Zm8="},
                                                          {"foo", "Zm9v"},
                                                          {"foob", "Zm9vYg=="},
                                                          {"fooba", "Zm9vYmE="},
                                                          {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : examples) {
    EXPECT_EQ(encoded(bytes), text);
    EXPECT_EQ(decoded(text), bytes);
  }
}

TEST(Base64, CarriesEveryByteInOneLine) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(static_cast<char>(byte));
  EXPECT_EQ(decoded(encoded(all)), all);
  EXPECT_EQ(encoded(all).find('\n'), std::string::npos);
  EXPECT_EQ(encoded("\xfb\xff\xfe"), "+//+");
}

TEST(Base64, RejectsUnknownCharactersUnlessTheyAreIgnored) {
  EXPECT_EQ(decoded("Zm9v\nYmFy"), "(nil)");
  EXPECT_EQ(decoded("Zm9v\nYmFy", NSDataBase64DecodingIgnoreUnknownCharacters), "foobar");
  EXPECT_EQ(decoded(" Z*m-9_vé😀\xff", NSDataBase64DecodingIgnoreUnknownCharacters), "foo");
  EXPECT_EQ(decoded("Z g = =", NSDataBase64DecodingIgnoreUnknownCharacters), "f");
  EXPECT_EQ(decoded("!!!", NSDataBase64DecodingIgnoreUnknownCharacters), "");
}

TEST(Base64, RejectsWrongLengthsAndMisplacedPadding) {
  for (const char* text :
       {"Z", "Zg", "Zg=", "Zm8", "Zm9vYg", "=", "==", "====", "Z===", "Zg=a", "Zg==Zg==", "Zm9v=", "Zm8==", "Zg==="}) {
    EXPECT_EQ(decoded(text, NSDataBase64DecodingIgnoreUnknownCharacters), "(nil)") << text;
  }
  EXPECT_EQ(NSData::dataWithBase64EncodedString_options(nil, 0), nil);
}

}  // namespace
