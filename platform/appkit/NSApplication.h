#pragma once

#include <functional>

#include "foundation/runtime/NSObject.h"

// A program is a delegate and two lines:
//
//   class Greeter : public NSObject {
//     NS_OBJECT(Greeter, NSObject)
//    public:
//     void applicationDidFinishLaunching(const Ref<NSNotification>& notification);  // listed in its table of methods
//   };
//   const NSMainInterface mainInterface([] { return make<Greeter>(); });
//   int main(int argc, char** argv) { return NSApplicationMain(argc, argv); }

TELVO_NAMESPACE_BEGIN

// What "applicationShouldTerminate:" answers.
enum NSApplicationTerminateReply : NSUInteger { NSTerminateCancel = 0, NSTerminateNow = 1 };

// The running program: its delegate, its event loop and its end. Main thread only.
class NSApplication : public NSObject {
  NS_OBJECT(NSApplication, NSObject)

 public:
  static const Ref<NSApplication>& sharedApplication();

  const id& delegate() const { return delegate_; }
  void setDelegate(const id& delegate) { delegate_ = delegate; }

  // Delivers "applicationDidFinishLaunching:" to the delegate from the run loop and serves the loop until the process
  // ends. An exception of the platform that leaves a callback is logged, and the loop goes on. SIGTERM, SIGINT
  // and SIGHUP are requests to terminate.
  [[noreturn]] void run();

  // Asks the delegate with "applicationShouldTerminate:"; anything but NSTerminateCancel, or no answer, ends the
  // process inside this call, with status 0.
  void terminate(const id& sender);

 private:
  void finishLaunching();
  bool mayTerminate();

  id delegate_;
};

// The main interface of a program, one static object of it: says what NSApplicationMain() makes the delegate of.
class NSMainInterface {
 public:
  explicit NSMainInterface(std::function<id()> makeDelegate);
};

// Takes the launch arguments (NSUserDefaults::takeArguments), sets up the process, makes the delegate, sends it
// "awakeFromNib" and runs the application.
int NSApplicationMain(int argc, char** argv);

TELVO_NAMESPACE_END
