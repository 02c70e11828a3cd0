#include "cfnetwork/LimitTimer.h"

#include <algorithm>
#include <cmath>

inline namespace telvo {

namespace cfnetwork {

namespace {

constexpr NSTimeInterval longestInterval = 1;
constexpr int fewestSteps = 4;
constexpr NSTimeInterval lastTurn = 0.01;

}  // namespace

LimitTimer::LimitTimer(const Ref<NSRunLoop>& runLoop, std::function<void()> callback)
    : callback_(std::move(callback)), timer_(runLoop, [this] { step(); }) {}

// However late a step is served, it counts as one.
void LimitTimer::start(NSTimeInterval seconds) {
  stepsLeft_ = std::max(fewestSteps, static_cast<int>(std::ceil(seconds / longestInterval)));
  interval_ = seconds / stepsLeft_;
  timer_.fireAfter(interval_);
}

void LimitTimer::step() {
  if (--stepsLeft_ > 0) return timer_.fireAfter(interval_);
  // Another turn, so that what has come during the last step is served before this.
  if (stepsLeft_ == 0) return timer_.fireAfter(lastTurn);
  callback_();
}

}  // namespace cfnetwork

}  // namespace telvo
