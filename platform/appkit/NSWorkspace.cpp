#include "appkit/NSWorkspace.h"

#include <string_view>

#include <glib.h>

#include "foundation/collections/NSDictionary.h"
#include "foundation/notifications/NSNotificationCenter.h"
#include "foundation/notifications/SessionBus.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

const Ref<NSString>& NSWorkspaceDidTerminateApplicationNotification() {
  return "NSWorkspaceDidTerminateApplicationNotification"_ns;
}

const Ref<NSString>& NSWorkspaceWillPowerOffNotification() { return "NSWorkspaceWillPowerOffNotification"_ns; }

Class NSWorkspace::classObject() {
  static const NSClass object("NSWorkspace", NSObject::classObject(),
                              {method("notificationCenter"_sel, &NSWorkspace::notificationCenter)});
  return &object;
}

NSWorkspace::NSWorkspace() = default;
NSWorkspace::~NSWorkspace() = default;

const Ref<NSWorkspace>& NSWorkspace::sharedWorkspace() {
  static const Ref<NSWorkspace>& workspace = *new Ref<NSWorkspace>(make<NSWorkspace>());
  return workspace;
}

const Ref<NSNotificationCenter>& NSWorkspace::notificationCenter() {
  if (!notificationCenter_) {
    notificationCenter_ = make<NSNotificationCenter>();
    watchSessionBus();
  }
  return notificationCenter_;
}

// Subscribed for good: the workspace lives as long as the process.
void NSWorkspace::watchSessionBus() {
  const foundation::SignalMatch ownerChanges{
      "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", {}};
  foundation::subscribeOnSessionBus(ownerChanges, [this](GVariant* parameters) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(sss)"))) return;
    const char* name = nullptr;
    const char* oldOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", &name, &oldOwner, nullptr);
    // The names of bus connections begin with a colon; they are no applications. Whoever has the name from now on is
    // another program than the one that had it.
    if (!*oldOwner || *name == ':') return;
    notificationCenter_->postNotificationName_object_userInfo(
        NSWorkspaceDidTerminateApplicationNotification(), self(),
        NSDictionary::dictionary({{"NSApplicationBundleIdentifier"_ns, NSString::stringWithUTF8String(name)}}));
  });
  foundation::watchSessionBusEnd(
      [this] { notificationCenter_->postNotificationName_object(NSWorkspaceWillPowerOffNotification(), self()); });
}

}  // namespace telvo
