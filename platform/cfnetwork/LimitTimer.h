#pragma once

#include <functional>

#include "foundation/events/EventSource.h"

inline namespace telvo {

namespace cfnetwork {

// A limit to how long something may take. Only time in which the process runs and serves its loop counts, and whatever
// has come up to the end is served first: a process that was suspended does not find its limits over on waking up. On
// the loop's thread.
class LimitTimer {
 public:
  LimitTimer(const Ref<NSRunLoop>& runLoop, std::function<void()> callback);

  // From now on, in place of what was started before. The callback comes once.
  void start(NSTimeInterval seconds);
  void cancel() { timer_.cancel(); }

 private:
  void step();

  std::function<void()> callback_;
  foundation::TimerSource timer_;
  int stepsLeft_ = 0;
  NSTimeInterval interval_ = 0;
};

}  // namespace cfnetwork

}  // namespace telvo
