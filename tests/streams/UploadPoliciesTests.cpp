// When something is tried again, how fast bytes may go, and what a file is called meanwhile.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cfnetwork/FTPErrors.h"
#include "foundation/Foundation.h"
#include "streams/ItemOutcome.h"
#include "streams/RateLimit.h"
#include "streams/RetryQueue.h"
#include "streams/RunIdentity.h"
#include "streams/TemporaryName.h"

namespace {

using std::chrono::milliseconds;
using streams::ItemOutcome;
using streams::RateLimit;
using streams::RetryQueue;
using streams::RunIdentity;

// ---- Further tries ----

TEST(RetryQueue, OneAttemptIsNoRetry) {
  EXPECT_FALSE(RetryQueue().mayRetry());
  EXPECT_FALSE(RetryQueue(0).mayRetry());
  EXPECT_TRUE(RetryQueue().isEmpty());
}

TEST(RetryQueue, RoundsFollowOneAnotherWithGrowingPauses) {
  RetryQueue queue(3);
  queue.add(4);
  queue.add(7);
  EXPECT_EQ(queue.takeNext(), 4U);
  EXPECT_EQ(queue.pause(), 1.0);
  EXPECT_TRUE(queue.mayRetry());
  queue.add(4);
  EXPECT_EQ(queue.takeNext(), 7U);
  EXPECT_EQ(queue.pause(), 0.0);
  EXPECT_FALSE(queue.isEmpty());
  EXPECT_EQ(queue.takeNext(), 4U);
  EXPECT_EQ(queue.pause(), 2.0);
  EXPECT_FALSE(queue.mayRetry());
  EXPECT_TRUE(queue.isEmpty());
}

TEST(RetryQueue, PausesDoNotGrowForEver) {
  RetryQueue queue(100);
  for (int round = 0; round < 50; ++round) {
    queue.add(1);
    queue.takeNext();
    EXPECT_LE(queue.pause(), 60.0);
  }
  EXPECT_EQ(queue.pause(), 60.0);
}

// ---- The rate ----

// How many bytes go through in `steps` steps of a millisecond, taking whatever is allowed.
std::size_t moved(RateLimit& limit, RateLimit::Clock::time_point& now, int steps) {
  std::size_t bytes = 0;
  for (int step = 0; step < steps; ++step) {
    now += milliseconds(1);
    const NSUInteger allowed = limit.allowance(now);
    limit.spend(allowed);
    bytes += allowed;
  }
  return bytes;
}

TEST(RateLimit, TheRateIsKept) {
  for (const NSUInteger rate : {1U, 10U, 1000U, 1000000U, 100000000U}) {
    RateLimit::Clock::time_point now;
    RateLimit limit(rate, now);
    const double expected = 10.0 * static_cast<double>(rate);
    EXPECT_NEAR(static_cast<double>(moved(limit, now, 10000)), expected, std::max(0.01 * expected, 1.0)) << rate;
  }
}

TEST(RateLimit, APauseIsNotMadeUpFor) {
  RateLimit::Clock::time_point now;
  RateLimit limit(1000, now);
  now += std::chrono::hours(1);
  EXPECT_LE(limit.allowance(now), 100U);
}

TEST(RateLimit, WhatWentTooFarIsWaitedFor) {
  RateLimit::Clock::time_point now;
  RateLimit limit(1000, now);
  limit.spend(500);
  EXPECT_EQ(limit.allowance(now), 0U);
  EXPECT_NEAR(limit.timeToNextAllowance(now), 0.52, 0.001);
  now += milliseconds(530);
  EXPECT_GT(limit.allowance(now), 0U);
}

// ---- Temporary names ----

constexpr const char* run = "0123456789abcdef";

std::string temporary(const std::string& name) {
  return streams::temporaryName(NSString::stringWithUTF8String(name), run)->UTF8String();
}

TEST(TemporaryName, StandsBesideTheName) {
  EXPECT_EQ(temporary("page.html"), ".page.html.0123456789abcdef.telvo-part");
}

TEST(TemporaryName, IsNeverTooLong) {
  for (const std::size_t length : {200U, 226U, 227U, 240U, 255U}) {
    EXPECT_LE(temporary(std::string(length, 'x')).size(), 255U) << length;
  }
  EXPECT_NE(temporary(std::string(254, 'x') + "a"), temporary(std::string(254, 'x') + "b"));
}

TEST(TemporaryName, DoesNotCutACharacter) {
  std::string name;
  for (int index = 0; index < 127; ++index) name += "\xC3\xBC";
  const auto text = streams::temporaryName(NSString::stringWithUTF8String(name), run);
  for (const char16_t unit : text->units()) EXPECT_FALSE(unit >= 0xDC80 && unit <= 0xDCFF);
}

// ---- What tells runs apart ----

TEST(RunIdentity, IsTheSameInTheNextRunOfTheSameUpload) {
  std::string first;
  for (int i = 0; i < 3; ++i) {
    const RunIdentity identity("/a/Site", "host user /");
    EXPECT_EQ(identity.text().size(), 16U);
    if (i == 0) first = identity.text();
    EXPECT_EQ(identity.text(), first);
  }
}

TEST(RunIdentity, IsAnotherOneForAnotherUpload) {
  const RunIdentity identity("/a/Site", "host user /");
  EXPECT_NE(RunIdentity("/b/Site", "host user /").text(), identity.text());
  EXPECT_NE(RunIdentity("/a/Site", "host user /www").text(), identity.text());
  EXPECT_NE(RunIdentity("/a/Sitehost user", "/").text(), identity.text());
}

// However many there are.
TEST(RunIdentity, IsNotSharedByTwoRunsAtATime) {
  std::vector<RunIdentity> runs;
  std::set<std::string> texts;
  for (int i = 0; i < 20; ++i) texts.insert(runs.emplace_back("/a/Site", "host user /many").text());
  EXPECT_EQ(texts.size(), 20U);
  const std::string first = runs.front().text();
  runs.erase(runs.begin());
  EXPECT_EQ(RunIdentity("/a/Site", "host user /many").text(), first);
}

// ---- Outcomes ----

Ref<NSError> reply(NSInteger code, bool isBeforeLogin = false, const Ref<NSString>& words = "The server's words"_ns) {
  const auto error = NSError::errorWithDomain_code_userInfo(
      kCFErrorDomainCFNetwork(), kCFFTPErrorUnexpectedStatusCode,
      NSDictionary::dictionary(
          {{kCFFTPStatusCodeKey(), NSNumber::numberWithInteger(code)}, {NSLocalizedDescriptionKey(), words}}));
  return isBeforeLogin ? cfnetwork::errorBeforeLogin(error) : error;
}

TEST(ItemOutcome, AServersReplyIsTold) {
  const auto outcome = ItemOutcome::failure(reply(553));
  EXPECT_EQ(outcome.error->UTF8String(), "The server's words");
  EXPECT_EQ(outcome.replyCode, 553);
  EXPECT_FALSE(outcome.isPassing);
  EXPECT_FALSE(outcome.endsRun);
  EXPECT_EQ(outcome.name()->UTF8String(), "failed");
}

TEST(ItemOutcome, FourHundredsPass) {
  EXPECT_TRUE(ItemOutcome::failure(reply(452)).isPassing);
  EXPECT_TRUE(ItemOutcome::failure(reply(421, true)).isPassing);
  EXPECT_FALSE(ItemOutcome::failure(reply(421, true)).endsRun);
}

TEST(ItemOutcome, WithoutALoginNothingGoes) {
  EXPECT_TRUE(ItemOutcome::failure(reply(530)).endsRun);
  EXPECT_TRUE(ItemOutcome::failure(reply(503, true)).endsRun);
  EXPECT_TRUE(ItemOutcome::failure(reply(430, true)).endsRun);
  EXPECT_FALSE(ItemOutcome::failure(reply(503)).endsRun);
}

// In Pure-FTPd's words, and as other servers might say it.
TEST(ItemOutcome, AServerThatTakesNoLoginInTheClearEndsTheRunWithoutACodeForThat) {
  for (const auto& words : {"Sorry, cleartext sessions and weak ciphers are not accepted on this server."_ns,
                            "Use TLS"_ns, "SSL is required"_ns, "Only Encrypted connections"_ns}) {
    EXPECT_TRUE(ItemOutcome::failure(reply(421, true, words)).endsRun) << words->UTF8String();
    EXPECT_FALSE(ItemOutcome::failure(reply(421, false, words)).endsRun) << words->UTF8String();
  }
  EXPECT_FALSE(ItemOutcome::failure(reply(421, true, "50 users (the maximum) are already logged in"_ns)).endsRun);
}

TEST(ItemOutcome, WhoCannotBeReachedEndsTheRun) {
  const auto refused = NSError::errorWithPOSIXCode(ECONNREFUSED);
  EXPECT_TRUE(ItemOutcome::failure(cfnetwork::errorBeforeLogin(refused)).endsRun);
  EXPECT_FALSE(ItemOutcome::failure(refused).endsRun);
  EXPECT_TRUE(ItemOutcome::failure(refused).isPassing);
  const auto lost = cfnetwork::errorWithCode(kCFURLErrorNetworkConnectionLost, "lost");
  EXPECT_FALSE(ItemOutcome::failure(cfnetwork::errorBeforeLogin(lost)).endsRun);
  EXPECT_TRUE(ItemOutcome::failure(lost).isPassing);
}

TEST(ItemOutcome, FilesOfThisMachineDoNotPass) {
  const auto outcome = ItemOutcome::failure(NSError::errorWithPOSIXCode(EACCES));
  EXPECT_EQ(outcome.error->UTF8String(), "Permission denied");
  EXPECT_EQ(outcome.replyCode, 0);
  EXPECT_FALSE(outcome.isPassing);
  EXPECT_FALSE(outcome.endsRun);
}

}  // namespace
