#include "streams/RateLimit.h"

#include <algorithm>
#include <cmath>

inline namespace telvo {

namespace streams {

namespace {

// What a step moves at least, and what can be saved up, in seconds of the rate.
constexpr double shortestStep = 0.02;
constexpr double longestSaving = 0.1;

}  // namespace

RateLimit::RateLimit(NSUInteger bytesPerSecond, Clock::time_point now)
    : bytesPerSecond_(static_cast<double>(bytesPerSecond)), lastTime_(now) {}

void RateLimit::save(Clock::time_point now) {
  const double seconds = std::chrono::duration<double>(now - lastTime_).count();
  // At slow rates a whole byte takes longer than a step.
  const double most = std::max(bytesPerSecond_ * longestSaving, 1.0);
  saved_ = std::min(saved_ + seconds * bytesPerSecond_, most);
  lastTime_ = now;
}

NSUInteger RateLimit::allowance(Clock::time_point now) {
  save(now);
  const double least = std::max(bytesPerSecond_ * shortestStep, 1.0);
  return saved_ < least ? 0 : static_cast<NSUInteger>(saved_);
}

NSTimeInterval RateLimit::timeToNextAllowance(Clock::time_point now) {
  save(now);
  const double least = std::max(bytesPerSecond_ * shortestStep, 1.0);
  return std::max((least - saved_) / bytesPerSecond_, 0.001);
}

}  // namespace streams

}  // namespace telvo
