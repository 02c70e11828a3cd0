// The two ways of performing a selector elsewhere: on the main thread, and later.

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "foundation/events/NSRunLoop.h"
#include "foundation/events/NSThread.h"
#include "foundation/events/NSTimer.h"
#include "foundation/runtime/NSObject.h"

inline namespace telvo {

namespace {

// Where a thread waits for what another one does for it.
class HandOff {
 public:
  void finish(std::exception_ptr exception) {
    const std::lock_guard lock(mutex_);
    exception_ = std::move(exception);
    finished_ = true;
    condition_.notify_one();
  }

  void waitAndRethrow() {
    std::unique_lock lock(mutex_);
    condition_.wait(lock, [this] { return finished_; });
    if (exception_) std::rethrow_exception(std::exchange(exception_, nullptr));
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  bool finished_ = false;
  std::exception_ptr exception_;
};

std::exception_ptr exceptionOf(const std::function<void()>& call) {
  try {
    call();
  } catch (...) {
    return std::current_exception();
  }
  return nullptr;
}

}  // namespace

void NSObject::performSelectorOnMainThread_withObject_waitUntilDone(SEL selector, const id& object, bool wait) {
  const auto mainRunLoop = NSRunLoop::mainRunLoop();
  if (!wait) {
    mainRunLoop->performBlock(
        [receiver = self(), selector, object] { receiver->performSelector_withObject(selector, object); });
    return;
  }
  if (foundation::isMainThread()) {
    performSelector_withObject(selector, object);
    return;
  }
  const auto handOff = std::make_shared<HandOff>();
  // The waiting caller keeps receiver and argument alive. The block holds no references of its own, so the last one
  // is never dropped on the main thread behind the caller's back.
  mainRunLoop->performBlock([this, handOff, selector, &object] {
    std::exception_ptr exception = exceptionOf([&] { performSelector_withObject(selector, object); });
    handOff->finish(std::move(exception));
  });
  handOff->waitAndRethrow();
}

void NSObject::performSelector_withObject_afterDelay(SEL selector, const id& object, NSTimeInterval delay) {
  NSTimer::scheduledTimerWithTimeInterval_repeats_block(delay, false,
                                                        [receiver = self(), selector, object](const Ref<NSTimer>&) {
                                                          receiver->performSelector_withObject(selector, object);
                                                        });
}

}  // namespace telvo
