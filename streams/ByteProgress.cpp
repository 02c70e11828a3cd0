#include "streams/ByteProgress.h"

inline namespace telvo {

namespace streams {

namespace {

constexpr std::chrono::milliseconds shortestInterval(250);

}  // namespace

void ByteProgress::beginItem(NSInteger total) {
  item_ = 0;
  itemTotal_ = total;
}

void ByteProgress::endItem(bool isTriedAgain) {
  if (!isTriedAgain) done_ += itemTotal_;
  item_ = 0;
  itemTotal_ = 0;
}

bool ByteProgress::isDue() {
  const auto now = std::chrono::steady_clock::now();
  if (now - lastTime_ < shortestInterval) return false;
  lastTime_ = now;
  return true;
}

}  // namespace streams

}  // namespace telvo
