#include <gtest/gtest.h>

#include "telvo/owner/Terminal.h"

namespace {

TEST(Harmless, LeavesWhatATerminalShows) {
  for (const char* const text : {"", "plain text", "Größe", "日本語", "e\u0301", "🎉", "a\u00A0b"}) {
    EXPECT_EQ(telvo::harmless(text), text);
  }
}

TEST(Harmless, TakesWhatATerminalObeys) {
  EXPECT_EQ(telvo::harmless("a\tb\nc\rd\x1B[31me\x7F"), "a\uFFFDb\uFFFDc\uFFFDd\uFFFD[31me\uFFFD");
  EXPECT_EQ(telvo::harmless("\u009B31m\u0085\u0080"), "\uFFFD31m\uFFFD\uFFFD");
  EXPECT_EQ(telvo::harmless("\u202Etxt.exe\u2028\u2029\u200B"), "\uFFFDtxt.exe\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(telvo::harmless(std::string("a\0b", 3)), "a\uFFFDb");
}

TEST(Harmless, TakesBytesThatAreNoText) {
  EXPECT_EQ(telvo::harmless("a\xFF\x9Bz"), "a\uFFFD\uFFFDz");
  EXPECT_EQ(telvo::harmless("\xE6\x97"), "\uFFFD\uFFFD");
}

TEST(Columns, AreWhatATerminalTakes) {
  EXPECT_EQ(telvo::columnsOf("abc"), 3);
  EXPECT_EQ(telvo::columnsOf("日本"), 4);
  EXPECT_EQ(telvo::columnsOf("e\u0301"), 1);
  EXPECT_EQ(telvo::columnsOf("🎉"), 2);
}

TEST(Ending, IsTheWholeTextWhereItFits) { EXPECT_EQ(telvo::ending("abcdef", 6), "abcdef"); }

TEST(Ending, SaysThatSomethingIsMissing) { EXPECT_EQ(telvo::ending("/home/anna/x.txt", 10), "...a/x.txt"); }

TEST(Ending, DoesNotCutAnIdeographInHalf) {
  EXPECT_EQ(telvo::ending("日本語日本語", 9), "...日本語");
  EXPECT_EQ(telvo::ending("日本語日本語", 10), "...日本語");
  EXPECT_EQ(telvo::ending("日本語日本語", 11), "...語日本語");
}

TEST(Ending, DoesNotBeginWithAnAccent) { EXPECT_EQ(telvo::ending("xxxxxxe\u0301abc", 3), "abc"); }

TEST(Ending, IsShortWhereThereIsNoRoomForDots) {
  EXPECT_EQ(telvo::ending("abcdef", 4), "cdef");
  EXPECT_EQ(telvo::ending("日本", 1), "");
  EXPECT_EQ(telvo::ending("abc", 0), "");
  EXPECT_EQ(telvo::ending("abc", -3), "");
}

}  // namespace
