#include <gtest/gtest.h>

#include "telvo/owner/Progress.h"
#include "telvo/owner/ProgressText.h"
#include "telvo/owner/Terminal.h"

namespace {

using telvo::Ending;
using telvo::Outcome;
using telvo::Verdict;

telvo::Record record(std::uint64_t nth, std::uint64_t total, Outcome outcome) {
  telvo::Record made;
  made.localPath = "/home/anna/Site/" + std::to_string(nth);
  made.nth = nth;
  made.total = total;
  made.isMore = nth < total;
  made.outcome = outcome;
  return made;
}

TEST(Progress, ARunIsCompleteWhenEverythingHasArrived) {
  telvo::Progress progress;
  progress.add(record(1, 2, Outcome::sent));
  progress.add(record(2, 2, Outcome::sent));
  EXPECT_EQ(progress.verdict(Ending::finished, false), Verdict::complete);
  EXPECT_EQ(progress.count(Outcome::sent), 2U);
}

TEST(Progress, NothingToSendIsComplete) {
  EXPECT_EQ(telvo::Progress().verdict(Ending::nothingToSend, false), Verdict::complete);
}

TEST(Progress, WhatFailedOrWasSkippedHasNotArrived) {
  for (const Outcome outcome : {Outcome::failed, Outcome::skipped}) {
    telvo::Progress progress;
    progress.add(record(1, 2, outcome));
    progress.add(record(2, 2, Outcome::sent));
    EXPECT_EQ(progress.verdict(Ending::finished, false), Verdict::incomplete);
    ASSERT_EQ(progress.failures().size(), 1U);
    EXPECT_EQ(progress.failures().begin()->first, 1U);
  }
}

TEST(Progress, WhatIsNotToldIsNotKnown) {
  telvo::Progress progress;
  progress.add(record(1, 2, Outcome::sent));
  progress.add(record(2, 2, Outcome::unknown));
  EXPECT_EQ(progress.verdict(Ending::finished, false), Verdict::unknown);
  EXPECT_EQ(progress.verdict(Ending::finished, true), Verdict::stopped);
  EXPECT_EQ(progress.verdict(Ending::helperEnded, false), Verdict::incomplete);
}

TEST(Progress, WhatArrivesAtALaterTryIsNoFailure) {
  telvo::Progress progress;
  telvo::Record first = record(1, 2, Outcome::failed);
  first.willRetry = true;
  progress.add(first);
  progress.add(record(2, 2, Outcome::sent));
  EXPECT_EQ(progress.failures().size(), 1U);
  progress.add(record(1, 2, Outcome::sent));
  EXPECT_TRUE(progress.failures().empty());
  EXPECT_EQ(progress.count(Outcome::failed), 0U);
  EXPECT_EQ(progress.verdict(Ending::finished, false), Verdict::complete);
}

TEST(Progress, AnAbortedRunWasRefusedOrDidNotReachTheServer) {
  telvo::Progress refused;
  telvo::Record last = record(1, 9, Outcome::failed);
  last.aborted = true;
  last.errorCode = 530;
  refused.add(last);
  EXPECT_EQ(refused.verdict(Ending::finished, false), Verdict::loginRefused);
  telvo::Progress unreached;
  last.errorCode = 0;
  unreached.add(last);
  EXPECT_EQ(unreached.verdict(Ending::finished, false), Verdict::notReached);
}

TEST(Progress, AStopInTheLastItemIsAStop) {
  telvo::Progress progress;
  progress.add(record(1, 2, Outcome::sent));
  progress.add(record(2, 2, Outcome::failed));
  EXPECT_EQ(progress.verdict(Ending::finished, true), Verdict::stopped);
}

TEST(Progress, AStopBeforeAnyItemIsAStop) {
  EXPECT_EQ(telvo::Progress().verdict(Ending::nothingToSend, true), Verdict::stopped);
}

TEST(Progress, AStopAfterTheLastRetryHasArrivedIsNone) {
  telvo::Progress progress;
  telvo::Record first = record(1, 2, Outcome::failed);
  first.willRetry = true;
  progress.add(first);
  progress.add(record(2, 2, Outcome::sent));
  EXPECT_EQ(progress.verdict(Ending::finished, true), Verdict::stopped);
  progress.add(record(1, 2, Outcome::sent));
  EXPECT_EQ(progress.verdict(Ending::finished, true), Verdict::complete);
}

TEST(Progress, AStopThatCameAfterEverythingHadArrivedIsNone) {
  telvo::Progress progress;
  progress.add(record(1, 1, Outcome::sent));
  EXPECT_EQ(progress.verdict(Ending::finished, true), Verdict::complete);
}

TEST(Progress, AHelperThatEndedAndALostBusAreIncomplete) {
  telvo::Progress progress;
  progress.add(record(1, 2, Outcome::sent));
  EXPECT_EQ(progress.verdict(Ending::helperEnded, false), Verdict::incomplete);
  EXPECT_EQ(progress.verdict(Ending::busLost, false), Verdict::incomplete);
}

TEST(Progress, PercentIsOfTheBytesWhereTheyAreTold) {
  telvo::Progress progress;
  progress.add(record(1, 2, Outcome::sent));
  EXPECT_EQ(progress.percent(), 50);
  telvo::Bytes bytes;
  bytes.runSent = 999;
  bytes.runTotal = 1000;
  progress.add(bytes);
  EXPECT_EQ(progress.percent(), 99);
}

TEST(Progress, DoesNotTakeTheLastItemForTheOneInProgress) {
  telvo::Progress progress;
  progress.add(record(1, 2, Outcome::sent));
  EXPECT_EQ(progress.path(), "/home/anna/Site/1");
  telvo::Bytes bytes;
  bytes.nth = 2;
  progress.add(bytes);
  EXPECT_EQ(progress.path(), "");
  EXPECT_EQ(progress.nth(), 2U);
}

TEST(Progress, IsNotMoreThanAllWhenAFileGrows) {
  telvo::Progress progress;
  telvo::Bytes bytes;
  bytes.runSent = 3000;
  bytes.runTotal = 1000;
  progress.add(bytes);
  EXPECT_EQ(progress.percent(), 100);
  EXPECT_LT(progress.secondsLeft(), 0);
}

telvo::Progress inTheMiddle(const std::string& path) {
  telvo::Progress progress;
  progress.add(record(2, 22, Outcome::sent));
  telvo::Bytes bytes;
  bytes.localPath = path;
  bytes.nth = 3;
  bytes.sent = 1'200'000;
  bytes.total = 3'400'000;
  bytes.runSent = 12'300'000;
  bytes.runTotal = 45'600'000;
  progress.add(bytes);
  return progress;
}

TEST(ProgressText, LeavesThreeColumnsFreeAtEveryWidth) {
  const std::string names[] = {"/home/anna/Site/index.html", "/日本語/とても長い名前のファイル.html",
                               "/a\u0301e\u0301o\u0301",     "/\xFF\xFE\x9B",
                               "/🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉🎉",  ""};
  for (const std::string& name : names) {
    const telvo::Progress progress = inTheMiddle(name);
    for (int columns = 20; columns <= 220; ++columns) {
      EXPECT_LE(telvo::columnsOf(telvo::progressText(progress, columns)), columns - 3) << name;
    }
  }
}

TEST(ProgressText, DoesSoOfAnEnormousRunToo) {
  telvo::Progress progress;
  progress.add(record(1'999'999, 2'000'000, Outcome::sent));
  telvo::Bytes bytes;
  bytes.localPath = "/home/anna/Site/index.html";
  bytes.nth = 2'000'000;
  for (int time = 0; time < 2; ++time) {
    bytes.sent = bytes.runSent += 123'456'789'012'345U;
    bytes.total = bytes.runTotal = 9'999'999'999'999'999U;
    progress.add(bytes);
    for (int columns = 20; columns <= 220; ++columns) {
      EXPECT_LE(telvo::columnsOf(telvo::progressText(progress, columns)), columns - 3);
    }
  }
}

TEST(ProgressText, TellsTheRunAndTheFileWhereThereIsRoom) {
  const std::string text = telvo::progressText(inTheMiddle("/home/anna/Site/index.html"), 200);
  EXPECT_EQ(text.substr(0, 3), "26%");
  for (const char* const part : {"3/22", "12.3", "45.6", "/home/anna/Site/index.html", "1.2", "3.4"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << " in " << text;
  }
}

TEST(ProgressText, KeepsPercentNumberAndTheEndOfThePathOnANarrowTerminal) {
  EXPECT_EQ(telvo::progressText(inTheMiddle("/home/anna/Site/index.html"), 20), "26%  3/22  x.html");
}

TEST(ErrorText, HasTheCodeOnceAndNothingThatATerminalObeys) {
  telvo::Record failed = record(1, 1, Outcome::failed);
  failed.error = "No \x1B[2Jspace\u009B1m";
  failed.errorCode = 452;
  EXPECT_EQ(telvo::errorText(failed), "452 No \uFFFD[2Jspace\uFFFD1m");
  failed.error = "452 No space";
  EXPECT_EQ(telvo::errorText(failed), "452 No space");
  failed.error = "No space\r\n452-  for this\n \n452-\nTry again ";
  EXPECT_EQ(telvo::errorText(failed), "452 No space for this Try again");
  failed.error = "\r\n";
  EXPECT_EQ(telvo::errorText(failed), "452 no reason is known");
  failed.errorCode = 0;
  failed.error = "- 1\n-2";
  EXPECT_EQ(telvo::errorText(failed), "- 1 -2");
  failed.error = "Connection refused";
  EXPECT_EQ(telvo::errorText(failed), "Connection refused");
}

}  // namespace
