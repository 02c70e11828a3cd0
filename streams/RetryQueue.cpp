#include "streams/RetryQueue.h"

#include <algorithm>
#include <cmath>
#include <utility>

inline namespace telvo {

namespace streams {

namespace {

constexpr NSTimeInterval firstPause = 1;
constexpr NSTimeInterval longestPause = 60;

}  // namespace

NSUInteger RetryQueue::takeNext() {
  pause_ = 0;
  if (next_ == items_.size()) {
    items_ = std::exchange(failed_, {});
    next_ = 0;
    pause_ = std::min(firstPause * std::ldexp(1.0, static_cast<int>(std::min<NSUInteger>(round_, 16))), longestPause);
    ++round_;
  }
  return items_[next_++];
}

}  // namespace streams

}  // namespace telvo
