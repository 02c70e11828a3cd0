#include "appkit/NSApplication.h"

#include <cstdlib>

#include "appkit/ProcessSetup.h"
#include "appkit/TerminationSignals.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSException.h"
#include "foundation/errors/NSLog.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/notifications/NSNotification.h"
#include "foundation/preferences/NSUserDefaults.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

std::function<id()>& mainInterface() {
  static std::function<id()>& maker = *new std::function<id()>;
  return maker;
}

}  // namespace

Class NSApplication::classObject() {
  static const NSClass object("NSApplication", NSObject::classObject(),
                              {
                                  method("delegate"_sel, &NSApplication::delegate),
                                  method("setDelegate:"_sel, &NSApplication::setDelegate),
                                  method("terminate:"_sel, &NSApplication::terminate),
                              });
  return &object;
}

const Ref<NSApplication>& NSApplication::sharedApplication() {
  static const Ref<NSApplication>& application = *new Ref<NSApplication>(make<NSApplication>());
  return application;
}

void NSApplication::run() {
  const Ref<NSRunLoop> runLoop = NSRunLoop::mainRunLoop();
  runLoop->performBlock([this] { finishLaunching(); });
  while (true) {
    try {
      runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::distantFuture());
    } catch (const Ref<NSException>& exception) {
      NSLog("Uncaught exception %@: %@"_ns, exception->name(), exception->reason());
    }
  }
}

void NSApplication::finishLaunching() {
  const SEL selector = "applicationDidFinishLaunching:"_sel;
  if (!delegate_ || !delegate_->respondsToSelector(selector)) return;
  const id delegate = delegate_;
  delegate->performSelector_withObject(selector, NSNotification::notificationWithName_object_userInfo(
                                                     "NSApplicationDidFinishLaunchingNotification"_ns, self(), nil));
}

bool NSApplication::mayTerminate() {
  const SEL selector = "applicationShouldTerminate:"_sel;
  if (!delegate_ || !delegate_->respondsToSelector(selector)) return true;
  const id delegate = delegate_;
  const auto answer = as<NSNumber>(delegate->performSelector_withObject(selector, self()));
  return !answer || answer->unsignedIntegerValue() != NSTerminateCancel;
}

void NSApplication::terminate(const id&) {
  if (mayTerminate()) std::exit(EXIT_SUCCESS);
}

NSMainInterface::NSMainInterface(std::function<id()> makeDelegate) { mainInterface() = std::move(makeDelegate); }

int NSApplicationMain(int argc, char** argv) {
  // First of all: what the arguments say must not stay readable for others.
  NSUserDefaults::takeArguments(argc, argv);
  appkit::setUpProcess();
  TerminationSignals::catchThem();
  const TerminationSignals signals([] { NSApplication::sharedApplication()->terminate(nil); });
  const Ref<NSApplication>& application = NSApplication::sharedApplication();
  if (mainInterface()) application->setDelegate(mainInterface()());
  const id delegate = application->delegate();
  if (delegate && delegate->respondsToSelector("awakeFromNib"_sel)) delegate->performSelector("awakeFromNib"_sel);
  application->run();
}

}  // namespace telvo
