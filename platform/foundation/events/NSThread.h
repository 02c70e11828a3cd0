#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

namespace foundation {
// Whether the calling thread is the one that the process started with.
bool isMainThread();
}  // namespace foundation

// Threads of the platform. Every thread has a run loop (NSRunLoop::currentRunLoop()).
class NSThread : public NSObject {
  NS_OBJECT(NSThread, NSObject)

 public:
  static bool isMainThread() { return foundation::isMainThread(); }

  // Starts a thread that performs the selector on the target and ends. The target and the argument live until then.
  // An exception that leaves the method is written to the system log and ends the thread. Raises
  // NSInvalidArgumentException when the target does not respond to the selector; fails with
  // NSGenericException when the system gives no thread.
  static void detachNewThreadSelector_toTarget_withObject(SEL selector, const id& target, const id& argument);

  static void sleepForTimeInterval(NSTimeInterval seconds);
};

TELVO_NAMESPACE_END
