#include <gtest/gtest.h>

#include "appkit/rtf/RTFHyperlink.h"

namespace {

using appkit::addressFromInstruction;

TEST(RTFHyperlink, AddressStandsInQuotesOrAlone) {
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"http://a/ b\""), u"http://a/ b");
  EXPECT_EQ(addressFromInstruction(u" hyperlink http://a/ "), u"http://a/");
}

TEST(RTFHyperlink, BookmarkIsJoined) {
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"http://a/\" \\l \"part\""), u"http://a/#part");
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \\l \"part\""), u"#part");
}

TEST(RTFHyperlink, OtherSwitchesDoNotCount) {
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"http://a/\" \\o \"A tip\" \\t \"frame\" \\n"), u"http://a/");
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \\o \"A tip\" \"http://a/\""), u"http://a/");
}

TEST(RTFHyperlink, OtherInstructionsAreNoLinks) {
  EXPECT_EQ(addressFromInstruction(u"PAGEREF x \\h"), std::nullopt);
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK"), std::nullopt);
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \\o \"A tip\""), std::nullopt);
  EXPECT_EQ(addressFromInstruction(u""), std::nullopt);
}

TEST(RTFHyperlink, AnAddressMayBeEmpty) {
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"\""), u"");
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"\" \\l \"part\""), u"#part");
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"\" \"http://h/\""), u"");
}

TEST(RTFHyperlink, EveryAddressReadsBack) {
  for (const std::u16string_view address : {u"http://a/", u"", u"C:\\dir\\x", u"say \"hi\"", u"\\", u"#part", u"ä ö"}) {
    EXPECT_EQ(addressFromInstruction(appkit::instructionForAddress(address)), address);
  }
}

TEST(RTFHyperlink, UnfinishedQuotesReachToTheEnd) {
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"http://a/"), u"http://a/");
  EXPECT_EQ(addressFromInstruction(u"HYPERLINK \"http://a/\\"), u"http://a/\\");
}

}  // namespace
