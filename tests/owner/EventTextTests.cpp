#include <gtest/gtest.h>

#include "telvo/owner/EventText.h"
#include "telvo/owner/ProgressText.h"

namespace {

using telvo::Ending;
using telvo::Outcome;
using telvo::Security;
using telvo::Verdict;

telvo::Record record(std::uint64_t nth, std::uint64_t total, Outcome outcome) {
  telvo::Record made;
  made.localPath = "/home/anna/Site/" + std::to_string(nth);
  made.remoteDirectory = "/Site";
  made.nth = nth;
  made.total = total;
  made.outcome = outcome;
  return made;
}

telvo::Record removal(std::uint64_t nth, std::uint64_t total) {
  telvo::Record made = record(nth, total, Outcome::removed);
  made.isRemoval = true;
  return made;
}

telvo::Record abortedBy(int code) {
  telvo::Record made = record(2, 7, Outcome::failed);
  made.aborted = true;
  made.errorCode = code;
  return made;
}

TEST(EventText, LeavesOutWhatIsEmptyOrFalse) {
  EXPECT_EQ(telvo::readyEvent("1.0"), R"({"event":"ready","version":"1.0"})");
  EXPECT_EQ(telvo::readyEvent(""), R"({"event":"ready"})");
  EXPECT_EQ(telvo::itemEvent(record(2, 7, Outcome::sent)),
            R"({"event":"item","path":"/home/anna/Site/2","remoteDirectory":"/Site","nth":2,"total":7,)"
            R"("outcome":"sent","errorCode":0})");
}

TEST(EventText, TellsWhatHasFailedAndWillBeTriedAgain) {
  telvo::Record failed = record(2, 7, Outcome::failed);
  failed.error = "452 The disk is full.";
  failed.errorCode = 452;
  failed.willRetry = true;
  EXPECT_EQ(telvo::itemEvent(failed),
            R"({"event":"item","path":"/home/anna/Site/2","remoteDirectory":"/Site","nth":2,"total":7,)"
            R"("outcome":"failed","error":"452 The disk is full.","errorCode":452,"willRetry":true})");
}

TEST(EventText, EscapesWhatJsonDoesNotTakeAsItIs) {
  telvo::Record odd = record(1, 1, Outcome::sent);
  odd.localPath = "/a\"b\\c\n\x01\x1f\xc3\xa9";
  EXPECT_NE(telvo::itemEvent(odd).find(R"("path":"/a\"b\\c\u000a\u0001\u001f)"
                                       "\xc3\xa9\""),
            std::string::npos);
}

TEST(EventText, TellsOfBytesAndOfTheEnd) {
  telvo::Bytes bytes;
  bytes.localPath = "/a";
  bytes.nth = 3;
  bytes.sent = 5;
  bytes.total = 9;
  bytes.runSent = 50;
  bytes.runTotal = 90;
  EXPECT_EQ(telvo::bytesEvent(bytes),
            R"({"event":"bytes","path":"/a","nth":3,"sent":5,"total":9,"runSent":50,"runTotal":90})");

  telvo::Progress progress;
  progress.add(removal(1, 3));
  progress.add(record(2, 3, Outcome::sent));
  progress.add(record(3, 3, Outcome::failed));
  EXPECT_EQ(telvo::endEvent(progress, Verdict::incomplete),
            R"({"event":"end","status":1,"sent":1,"removed":1,"notArrived":1})");
}

TEST(EndOfARun, CountsWhatWasNotEvenTried) {
  telvo::Progress progress;
  progress.add(record(1, 7, Outcome::sent));
  progress.add(abortedBy(530));
  EXPECT_EQ(progress.notArrived(Verdict::loginRefused), 6U);
  EXPECT_EQ(progress.notArrived(Verdict::notReached), 6U);
  EXPECT_EQ(progress.notArrived(Verdict::stopped), 1U);
}

TEST(EndOfARun, HasAStatusOfItsOwnForEachVerdictThatMatters) {
  EXPECT_EQ(telvo::exitStatus(Verdict::complete), 0);
  EXPECT_EQ(telvo::exitStatus(Verdict::incomplete), 1);
  EXPECT_EQ(telvo::exitStatus(Verdict::loginRefused), 3);
  EXPECT_EQ(telvo::exitStatus(Verdict::notReached), 4);
  EXPECT_EQ(telvo::exitStatus(Verdict::stopped), 130);
  EXPECT_EQ(telvo::exitStatus(Verdict::unknown), 1);
}

TEST(EndOfARun, IsSummedUpInNumbers) {
  telvo::Progress progress;
  EXPECT_EQ(telvo::summaryText(progress), "");
  progress.add(removal(1, 3));
  progress.add(record(2, 3, Outcome::sent));
  progress.add(record(3, 3, Outcome::failed));
  EXPECT_EQ(telvo::summaryText(progress), "1 sent, 1 removed.");
  telvo::Progress planned;
  planned.add(record(1, 1, Outcome::planned));
  EXPECT_EQ(telvo::summaryText(planned), "1 to send.");
}

TEST(EndOfARun, IsExplainedWhenItCameTooSoon) {
  const telvo::Progress none;
  EXPECT_EQ(telvo::endingText(none, Ending::finished, Verdict::complete, Security::none), "");
  EXPECT_EQ(telvo::endingText(none, Ending::finished, Verdict::incomplete, Security::none), "");
  EXPECT_EQ(telvo::endingText(none, Ending::finished, Verdict::stopped, Security::none),
            "stopped before the first item");
  telvo::Progress some;
  some.add(record(3, 7, Outcome::sent));
  EXPECT_EQ(telvo::endingText(some, Ending::finished, Verdict::stopped, Security::none), "stopped in item 3 of 7");
  EXPECT_EQ(telvo::endingText(some, Ending::finished, Verdict::loginRefused, Security::none),
            "the server refused the login; nothing more was tried");
  EXPECT_EQ(telvo::endingText(some, Ending::finished, Verdict::loginRefused, Security::tls),
            "the server refused encryption or the login; nothing more was tried");
  EXPECT_EQ(telvo::endingText(some, Ending::finished, Verdict::notReached, Security::none),
            "the server was not reached; nothing more was tried");
  EXPECT_EQ(telvo::endingText(some, Ending::finished, Verdict::notReached, Security::implicit),
            "the server was not reached, or not securely; nothing more was tried");
  EXPECT_NE(telvo::endingText(some, Ending::helperEnded, Verdict::incomplete, Security::none), "");
  EXPECT_NE(telvo::endingText(some, Ending::busLost, Verdict::incomplete, Security::none), "");
}

TEST(ItemText, TellsWhyAnItemHasFailed) {
  EXPECT_EQ(telvo::itemText(record(3, 7, Outcome::sent)), "3 of 7 /home/anna/Site/3: sent");
  telvo::Record failed = record(3, 7, Outcome::failed);
  failed.error = "The disk is full.";
  failed.errorCode = 452;
  EXPECT_EQ(telvo::itemText(failed), "3 of 7 /home/anna/Site/3: failed: 452 The disk is full.");
}

}  // namespace
