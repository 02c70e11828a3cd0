#pragma once

#include <chrono>

#include "foundation/runtime/NSObjCRuntime.h"

TELVO_NAMESPACE_BEGIN

namespace streams {

// A number of bytes a second that everything together keeps to. What a pause has left unused may be caught up on for a
// moment only, so that the rate holds over any few seconds. One thread at a time.
class RateLimit {
 public:
  using Clock = std::chrono::steady_clock;

  // More than 0 bytes a second.
  explicit RateLimit(NSUInteger bytesPerSecond, Clock::time_point now = Clock::now());

  // How many bytes may be moved now; 0 until there are enough for it to be worth it.
  NSUInteger allowance(Clock::time_point now = Clock::now());
  void spend(NSUInteger bytes) { saved_ -= static_cast<double>(bytes); }
  // In how many seconds allowance() gives more than 0.
  NSTimeInterval timeToNextAllowance(Clock::time_point now = Clock::now());

 private:
  void save(Clock::time_point now);

  double bytesPerSecond_;
  double saved_ = 0;  // bytes; negative when more was moved than was allowed
  Clock::time_point lastTime_;
};

}  // namespace streams

TELVO_NAMESPACE_END
