#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "foundation/coding/PropertyListCoding.h"
#include "foundation/coding/XMLEncoding.h"

namespace {

using foundation::canBeginXML;
using foundation::UTF8FromXML;

TEST(XMLEncoding, TellsFromTheFirstBytesWhetherAFileCanBeXML) {
  for (const std::string_view start :
       {std::string_view("<"), std::string_view(" \t\r\n<x"), std::string_view(""), std::string_view(" \n "),
        std::string_view("\xEF\xBB\xBF"), std::string_view("\xFF\xFE"), std::string_view("\xFE\xFF"),
        std::string_view("\0<", 2), std::string_view("<\0", 2)}) {
    EXPECT_TRUE(canBeginXML(start)) << start;
  }
  for (const std::string_view start :
       {std::string_view("x"), std::string_view(" x<"), std::string_view("\0\0", 2), std::string_view("\0x", 2),
        std::string_view("\xEF\xBB"), std::string_view("bplist00")}) {
    EXPECT_FALSE(canBeginXML(start)) << start;
  }
}

TEST(XMLEncoding, LeavesWhatIsUTF8AsItIs) {
  EXPECT_EQ(UTF8FromXML("<a>\xC3\xA9</a>"), std::nullopt);
  EXPECT_EQ(UTF8FromXML("<?xml version='1.0' encoding='Utf-8'?><a/>"), std::nullopt);
  EXPECT_EQ(UTF8FromXML("\xEF\xBB\xBF<a/>"), "<a/>") << "without its mark";
}

TEST(XMLEncoding, ConvertsTextOfAnyLength) {
  const std::string declaration = "<?xml version='1.0' encoding='ISO-8859-1'?>";
  for (const std::size_t length : {0U, 1U, 4000U, 4053U, 4054U, 10'000U}) {
    std::string expected = declaration;
    for (std::size_t i = 0; i < length; ++i) expected += "\xC3\xA9";
    EXPECT_EQ(UTF8FromXML(declaration + std::string(length, '\xE9')), expected) << length;
  }
}

TEST(XMLEncoding, RefusesNamesThatAreNoneForEncodings) {
  for (const char* name : {"", "8859", "-x", "../latin1", "latin1,swaplfnl", "a b", "é"}) {
    EXPECT_THROW(UTF8FromXML("<?xml encoding='" + std::string(name) + "'?><a/>"), foundation::PropertyListFailure)
        << name;
  }
}

}  // namespace
