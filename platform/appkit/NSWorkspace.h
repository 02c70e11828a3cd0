#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSNotificationCenter;
class NSString;

// Posted in the workspace's centre when an application has quit; the user information has its bundle identifier under
// "NSApplicationBundleIdentifier".
const Ref<NSString>& NSWorkspaceDidTerminateApplicationNotification();

// Posted there, without user information, when the user's session ends: the session bus has gone, and no quit can be
// heard of any more.
const Ref<NSString>& NSWorkspaceWillPowerOffNotification();

// The applications of the user's session. An application's bundle identifier is its well-known name on the session bus,
// and the name losing its owner is the quit, also when another program that has waited for the name gets it. Without a
// session bus nobody ever quits. Main thread only.
class NSWorkspace : public NSObject {
  NS_OBJECT(NSWorkspace, NSObject)

 public:
  static const Ref<NSWorkspace>& sharedWorkspace();

  NSWorkspace();
  ~NSWorkspace() override;

  // The first call begins to watch the bus; no quit is missed from then on.
  const Ref<NSNotificationCenter>& notificationCenter();

 private:
  void watchSessionBus();

  Ref<NSNotificationCenter> notificationCenter_;
};

TELVO_NAMESPACE_END
