#pragma once

#include <chrono>

#include "foundation/runtime/NSObjCRuntime.h"

TELVO_INTERNAL_NAMESPACE_BEGIN

namespace streams {

// How far a run has come, in bytes, and when it is time to tell. An item that is tried again counts anew.
class ByteProgress {
 public:
  void expect(NSInteger runTotal) { runTotal_ = runTotal; }
  void beginItem(NSInteger total);
  void sent(NSInteger bytesOfItem) { item_ = bytesOfItem; }
  // An item that is tried again later has not contributed anything; one that is over has, whatever became of it, so
  // that the run reaches its total.
  void endItem(bool isTriedAgain);

  NSInteger itemSent() const { return item_; }
  NSInteger itemTotal() const { return itemTotal_; }
  NSInteger runSent() const { return done_ + item_; }
  NSInteger runTotal() const { return runTotal_; }

  // True at most four times a second.
  bool isDue();

 private:
  NSInteger item_ = 0;
  NSInteger itemTotal_ = 0;
  NSInteger done_ = 0;
  NSInteger runTotal_ = 0;
  std::chrono::steady_clock::time_point lastTime_;
};

}  // namespace streams

TELVO_INTERNAL_NAMESPACE_END
