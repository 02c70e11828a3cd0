#include "foundation/events/NSThread.h"

#include <chrono>
#include <system_error>
#include <thread>

#include <unistd.h>

#include "foundation/errors/NSException.h"
#include "foundation/errors/NSLog.h"

inline namespace telvo {

namespace {

void performOnOwnThread(SEL selector, const id& target, const id& argument) {
  try {
    target->performSelector_withObject(selector, argument);
  } catch (const Ref<NSException>& exception) {
    NSLog("*** A thread ended with an exception: %@ (%@)"_ns, exception->name(), exception->reason());
  }
}

}  // namespace

bool foundation::isMainThread() {
  thread_local const bool main = getpid() == gettid();
  return main;
}

Class NSThread::classObject() {
  static const NSClass object("NSThread", NSObject::classObject(), {});
  return &object;
}

void NSThread::detachNewThreadSelector_toTarget_withObject(SEL selector, const id& target, const id& argument) {
  if (!target || !target->respondsToSelector(selector)) {
    NSException::raise_format(NSInvalidArgumentException(), "%@ does not respond to %s"_ns, target, selector.text());
  }
  try {
    std::thread([selector, target, argument] { performOnOwnThread(selector, target, argument); }).detach();
  } catch (const std::system_error& error) {
    NSException::raise_format(NSGenericException(), "No thread could be started: %s"_ns, error.what());
  }
}

void NSThread::sleepForTimeInterval(NSTimeInterval seconds) {
  if (seconds > 0) std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

}  // namespace telvo
