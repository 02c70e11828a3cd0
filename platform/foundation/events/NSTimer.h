#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSRunLoop;

namespace foundation {
class TimerSource;
}

// Calls back from a run loop after an interval, once or again and again. The run loop owns the timer while it is
// scheduled, and the timer owns its target and user information, until it is invalidated; one that does not repeat
// invalidates itself after it has fired. Timers of a thread that ends are invalidated. On the thread of its run loop
// only.
class NSTimer : public NSObject {
  NS_OBJECT(NSTimer, NSObject)

 public:
  using Block = std::function<void(const Ref<NSTimer>&)>;
  NSTimer(NSTimeInterval interval, bool repeats, id userInfo, Block block);
  ~NSTimer() override;

  // Sends the selector to the target with the timer as its argument. An interval of 0 or less counts as 0.1 ms.
  static Ref<NSTimer> timerWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval, const id& target,
                                                                             SEL selector, const id& userInfo,
                                                                             bool repeats);
  // The same, added to the current run loop.
  static Ref<NSTimer> scheduledTimerWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval,
                                                                                      const id& target, SEL selector,
                                                                                      const id& userInfo, bool repeats);
  static Ref<NSTimer> scheduledTimerWithTimeInterval_repeats_block(NSTimeInterval interval, bool repeats, Block block);

  // Calls back now; a timer that does not repeat is invalidated, one that does keeps its times.
  void fire();
  // Ends the callbacks, for good. An invalid timer can be invalidated again.
  void invalidate();
  bool isValid() const { return valid_; }

  NSTimeInterval timeInterval() const { return repeats_ ? interval_ : 0.0; }
  const id& userInfo() const { return userInfo_; }  // nil once the timer is invalid

 private:
  friend class NSRunLoop;
  using Clock = std::chrono::steady_clock;
  void scheduleInRunLoop(const Ref<NSRunLoop>& runLoop);
  void fireFromRunLoop();
  void awaitFireTime();

  NSTimeInterval interval_;
  bool repeats_;
  bool valid_ = true;
  id userInfo_;
  Block block_;
  Clock::time_point fireTime_;
  Ref<NSRunLoop> runLoop_;  // while scheduled
  std::unique_ptr<foundation::TimerSource> source_;
};

TELVO_NAMESPACE_END
