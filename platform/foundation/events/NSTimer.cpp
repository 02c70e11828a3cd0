#include "foundation/events/NSTimer.h"

#include <cmath>
#include <utility>

#include "foundation/errors/NSException.h"
#include "foundation/events/EventSource.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/events/RunLoopContext.h"

inline namespace telvo {

namespace {

constexpr NSTimeInterval shortestInterval = 0.0001;
constexpr NSTimeInterval longestInterval = 1e9;

NSTimeInterval bounded(NSTimeInterval interval) {
  return std::fmin(std::fmax(interval, shortestInterval), longestInterval);
}

}  // namespace

Class NSTimer::classObject() {
  static const NSClass object("NSTimer", NSObject::classObject(),
                              {
                                  method("fire"_sel, &NSTimer::fire),
                                  method("invalidate"_sel, &NSTimer::invalidate),
                                  method("isValid"_sel, &NSTimer::isValid),
                                  method("timeInterval"_sel, &NSTimer::timeInterval),
                                  method("userInfo"_sel, &NSTimer::userInfo),
                              });
  return &object;
}

NSTimer::NSTimer(NSTimeInterval interval, bool repeats, id userInfo, Block block)
    : interval_(bounded(interval)), repeats_(repeats), userInfo_(std::move(userInfo)), block_(std::move(block)) {}

NSTimer::~NSTimer() = default;

Ref<NSTimer> NSTimer::timerWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval, const id& target,
                                                                             SEL selector, const id& userInfo,
                                                                             bool repeats) {
  return make<NSTimer>(interval, repeats, userInfo, [target, selector](const Ref<NSTimer>& timer) {
    if (target) target->performSelector_withObject(selector, timer);
  });
}

Ref<NSTimer> NSTimer::scheduledTimerWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval,
                                                                                      const id& target, SEL selector,
                                                                                      const id& userInfo,
                                                                                      bool repeats) {
  const auto timer =
      timerWithTimeInterval_target_selector_userInfo_repeats(interval, target, selector, userInfo, repeats);
  NSRunLoop::currentRunLoop()->addTimer_forMode(timer, NSDefaultRunLoopMode());
  return timer;
}

Ref<NSTimer> NSTimer::scheduledTimerWithTimeInterval_repeats_block(NSTimeInterval interval, bool repeats, Block block) {
  const auto timer = make<NSTimer>(interval, repeats, nil, std::move(block));
  NSRunLoop::currentRunLoop()->addTimer_forMode(timer, NSDefaultRunLoopMode());
  return timer;
}

void NSTimer::scheduleInRunLoop(const Ref<NSRunLoop>& runLoop) {
  if (!valid_ || runLoop_) return;
  runLoop_ = runLoop;
  runLoop->context().timers.emplace(this);
  source_ = std::make_unique<foundation::TimerSource>(runLoop, [this] { fireFromRunLoop(); });
  fireTime_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(interval_));
  awaitFireTime();
}

void NSTimer::awaitFireTime() { source_->fireAfter(std::chrono::duration<double>(fireTime_ - Clock::now()).count()); }

void NSTimer::fireFromRunLoop() {
  const Ref<NSTimer> keptAlive(this);
  // Rearmed only after the callback, so that a run loop inside it does not fire the timer again.
  struct Rearm {
    NSTimer& timer;
    ~Rearm() {
      if (!timer.source_ || !timer.repeats_) return;
      const auto interval = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timer.interval_));
      const auto now = Clock::now();
      // The times stay a multiple of the interval from the first one; those that were missed are left out.
      const auto missed = now > timer.fireTime_ ? (now - timer.fireTime_) / interval : 0;
      timer.fireTime_ += interval * (missed + 1);
      timer.awaitFireTime();
    }
  };
  const Rearm rearm{*this};
  fire();
}

void NSTimer::fire() {
  if (!valid_) return;
  const Ref<NSTimer> keptAlive(this);
  struct InvalidateUnlessRepeating {
    NSTimer& timer;
    ~InvalidateUnlessRepeating() {
      if (!timer.repeats_) timer.invalidate();
    }
  };
  const InvalidateUnlessRepeating after{*this};
  const Block block = block_;  // the callback may invalidate the timer, and with it the original
  block(keptAlive);
}

void NSTimer::invalidate() {
  const Ref<NSTimer> keptAlive(this);
  valid_ = false;
  source_.reset();
  if (const auto runLoop = std::exchange(runLoop_, nil)) runLoop->context().timers.erase(keptAlive);
  // Dropped last: the destructors of what they held may come back to this timer.
  const id userInfo = std::exchange(userInfo_, nil);
  const Block block = std::exchange(block_, nullptr);
}

}  // namespace telvo
