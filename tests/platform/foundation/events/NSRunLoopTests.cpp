#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/events/RunLoopContext.h"

namespace {

Ref<NSRunLoop> loop() { return NSRunLoop::currentRunLoop(); }
void turn(const Ref<NSDate>& limit = nil) { loop()->runMode_beforeDate(NSDefaultRunLoopMode(), limit); }

TEST(NSRunLoop, RunsOneBlockATurnInOrder) {
  std::string order;
  for (const char name : {'a', 'b', 'c'}) loop()->performBlock([&order, name] { order += name; });
  turn();
  EXPECT_EQ(order, "a");
  turn();
  EXPECT_EQ(order, "ab");
  turn();
  turn();
  EXPECT_EQ(order, "abc");
}

TEST(NSRunLoop, ABlockThatRunsTheLoopFindsTheFollowingOnes) {
  std::string order;
  loop()->performBlock([&] {
    order += "(";
    turn();
    order += ")";
  });
  loop()->performBlock([&] { order += "inner"; });
  turn();
  EXPECT_EQ(order, "(inner)");
}

TEST(NSRunLoop, ATurnWithoutALimitDoesNotWait) {
  bool fired = false;
  const auto timer =
      NSTimer::scheduledTimerWithTimeInterval_repeats_block(0.2, false, [&](const Ref<NSTimer>&) { fired = true; });
  turn();
  turn(NSDate::dateWithTimeIntervalSinceNow(-5));
  EXPECT_FALSE(fired);
  // But it waits up to a limit: one turn is enough for the timer to come.
  turn(NSDate::dateWithTimeIntervalSinceNow(60));
  EXPECT_TRUE(fired);
}

TEST(NSRunLoop, ATurnEndsAtItsLimit) {
  bool fired = false;
  const auto timer =
      NSTimer::scheduledTimerWithTimeInterval_repeats_block(60, false, [&](const Ref<NSTimer>&) { fired = true; });
  turn(NSDate::dateWithTimeIntervalSinceNow(0.05));
  EXPECT_FALSE(fired);
  timer->invalidate();
}

TEST(NSRunLoop, RunsUntilADateAndNoLonger) {
  int turns = 0;
  const auto timer =
      NSTimer::scheduledTimerWithTimeInterval_repeats_block(0.01, true, [&](const Ref<NSTimer>&) { ++turns; });
  const auto end = NSDate::dateWithTimeIntervalSinceNow(0.2);
  loop()->runUntilDate(end);
  EXPECT_LE(end->timeIntervalSinceNow(), 0);
  EXPECT_GT(turns, 1);
  timer->invalidate();
  loop()->runUntilDate(nil);
  // A date that has passed is one turn.
  bool ran = false;
  loop()->performBlock([&] { ran = true; });
  loop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(-1));
  EXPECT_TRUE(ran);
}

TEST(NSRunLoop, AnExceptionLeavesTheTurnAndTheNextBlockRuns) {
  bool ran = false;
  loop()->performBlock([] { NSException::raise_format("Test"_ns, "on purpose"_ns); });
  loop()->performBlock([&] { ran = true; });
  EXPECT_THROW(turn(), Ref<NSException>);
  EXPECT_FALSE(ran);
  turn();
  EXPECT_TRUE(ran);
}

TEST(NSRunLoop, EachThreadHasItsOwn) {
  const auto main = NSRunLoop::mainRunLoop();
  EXPECT_EQ(loop(), main);
  bool differs = false;
  bool stays = false;
  std::thread([&] {
    differs = loop() != main;
    stays = loop() == loop();
    EXPECT_EQ(NSRunLoop::mainRunLoop(), main);
  }).join();
  EXPECT_TRUE(differs && stays);
}

TEST(NSRunLoop, ABlockFromAnotherThreadEndsAWaitingTurn) {
  bool ran = false;
  std::thread([&, main = NSRunLoop::mainRunLoop()] { main->performBlock([&] { ran = true; }); }).join();
  turn(NSDate::dateWithTimeIntervalSinceNow(60));
  EXPECT_TRUE(ran);
}

TEST(NSRunLoop, KnowsItsTimersUntilTheyAreOver) {
  const auto& timers = loop()->context().timers;
  const std::size_t before = timers.size();
  const auto timer = NSTimer::scheduledTimerWithTimeInterval_repeats_block(60, true, [](const Ref<NSTimer>&) {});
  EXPECT_EQ(timers.size(), before + 1);
  loop()->context().invalidateTimers();
  EXPECT_TRUE(timers.empty());
  EXPECT_FALSE(timer->isValid());
}

}  // namespace
