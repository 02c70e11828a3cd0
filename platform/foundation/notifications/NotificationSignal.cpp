#include "foundation/notifications/NotificationSignal.h"

#include <gio/gio.h>

#include "foundation/collections/NSDictionary.h"
#include "foundation/notifications/BusValue.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace foundation {
namespace {

constexpr gsize largestSignal = gsize{1} << 20U;

}  // namespace

GVariant* signalFromNotification(const NSNotification& notification, bool deliverImmediately) {
  GVariantBuilder details;
  g_variant_builder_init(&details, G_VARIANT_TYPE_VARDICT);
  if (notification.userInfo()) {
    GVariant* const userInfo = variantFromDictionary(notification.userInfo());
    if (!userInfo) {
      g_variant_builder_clear(&details);
      return nullptr;
    }
    g_variant_builder_add(&details, "{sv}", "UserInfo", userInfo);
  }
  const auto object = as<NSString>(notification.object());
  g_variant_builder_add(&details, "{sv}", "HasObject", g_variant_new_boolean(object != nil));
  g_variant_builder_add(&details, "{sv}", "DeliverImmediately", g_variant_new_boolean(deliverImmediately));
  GVariant* const parameters =
      g_variant_new("(ssa{sv})", UTF8ForBus(notification.name()).c_str(), UTF8ForBus(object).c_str(), &details);
  if (g_variant_get_size(parameters) <= largestSignal) return parameters;
  g_variant_unref(g_variant_ref_sink(parameters));
  return nullptr;
}

Ref<NSNotification> notificationFromSignal(GVariant* parameters) {
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssa{sv})"))) return nil;
  if (g_variant_get_size(parameters) > largestSignal) return nil;
  const char* name = nullptr;
  const char* object = nullptr;
  GVariant* details = nullptr;
  g_variant_get(parameters, "(&s&s@a{sv})", &name, &object, &details);

  gboolean hasObject = *object != '\0';
  g_variant_lookup(details, "HasObject", "b", &hasObject);
  GVariant* const userInfo = g_variant_lookup_value(details, "UserInfo", G_VARIANT_TYPE_VARDICT);
  const auto notification = NSNotification::notificationWithName_object_userInfo(
      NSString::stringWithUTF8String(name), hasObject ? NSString::stringWithUTF8String(object) : nil,
      userInfo ? dictionaryFromVariant(userInfo) : nil);
  if (userInfo) g_variant_unref(userInfo);
  g_variant_unref(details);
  return notification;
}

}  // namespace foundation

}  // namespace telvo
