#include <memory>

#include <gio/gio.h>

#include "foundation/collections/NSDictionary.h"
#include "foundation/notifications/NSNotification.h"
#include "foundation/notifications/NotificationSignal.h"
#include "foundation/text/NSString.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

struct Unref {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
  void operator()(GDBusMessage* message) const { g_object_unref(message); }
};
using Variant = std::unique_ptr<GVariant, Unref>;
using Message = std::unique_ptr<GDBusMessage, Unref>;

// A whole message as the bus sends it; null when it is none, or has no body.
Variant bodyOfMessage(const std::uint8_t* data, std::size_t size) {
  const Message message(
      g_dbus_message_new_from_blob(const_cast<guchar*>(data), size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));
  GVariant* const body = message ? g_dbus_message_get_body(message.get()) : nullptr;
  return Variant(body ? g_variant_ref(body) : nullptr);
}

// The bytes taken for a body in GLib's own form, in which nothing need be in order.
Variant untrustedBody(const std::uint8_t* data, std::size_t size) {
  GBytes* const bytes = g_bytes_new(data, size);
  GVariant* const body = g_variant_new_from_bytes(G_VARIANT_TYPE("(ssa{sv})"), bytes, FALSE);
  g_bytes_unref(bytes);
  return Variant(g_variant_ref_sink(body));
}

// Whatever was heard can be described, and posted again, unless the bus forbids that; it is the same then.
void check(const Variant& parameters) {
  const Ref<NSNotification> notification = foundation::notificationFromSignal(parameters.get());
  if (!notification) return;
  require(notification->name() != nil);
  if (notification->userInfo()) notification->userInfo()->description();
  GVariant* const sent = foundation::signalFromNotification(*notification, true);
  if (!sent) return;
  const Variant signal(g_variant_ref_sink(sent));
  const Ref<NSNotification> again = foundation::notificationFromSignal(signal.get());
  require(again && areEqual(again->name(), notification->name()));
  require(NSEqualObjects(again->object(), notification->object()));
  require((again->userInfo() == nil) == (notification->userInfo() == nil));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte of a message tells the order of bytes.
  const bool isMessage = data[0] == 'l' || data[0] == 'B';
  if (const Variant body = isMessage ? bodyOfMessage(data, size) : untrustedBody(data + 1, size - 1)) check(body);
  return 0;
}
