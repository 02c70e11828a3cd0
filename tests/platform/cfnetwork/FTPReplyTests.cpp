#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cfnetwork/FTPReply.h"

using namespace cfnetwork;

namespace {

std::vector<FTPReply> takeAll(FTPReplyParser& parser) {
  std::vector<FTPReply> replies;
  while (auto reply = parser.next()) replies.push_back(std::move(*reply));
  return replies;
}

std::vector<FTPReply> repliesIn(std::string_view bytes) {
  FTPReplyParser parser;
  parser.append(bytes);
  EXPECT_FALSE(parser.isDamaged());
  return takeAll(parser);
}

bool isDamagedBy(std::string_view bytes) {
  FTPReplyParser parser;
  parser.append(bytes);
  return parser.isDamaged();
}

TEST(FTPReply, KnowsItsKindByTheFirstDigit) {
  EXPECT_TRUE((FTPReply{150, ""}).isPreliminary());
  EXPECT_TRUE((FTPReply{226, ""}).isCompletion());
  EXPECT_TRUE((FTPReply{331, ""}).isIntermediate());
  EXPECT_TRUE((FTPReply{425, ""}).isRefusal());
  EXPECT_TRUE((FTPReply{550, ""}).isRefusal());
  EXPECT_FALSE((FTPReply{399, ""}).isRefusal());
}

TEST(FTPReplyParser, GivesCodeAndText) {
  const auto replies = repliesIn("220 Ready.\r\n");
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0].code, 220);
  EXPECT_EQ(replies[0].text, "Ready.");
}

TEST(FTPReplyParser, AcceptsACodeWithoutTextAndLinesWithoutCarriageReturn) {
  const auto replies = repliesIn("200\r\n226\n331 \r\n250 Fine\n");
  ASSERT_EQ(replies.size(), 4U);
  EXPECT_EQ(replies[0].text, "");
  EXPECT_EQ(replies[1].code, 226);
  EXPECT_EQ(replies[2].text, "");
  EXPECT_EQ(replies[3].text, "Fine");
}

TEST(FTPReplyParser, JoinsTheLinesOfALongReply) {
  const auto replies = repliesIn("220-Welcome\r\n to the\r\n220-server\r\n\r\n220 Go on.\r\n");
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0].code, 220);
  EXPECT_EQ(replies[0].text, "Welcome\n to the\n220-server\n\nGo on.");
}

TEST(FTPReplyParser, EndsALongReplyOnlyAtItsOwnCodeAndASpace) {
  const auto replies = repliesIn("150-Begin\r\n226 not the end\r\n1500 nor this\r\n150-nor this\r\n150\r\n226 End\r\n");
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(replies[0].code, 150);
  EXPECT_EQ(replies[0].text, "Begin\n226 not the end\n1500 nor this\n150-nor this\n");
  EXPECT_EQ(replies[1].code, 226);
}

TEST(FTPReplyParser, GivesNothingBeforeTheLastLineIsComplete) {
  FTPReplyParser parser;
  parser.append("230-Hello\r\n230 Logged");
  EXPECT_FALSE(parser.next());
  parser.append(" in.\r");
  EXPECT_FALSE(parser.next());
  parser.append("\n");
  const auto reply = parser.next();
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->text, "Hello\nLogged in.");
}

TEST(FTPReplyParser, ReadsSingleBytesLikeWholePackets) {
  const std::string bytes = "220-One\r\ntwo\r\n220 three\r\n331 Password\r\n\r\n530 No.\n";
  FTPReplyParser parser;
  for (const char byte : bytes) parser.append({&byte, 1});
  const auto replies = takeAll(parser);
  ASSERT_EQ(replies.size(), 3U);
  EXPECT_EQ(replies[0].text, "One\ntwo\nthree");
  EXPECT_EQ(replies[1].code, 331);
  EXPECT_EQ(replies[2].text, "No.");
}

TEST(FTPReplyParser, FindsSeveralRepliesInOnePacketInTheirOrder) {
  const auto replies = repliesIn("150 Send\r\n226 Got it\r\n229 (|||7|)\r\n");
  ASSERT_EQ(replies.size(), 3U);
  EXPECT_EQ(replies[0].code, 150);
  EXPECT_EQ(replies[1].code, 226);
  EXPECT_EQ(replies[2].code, 229);
}

TEST(FTPReplyParser, PassesOverEmptyLinesBetweenReplies) { EXPECT_EQ(repliesIn("\r\n\n220 Ready\r\n\r\n").size(), 1U); }

TEST(FTPReplyParser, KeepsTheBeginningOfATextOfTenMegabytes) {
  FTPReplyParser parser;
  parser.append("220-");
  const std::string packet(16384, 'x');
  for (int i = 0; i < 640; ++i) parser.append(packet);
  for (int i = 0; i < 640; ++i) parser.append("\r\n" + packet.substr(2));
  parser.append("\r\n220 End\r\n331 Next\r\n");
  const auto replies = takeAll(parser);
  ASSERT_EQ(replies.size(), 2U);
  EXPECT_EQ(replies[0].text.size(), FTPReplyParser::maximumText);
  EXPECT_TRUE(replies[0].text.starts_with(std::string(FTPReplyParser::maximumText - 100, 'x')));
  EXPECT_LE(replies[0].text.capacity(), 4 * FTPReplyParser::maximumText);
  EXPECT_EQ(replies[1].text, "Next");
}

