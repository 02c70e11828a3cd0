#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "appkit/NSApplication.h"
#include "foundation/Foundation.h"
#include "testing/LogLines.h"

namespace {

// Logs what it is told, and does what the test wants once the application has launched.
class Delegate : public NSObject {
  NS_OBJECT(Delegate, NSObject)

 public:
  explicit Delegate(std::function<void()> action) : action_(std::move(action)) {}

  void awakeFromNib() { NSLog("awake"_ns); }
  void applicationDidFinishLaunching(const Ref<NSNotification>& notification) {
    NSLog("%@ of the %@"_ns, notification->name(),
          notification->object() == NSApplication::sharedApplication() ? "application"_ns : "wrong object"_ns);
    if (action_) action_();
  }
  NSUInteger applicationShouldTerminate(const id& application) {
    NSLog("asked by the %@"_ns,
          application == NSApplication::sharedApplication() ? "application"_ns : "wrong object"_ns);
    return ++asked > refusals ? NSTerminateNow : NSTerminateCancel;
  }

  int refusals = 0;
  int asked = 0;

 private:
  std::function<void()> action_;
};

Class Delegate::classObject() {
  static const NSClass object(
      "Delegate", NSObject::classObject(),
      {
          method("awakeFromNib"_sel, &Delegate::awakeFromNib),
          method("applicationDidFinishLaunching:"_sel, &Delegate::applicationDidFinishLaunching),
          method("applicationShouldTerminate:"_sel, &Delegate::applicationShouldTerminate),
      });
  return &object;
}

void terminate() { NSApplication::sharedApplication()->terminate(nil); }

// Becomes an application whose delegate acts once it has launched.
[[noreturn]] void runApplication(std::function<void()> action, int refusals = 0) {
  const NSMainInterface interface([&] {
    const auto delegate = make<Delegate>(action);
    delegate->refusals = refusals;
    return delegate;
  });
  std::string name = "application";
  char* arguments[] = {name.data(), nullptr};
  NSApplicationMain(1, arguments);
  exit(1);
}

class NSApplicationDeathTest : public testing::Test {
 protected:
  NSApplicationDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

const char* const launched = "NSApplicationDidFinishLaunchingNotification of the application";
const char* const asked = "asked by the application";

TEST_F(NSApplicationDeathTest, WakesAndLaunchesTheDelegateAndEndsWhenAskedTo) {
  EXPECT_EXIT(runApplication(terminate), testing::ExitedWithCode(0), HasLogged::lines({"awake", launched, asked}));
}

TEST_F(NSApplicationDeathTest, NothingRunsAfterATerminationThatIsGranted) {
  EXPECT_EXIT(runApplication([] {
                terminate();
                NSLog("still here"_ns);
              }),
              testing::ExitedWithCode(0), HasLogged::lines({"awake", launched, asked}));
}

TEST_F(NSApplicationDeathTest, ADelegateMayRefuse) {
  EXPECT_EXIT(runApplication(
                  [] {
                    terminate();
                    NSLog("still here"_ns);
                    terminate();
                  },
                  1),
              testing::ExitedWithCode(0), HasLogged::lines({"awake", launched, asked, "still here", asked}));
}

TEST_F(NSApplicationDeathTest, SignalsAreRequestsToTerminateThatTheRunLoopServes) {
  for (const int number : {SIGTERM, SIGINT}) {
    EXPECT_EXIT(runApplication([number] {
                  std::raise(number);
                  NSLog("raised"_ns);
                  const auto runLoop = NSRunLoop::currentRunLoop();
                  // Nested, as inside an upload.
                  while (true) runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::distantFuture());
                }),
                testing::ExitedWithCode(0), HasLogged::lines({"awake", launched, "raised", asked}));
  }
}

TEST_F(NSApplicationDeathTest, ASignalThatIsRefusedLeavesTheNextOneItsTurn) {
  EXPECT_EXIT(runApplication(
                  [] {
                    std::raise(SIGTERM);
                    NSTimer::scheduledTimerWithTimeInterval_repeats_block(0.1, false, [](const Ref<NSTimer>&) {
                      NSLog("again"_ns);
                      std::raise(SIGTERM);
                    });
                  },
                  1),
              testing::ExitedWithCode(0), HasLogged::lines({"awake", launched, asked, "again", asked}));
}

TEST_F(NSApplicationDeathTest, APeerThatGoesAwayDoesNotEndTheProcess) {
  EXPECT_EXIT(runApplication([] {
                std::raise(SIGPIPE);
                terminate();
              }),
              testing::ExitedWithCode(0), HasLogged::lines({"awake", launched, asked}));
}

TEST_F(NSApplicationDeathTest, AnExceptionIsLoggedAndTheRunLoopGoesOn) {
  EXPECT_EXIT(runApplication([] {
                NSRunLoop::currentRunLoop()->performBlock(terminate);
                NSException::raise_format("TestException"_ns, "on purpose"_ns);
              }),
              testing::ExitedWithCode(0),
              HasLogged::lines({"awake", launched, "Uncaught exception TestException: on purpose", asked}));
}

[[noreturn]] void runWithoutADelegate() {
  NSRunLoop::mainRunLoop()->performBlock(terminate);
  std::string name = "application";
  char* arguments[] = {name.data(), nullptr};
  NSApplicationMain(1, arguments);
  exit(1);
}

TEST_F(NSApplicationDeathTest, RunsWithoutADelegate) {
  EXPECT_EXIT(runWithoutADelegate(), testing::ExitedWithCode(0), HasLogged::lines({}));
}

}  // namespace
