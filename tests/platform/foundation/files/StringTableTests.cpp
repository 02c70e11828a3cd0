#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/files/StringTable.h"

namespace {

using namespace std::string_literals;

std::string text(const std::string& bytes, const Ref<NSString>& key) {
  const auto table = foundation::stringTableFromBytes(bytes);
  if (!table) return "(no table)";
  const auto value = as<NSString>(table->objectForKey(key));
  return value ? value->UTF8String() : "(nil)";
}

TEST(StringTable, ReadsKeysAndValuesBetweenComments) {
  const std::string bytes =
      "/* first; \"x\" */\n\"a b\" = \"1\"; // second\n'c'='2';/**/plain_key.1 = plain/value-2 ;\n";
  EXPECT_EQ(text(bytes, "a b"_ns), "1");
  EXPECT_EQ(text(bytes, "c"_ns), "2");
  EXPECT_EQ(text(bytes, "plain_key.1"_ns), "plain/value-2");
}

TEST(StringTable, AKeyAloneStandsForItself) { EXPECT_EQ(text("\"a\";", "a"_ns), "a"); }

TEST(StringTable, TheLastValueOfAKeyCounts) { EXPECT_EQ(text("a=1;a=2;", "a"_ns), "2"); }

TEST(StringTable, ReadsEscapes) {
  EXPECT_EQ(text(R"(a = "\"\\\n\t\r\a\b\f\v\'\q";)", "a"_ns), "\"\\\n\t\r\a\b\f\v'q");
  EXPECT_EQ(text(R"(a = "\U00e9\u6F22\UD83D\UDE00";)", "a"_ns), "é漢😀");
  EXPECT_EQ(text(R"(a = "\1012\7x\351";)", "a"_ns), "A2\x07xé");
}

TEST(StringTable, ReadsBothForms) {
  EXPECT_EQ(text("a = \"é\";", "a"_ns), "é");
  EXPECT_EQ(text("\xef\xbb\xbf"
                 "a = \"é\";",
                 "a"_ns),
            "é");
  EXPECT_EQ(text("\xff\xfe"
                 "a\0=\0\"\0\xe9\0\"\0;\0"s,
                 "a"_ns),
            "é");
  EXPECT_EQ(text("\xfe\xff\0a\0=\0\"\0\xe9\0\"\0;"s, "a"_ns), "é");
  EXPECT_EQ(foundation::stringTableFromBytes("")->count(), 0U);
  EXPECT_EQ(foundation::stringTableFromBytes(" // nothing")->count(), 0U);
}

TEST(StringTable, RejectsWhatIsNoTable) {
  for (const char* bytes : {"a", "a = ", "a = b", "= b;", "a b;", "\"a", "\"a\\", "a = \"b;", "/* a", "a = b; ;",
                            "a = (b);", "a = \xff;", "{a = b;}"}) {
    EXPECT_EQ(foundation::stringTableFromBytes(bytes), nil) << bytes;
  }
}

}  // namespace
