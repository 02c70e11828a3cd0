#pragma once

#include "foundation/runtime/NSObject.h"

class NSNotificationCenter;
class NSString;

// Posted in the workspace's centre when an application has quit; the user information has its bundle identifier under
// "NSApplicationBundleIdentifier".
const Ref<NSString>& NSWorkspaceDidTerminateApplicationNotification();

// The applications of the user's session. An application's bundle identifier is its well-known name on the session bus,
// and the name losing its owner is the quit; without a session bus nobody ever quits. Main thread only.
class NSWorkspace : public NSObject {
  NS_OBJECT(NSWorkspace, NSObject)

 public:
  static const Ref<NSWorkspace>& sharedWorkspace();

  NSWorkspace();
  ~NSWorkspace() override;

  // Asked for for the first time, it begins to watch the bus, and misses no quit from then on.
  const Ref<NSNotificationCenter>& notificationCenter();

 private:
  void watchSessionBus();

  Ref<NSNotificationCenter> notificationCenter_;
};
