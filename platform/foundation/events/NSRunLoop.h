#pragma once

#include <functional>
#include <memory>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSDate;
class NSString;
class NSTimer;

// The only mode there is: what is scheduled runs in every turn.
const Ref<NSString>& NSDefaultRunLoopMode();
const Ref<NSString>& NSRunLoopCommonModes();

// A thread's event loop: timers, streams, performed selectors and the like are served while it runs. Each thread has
// its own, made when it is first asked for; it can be run again from inside anything that it serves.
class NSRunLoop : public NSObject {
  NS_OBJECT(NSRunLoop, NSObject)

 public:
  // The calling thread's loop. It lives as long as the thread, and as long as references to it.
  static Ref<NSRunLoop> currentRunLoop();
  // The loop of the thread that the process started with. Any thread.
  static Ref<NSRunLoop> mainRunLoop();

  // One turn: waits until something is due or the limit date has come, serves what is due, and returns. Unlike a loop
  // with nothing to wait for, one without sources also waits until the limit date, so that a caller who turns it in a
  // loop never spins. A nil or past date serves only what is due already. On the loop's own thread only. Exceptions
  // of what was served pass to the caller.
  bool runMode_beforeDate(const Ref<NSString>& mode, const Ref<NSDate>& limit);
  void runUntilDate(const Ref<NSDate>& limit);

  // Serves the block in a coming turn, in the order of the calls. Any thread; wakes the loop.
  void performBlock(std::function<void()> block);

  // Schedules the timer, if it is valid and not scheduled yet. On the loop's own thread only.
  void addTimer_forMode(const Ref<NSTimer>& timer, const Ref<NSString>& mode);

  struct Context;
  explicit NSRunLoop(std::unique_ptr<Context> context);
  ~NSRunLoop() override;
  Context& context() const { return *context_; }

 private:
  std::unique_ptr<Context> context_;
};

TELVO_NAMESPACE_END
