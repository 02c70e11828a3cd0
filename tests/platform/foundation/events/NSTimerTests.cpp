#include <thread>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/events/NSTimer.h"

namespace {

class Bell : public NSObject {
  NS_OBJECT(Bell, NSObject)

 public:
  void ring(const Ref<NSTimer>& timer) {
    ++rings;
    lastUserInfo = timer ? timer->userInfo() : nil;
  }
  void ringWith(const id& object) {
    ++rings;
    lastUserInfo = object;
  }

  int rings = 0;
  id lastUserInfo;
};

Class Bell::classObject() {
  static const NSClass object("Bell", NSObject::classObject(),
                              {method("ring:"_sel, &Bell::ring), method("ringWith:"_sel, &Bell::ringWith)});
  return &object;
}

void runTurns(const std::function<bool()>& until) {
  for (int turn = 0; turn < 1000 && !until(); ++turn) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.05));
  }
}

TEST(NSTimer, FiresOnceWithItsUserInfoAndIsInvalidThen) {
  const auto bell = make<Bell>();
  const auto timer = NSTimer::scheduledTimerWithTimeInterval_target_selector_userInfo_repeats(0.01, bell, "ring:"_sel,
                                                                                              "hello"_ns, false);
  EXPECT_TRUE(timer->isValid());
  EXPECT_EQ(timer->timeInterval(), 0.0);
  runTurns([&] { return bell->rings > 0; });
  EXPECT_EQ(bell->rings, 1);
  EXPECT_EQ(bell->lastUserInfo, id("hello"_ns));
  EXPECT_FALSE(timer->isValid());
  EXPECT_EQ(timer->userInfo(), nil);
}

TEST(NSTimer, RepeatsUntilItIsInvalidated) {
  const auto bell = make<Bell>();
  const auto timer =
      NSTimer::scheduledTimerWithTimeInterval_target_selector_userInfo_repeats(0.001, bell, "ring:"_sel, nil, true);
  runTurns([&] { return bell->rings >= 3; });
  EXPECT_GE(bell->rings, 3);
  timer->invalidate();
  const int rings = bell->rings;
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.02));
  EXPECT_EQ(bell->rings, rings);
}

TEST(NSTimer, MayBeInvalidatedFromItsOwnCallback) {
  int calls = 0;
  NSTimer::scheduledTimerWithTimeInterval_repeats_block(0.001, true, [&](const Ref<NSTimer>& timer) {
    ++calls;
    timer->invalidate();
  });
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.02));
  EXPECT_EQ(calls, 1);
}

TEST(NSTimer, DoesNotFireAgainInsideItsOwnCallback) {
  int depth = 0;
  int deepest = 0;
  int calls = 0;
  const auto timer = NSTimer::scheduledTimerWithTimeInterval_repeats_block(0.001, true, [&](const Ref<NSTimer>&) {
    ++calls;
    deepest = std::max(deepest, ++depth);
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.01));
    --depth;
  });
  runTurns([&] { return calls >= 2; });
  timer->invalidate();
  EXPECT_EQ(deepest, 1);
}

TEST(NSTimer, KeepsItsTargetUntilItHasFired) {
  WeakRef<Bell> weak;
  {
    const auto bell = make<Bell>();
    weak = WeakRef<Bell>(bell);
    NSTimer::scheduledTimerWithTimeInterval_target_selector_userInfo_repeats(0.001, bell, "ring:"_sel, nil, false);
  }
  EXPECT_FALSE(weak.expired());
  runTurns([&] { return weak.expired(); });
  EXPECT_TRUE(weak.expired());
}

TEST(NSTimer, OfAThreadThatEndsLetsItsTargetGo) {
  WeakRef<Bell> weak;
  std::thread([&] {
    const auto bell = make<Bell>();
    weak = WeakRef<Bell>(bell);
    NSTimer::scheduledTimerWithTimeInterval_target_selector_userInfo_repeats(1000, bell, "ring:"_sel, nil, false);
  }).join();
  EXPECT_TRUE(weak.expired());
}

TEST(NSTimer, ExceptionOfTheCallbackPassesOutOfTheRunLoopAndTheNextRepetitionComes) {
  int calls = 0;
  const auto timer = NSTimer::scheduledTimerWithTimeInterval_repeats_block(0.001, true, [&](const Ref<NSTimer>&) {
    if (++calls == 1) NSException::raise_format(NSGenericException(), "first"_ns);
  });
  EXPECT_THROW(runTurns([&] { return calls >= 2; }), Ref<NSException>);
  runTurns([&] { return calls >= 2; });
  timer->invalidate();
  EXPECT_GE(calls, 2);
}

TEST(NSTimer, FiresByHandWithoutARunLoop) {
  const auto bell = make<Bell>();
  const auto timer = NSTimer::timerWithTimeInterval_target_selector_userInfo_repeats(1, bell, "ring:"_sel, nil, false);
  timer->fire();
  timer->fire();
  EXPECT_EQ(bell->rings, 1);
}

TEST(NSObjectPerforming, AfterADelayHappensInTheRunLoop) {
  const auto bell = make<Bell>();
  bell->performSelector_withObject_afterDelay("ringWith:"_sel, "later"_ns, 0.0);
  EXPECT_EQ(bell->rings, 0);
  runTurns([&] { return bell->rings > 0; });
  EXPECT_EQ(bell->lastUserInfo, id("later"_ns));
}

}  // namespace
