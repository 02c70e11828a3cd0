#pragma once

#include <vector>

#include "foundation/runtime/NSObjCRuntime.h"

TELVO_INTERNAL_NAMESPACE_BEGIN

namespace streams {

// Which items of a plan, by their index, are tried again: all that have failed so far, in the plan's order, once the
// plan is through, then those of them that have failed again, with a pause before each such round that grows.
class RetryQueue {
 public:
  // How often an item is tried in all, at least once.
  explicit RetryQueue(NSUInteger attempts = 1) : attempts_(attempts) {}

  // Whether what fails in the present round can be tried in another one.
  bool mayRetry() const { return round_ + 1 < attempts_; }
  void add(NSUInteger index) { failed_.push_back(index); }
  // What has failed in the present round and is tried again.
  const std::vector<NSUInteger>& failed() const { return failed_; }

  bool isEmpty() const { return next_ == items_.size() && failed_.empty(); }
  // Not when empty. Begins the next round when this one is through.
  NSUInteger takeNext();
  // How long to wait, in seconds, before the item that was taken last.
  NSTimeInterval pause() const { return pause_; }

 private:
  NSUInteger attempts_;
  NSUInteger round_ = 0;
  std::vector<NSUInteger> items_{};  // of this round
  std::size_t next_ = 0;
  std::vector<NSUInteger> failed_{};
  NSTimeInterval pause_ = 0;
};

}  // namespace streams

TELVO_INTERNAL_NAMESPACE_END
