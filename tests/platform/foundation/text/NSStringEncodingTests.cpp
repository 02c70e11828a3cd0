#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

using namespace std::string_literals;

std::string bytes(const Ref<NSString>& text, NSStringEncoding encoding, bool loss = false) {
  const auto data = text->dataUsingEncoding(encoding, loss);
  return data ? std::string(data->view()) : "(nil)";
}

Ref<NSString> text(const std::string& bytes, NSStringEncoding encoding) {
  return NSString::stringWithData_encoding(NSData::dataWithBytes(bytes), encoding);
}

std::string utf8(const Ref<NSString>& string) { return string ? string->UTF8String() : "(nil)"; }

struct Sample {
  NSStringEncoding encoding;
  const char* text;
  std::string bytes;
};

void PrintTo(const Sample& sample, std::ostream* output) { *output << sample.text << " in " << sample.encoding; }

class EncodingSample : public testing::TestWithParam<Sample> {};

TEST_P(EncodingSample, ConvertsBothWays) {
  const Sample& sample = GetParam();
  EXPECT_EQ(bytes(NSString::stringWithUTF8String(sample.text), sample.encoding), sample.bytes);
  EXPECT_EQ(utf8(text(sample.bytes, sample.encoding)), sample.text);
}

INSTANTIATE_TEST_SUITE_P(
    All, EncodingSample,
    testing::Values(Sample{NSASCIIStringEncoding, "abc", "abc"},
                    Sample{NSUTF8StringEncoding, "aé😀", "a\xc3\xa9\xf0\x9f\x98\x80"},
                    Sample{NSISOLatin1StringEncoding, "aéÿ", "a\xe9\xff"},
                    Sample{NSISOLatin2StringEncoding, "Łódź", "\xa3\xf3\x64\xbc"},
                    Sample{NSNonLossyASCIIStringEncoding, "a\\é漢😀", "a\\\\\\351\\u6f22\\ud83d\\ude00"},
                    Sample{NSShiftJISStringEncoding, "日本ｱ", "\x93\xfa\x96\x7b\xb1"},
                    Sample{NSJapaneseEUCStringEncoding, "日本", "\xc6\xfc\xcb\xdc"},
                    Sample{NSWindowsCP1250StringEncoding, "Łódź", "\xa3\xf3\x64\x9f"},
                    Sample{NSWindowsCP1251StringEncoding, "Жук", "\xc6\xf3\xea"},
                    Sample{NSWindowsCP1252StringEncoding, "10 €", "10 \x80"},
                    Sample{NSWindowsCP1253StringEncoding, "Ωμέγα", "\xd9\xec\xdd\xe3\xe1"},
                    Sample{NSWindowsCP1254StringEncoding, "ışİ", "\xfd\xfe\xdd"},
                    Sample{NSMacOSRomanStringEncoding, "é™", "\x8e\xaa"},
                    Sample{NSUTF16StringEncoding, "aé😀", "\xff\xfe\x61\0\xe9\0\x3d\xd8\0\xde"s},
                    Sample{NSUTF16BigEndianStringEncoding, "aé😀", "\0\x61\0\xe9\xd8\x3d\xde\0"s},
                    Sample{NSUTF16LittleEndianStringEncoding, "aé😀", "\x61\0\xe9\0\x3d\xd8\0\xde"s},
                    Sample{NSUTF32StringEncoding, "a😀", "\xff\xfe\0\0\x61\0\0\0\0\xf6\x01\0"s},
                    Sample{NSUTF32BigEndianStringEncoding, "a😀", "\0\0\0\x61\0\x01\xf6\0"s},
                    Sample{NSUTF32LittleEndianStringEncoding, "a😀", "\x61\0\0\0\0\xf6\x01\0"s}),
    [](const auto& sample) { return "Encoding" + std::to_string(sample.param.encoding); });

TEST(NSStringEncoding, EmptyTextHasNoBytesButTheMark) {
  EXPECT_EQ(bytes(""_ns, NSUTF8StringEncoding), "");
  EXPECT_EQ(bytes(""_ns, NSASCIIStringEncoding), "");
  EXPECT_EQ(bytes(""_ns, NSUTF16StringEncoding), "\xff\xfe");
  EXPECT_EQ(utf8(text("", NSUTF16StringEncoding)), "");
  EXPECT_EQ(utf8(text("", NSShiftJISStringEncoding)), "");
}

