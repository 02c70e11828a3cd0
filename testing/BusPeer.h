#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gio/gio.h>

// Another program on the bus, written against GLib alone: hears the notifications of every program, sends signals of
// any form, and can own a name. Its signals are heard while the main context is iterated.
class BusPeer {
 public:
  explicit BusPeer(const std::string& address) {
    connection_ = g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    g_dbus_connection_set_exit_on_close(connection_, FALSE);
    subscription_ = g_dbus_connection_signal_subscribe(
        connection_, nullptr, interface, "Posted", path, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
           gpointer data) {
          gchar* const text = g_variant_print(parameters, TRUE);
          static_cast<BusPeer*>(data)->heard.emplace_back(text);
          g_free(text);
        },
        this, nullptr);
    synchronize();
  }
  ~BusPeer() {
    g_dbus_connection_signal_unsubscribe(connection_, subscription_);
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
  }
  BusPeer(const BusPeer&) = delete;
  BusPeer& operator=(const BusPeer&) = delete;

  // Sends a signal with parameters in GLib's text format.
  void emit(const std::string& parameters, const char* member = "Posted") {
    emit(g_variant_new_parsed(parameters.c_str()), member);
  }
  void emit(GVariant* parameters, const char* member = "Posted") {
    g_dbus_connection_emit_signal(connection_, nullptr, path, interface, member, parameters, nullptr);
    synchronize();
  }

  void own(const char* name) { call("RequestName", g_variant_new("(su)", name, 4)); }
  // The name is this program's once its present owner gives it up.
  void waitForName(const char* name) { call("RequestName", g_variant_new("(su)", name, 0)); }
  void disown(const char* name) { call("ReleaseName", g_variant_new("(s)", name)); }
  // Returns when the bus has handled everything that was sent before.
  void synchronize() { call("GetId", nullptr); }

  GDBusConnection* connection() const { return connection_; }

  std::vector<std::string> heard;

  static constexpr const char* path = "/com/telvo/DistributedNotificationCenter";
  static constexpr const char* interface = "com.telvo.DistributedNotificationCenter";

 private:
  void call(const char* method, GVariant* parameters) {
    GVariant* const result = g_dbus_connection_call_sync(connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                         "org.freedesktop.DBus", method, parameters, nullptr,
                                                         G_DBUS_CALL_FLAGS_NONE, 10000, nullptr, nullptr);
    if (result) g_variant_unref(result);
  }

  GDBusConnection* connection_ = nullptr;
  guint subscription_ = 0;
};