TEST(FTPReplyParser, GivesUpAReplyWithoutAnEnd) {
  EXPECT_TRUE(isDamagedBy(std::string(FTPReplyParser::maximumReply, 'x')));
  EXPECT_TRUE(isDamagedBy(std::string(FTPReplyParser::maximumReply, '\n')));
  EXPECT_TRUE(isDamagedBy("220-\n" + std::string(FTPReplyParser::maximumReply, '\n')));
  // Each reply has a limit of its own.
  FTPReplyParser parser;
  for (int i = 0; i < 5; ++i) parser.append("220 " + std::string(FTPReplyParser::maximumReply / 4, 'x') + "\r\n");
  EXPECT_FALSE(parser.isDamaged());
  EXPECT_EQ(takeAll(parser).size(), 5U);
}

TEST(FTPReplyParser, SeesTheCodeOfALineThatIsCut) {
  const auto replies = repliesIn("451 " + std::string(1 << 20, 'y') + "\r\n");
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0].code, 451);
  EXPECT_LE(replies[0].text.size(), FTPReplyParser::maximumText);
}

TEST(FTPReplyParser, KeepsNULsAndBytesThatAreNoText) {
  const std::string text("a\0b\xFF\x01", 5);
  const auto replies = repliesIn("550 " + text + "\r\n");
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0].text, text);
}

TEST(FTPReplyParser, SaysWhatIsNoReply) {
  EXPECT_TRUE(isDamagedBy("SSH-2.0-OpenSSH_9.2\r\n"));
  EXPECT_TRUE(isDamagedBy("HTTP/1.1 400 Bad Request\r\n"));
  EXPECT_TRUE(isDamagedBy("22\r\n"));
  EXPECT_TRUE(isDamagedBy("020 Too small\r\n"));
  EXPECT_TRUE(isDamagedBy("620 Too large\r\n"));
  EXPECT_TRUE(isDamagedBy("2200 Too long\r\n"));
  EXPECT_TRUE(isDamagedBy("2x0 Not a number\r\n"));
  EXPECT_TRUE(isDamagedBy(std::string("\0\0\0\n", 4)));
  EXPECT_TRUE(isDamagedBy(" 220 Ready\r\n"));
  EXPECT_FALSE(isDamagedBy("no line yet"));
}

TEST(FTPReplyParser, GivesTheRepliesBeforeTheDamageAndNoneAfterIt) {
  FTPReplyParser parser;
  parser.append("220 Ready\r\ngarbage\r\n230 In\r\n");
  EXPECT_TRUE(parser.isDamaged());
  const auto replies = takeAll(parser);
  ASSERT_EQ(replies.size(), 1U);
  EXPECT_EQ(replies[0].code, 220);
  parser.append("230 In\r\n");
  EXPECT_FALSE(parser.next());
}

TEST(FTPPortFromExtendedPassiveReply, TakesThePortBetweenItsDelimiters) {
  EXPECT_EQ(FTPPortFromExtendedPassiveReply({229, "Entering Extended Passive Mode (|||6446|)"}), 6446);
  EXPECT_EQ(FTPPortFromExtendedPassiveReply({229, "(!!!65535!)"}), 65535);
  EXPECT_EQ(FTPPortFromExtendedPassiveReply({229, "(|||1|)."}), 1);
}

TEST(FTPPortFromExtendedPassiveReply, RefusesWhatIsMalformed) {
  for (const char* text : {"", "(", "()", "(|||", "(||||)", "(|||0|)", "(|||65536|)", "(|||-1|)", "(||| 7|)", "(|||7)",
                           "(|||7", "|||7|", "(||7|)", "(|!|7|)", "(1117 1)",
                           "(\x01\x01\x01"
                           "7\x01)",
                           "(|||99999999999999999999|)"}) {
    EXPECT_EQ(FTPPortFromExtendedPassiveReply({229, text}), std::nullopt) << text;
  }
  EXPECT_EQ(FTPPortFromExtendedPassiveReply({227, "(|||6446|)"}), std::nullopt);
}

TEST(FTPPortFromPassiveReply, TakesThePortFromSixNumbers) {
  EXPECT_EQ(FTPPortFromPassiveReply({227, "Entering Passive Mode (127,0,0,1,4,1)."}), 1025);
  EXPECT_EQ(FTPPortFromPassiveReply({227, "Entering Passive Mode 10,1,2,3,255,255"}), 65535);
  EXPECT_EQ(FTPPortFromPassiveReply({227, "=0,0,0,0,0,1"}), 1);
  EXPECT_EQ(FTPPortFromPassiveReply({227, "Server 2.0, mode 1,2 (127,0,0,1,4,2)"}), 1026);
}

TEST(FTPPortFromPassiveReply, RefusesWhatIsMalformed) {
  for (const char* text : {"", "(127,0,0,1,0,0)", "(127,0,0,1,4)", "(127,0,0,1,4,)", "(127,0,0,1,256,1)",
                           "(127,0,0,1,4,-1)", "(127.0.0.1,4,1)", "(127,0,0,1, 4,1)", "no numbers"}) {
    EXPECT_EQ(FTPPortFromPassiveReply({227, text}), std::nullopt) << text;
  }
  EXPECT_EQ(FTPPortFromPassiveReply({229, "(127,0,0,1,4,1)"}), std::nullopt);
}

}  // namespace