TEST(NSStringEncoding, ByteOrderMarkTellsTheOrder) {
  EXPECT_EQ(utf8(text("\xfe\xff\0a"s, NSUTF16StringEncoding)), "a");
  EXPECT_EQ(utf8(text("\xff\xfe"s + "a\0"s, NSUTF16StringEncoding)), "a");
  EXPECT_EQ(utf8(text("\0a"s, NSUTF16StringEncoding)), "a") << "big endian without a mark";
  EXPECT_EQ(utf8(text("\0\0\xfe\xff\0\0\0a"s, NSUTF32StringEncoding)), "a");
  EXPECT_EQ(utf8(text("\xfe\xff\0a"s, NSUTF16BigEndianStringEncoding)),
            "\xef\xbb\xbf"
            "a")
      << "no mark, but text";
}

TEST(NSStringEncoding, WhatAnEncodingCannotHoldYieldsNothing) {
  for (const auto encoding : {NSASCIIStringEncoding, NSISOLatin1StringEncoding, NSISOLatin2StringEncoding,
                              NSShiftJISStringEncoding, NSWindowsCP1251StringEncoding, NSWindowsCP1252StringEncoding,
                              NSMacOSRomanStringEncoding, NSJapaneseEUCStringEncoding}) {
    EXPECT_EQ("a😀b"_ns->dataUsingEncoding(encoding), nil) << encoding;
    EXPECT_EQ(bytes("a😀b"_ns, encoding, true), "a?b") << encoding;
  }
  EXPECT_EQ("é"_ns->dataUsingEncoding(NSASCIIStringEncoding), nil);
  EXPECT_EQ("abc"_ns->dataUsingEncoding(static_cast<NSStringEncoding>(12345)), nil);
}

TEST(NSStringEncoding, UnpairedSurrogatesFitNoEncoding) {
  const auto carried = NSString::stringWithUTF8String("a\xff");
  const auto lead = NSString::stringWithUnits(std::u16string(1, 0xD83D));
  for (const auto encoding : {NSUTF8StringEncoding, NSUTF16StringEncoding, NSUTF32LittleEndianStringEncoding,
                              NSISOLatin1StringEncoding, NSNonLossyASCIIStringEncoding}) {
    EXPECT_EQ(carried->dataUsingEncoding(encoding), nil) << encoding;
    EXPECT_EQ(lead->dataUsingEncoding(encoding), nil) << encoding;
  }
  EXPECT_EQ(bytes(carried, NSUTF8StringEncoding, true), "a?");
}

TEST(NSStringEncoding, BytesThatAreNoTextYieldNothing) {
  EXPECT_EQ(text("a\xff", NSUTF8StringEncoding), nil);
  EXPECT_EQ(text("\xc3", NSUTF8StringEncoding), nil);
  EXPECT_EQ(text("\xed\xa0\x80", NSUTF8StringEncoding), nil);
  EXPECT_EQ(text("\x80", NSASCIIStringEncoding), nil);
  EXPECT_EQ(text("\x93", NSShiftJISStringEncoding), nil);
  EXPECT_EQ(text("\xff\xff", NSJapaneseEUCStringEncoding), nil);
  EXPECT_EQ(text("a", NSUTF16StringEncoding), nil);
  EXPECT_EQ(text("\xd8\x3d"s, NSUTF16BigEndianStringEncoding), nil);
  EXPECT_EQ(text("\xde\0"s, NSUTF16BigEndianStringEncoding), nil);
  EXPECT_EQ(text("\0\x11\0\0"s, NSUTF32BigEndianStringEncoding), nil);
  EXPECT_EQ(text("\0\0\xd8\0"s, NSUTF32BigEndianStringEncoding), nil);
  EXPECT_EQ(text("\\u12", NSNonLossyASCIIStringEncoding), nil);
  EXPECT_EQ(text("\\u12xy", NSNonLossyASCIIStringEncoding), nil);
  EXPECT_EQ(text("\\8", NSNonLossyASCIIStringEncoding), nil);
  EXPECT_EQ(text("\\389", NSNonLossyASCIIStringEncoding), nil);
  EXPECT_EQ(text("\\", NSNonLossyASCIIStringEncoding), nil);
  EXPECT_EQ(text("\\ud83d", NSNonLossyASCIIStringEncoding), nil);
  EXPECT_EQ(text("\x80", NSNonLossyASCIIStringEncoding), nil);
  EXPECT_EQ(text("a", static_cast<NSStringEncoding>(0)), nil);
  EXPECT_EQ(NSString::stringWithData_encoding(nil, NSUTF8StringEncoding), nil);
}

TEST(NSStringEncoding, ConvertsTextsLongerThanOnePiece) {
  std::u16string units;
  for (int index = 0; index < 10000; ++index) units += u"日本 ";
  const auto whole = NSString::stringWithUnits(units);
  const auto data = whole->dataUsingEncoding(NSShiftJISStringEncoding);
  EXPECT_EQ(data->length(), 50000U);
  EXPECT_TRUE(whole->isEqual(NSString::stringWithData_encoding(data, NSShiftJISStringEncoding)));
}

}  // namespace
