#include "foundation/notifications/SessionBus.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include <gio/gio.h>

#include "foundation/events/NSRunLoop.h"
#include "foundation/events/RunLoopContext.h"

namespace foundation {
namespace {

constexpr std::chrono::seconds connectLimit(5);
constexpr int subscribeLimitInMilliseconds = 5000;
constexpr guint flushLimitInMilliseconds = 1000;

std::atomic<bool> somethingWasEmitted = false;

// Cancels an operation that takes too long.
class TimeLimit {
 public:
  explicit TimeLimit(std::chrono::seconds limit) : cancellable_(g_cancellable_new()) {
    thread_ = std::thread([this, limit] {
      std::unique_lock lock(mutex_);
      if (!condition_.wait_for(lock, limit, [this] { return over_; })) g_cancellable_cancel(cancellable_);
    });
  }
  TimeLimit(const TimeLimit&) = delete;
  TimeLimit& operator=(const TimeLimit&) = delete;
  ~TimeLimit() {
    {
      const std::lock_guard lock(mutex_);
      over_ = true;
      condition_.notify_one();
    }
    thread_.join();
    g_object_unref(cancellable_);
  }

  GCancellable* cancellable() const { return cancellable_; }

 private:
  GCancellable* cancellable_;
  std::mutex mutex_;
  std::condition_variable condition_;
  bool over_ = false;
  std::thread thread_;
};

// The connection; null when there is no bus.
GDBusConnection* sessionBus();

// GLib's own synchronous flush knows no limit, and a bus that is stopped would keep the process for ever.
void flushBeforeExit() {
  if (!somethingWasEmitted) return;
  GMainContext* const context = g_main_context_new();
  g_main_context_push_thread_default(context);
  bool over = false;
  g_dbus_connection_flush(
      sessionBus(), nullptr, [](GObject*, GAsyncResult*, gpointer data) { *static_cast<bool*>(data) = true; }, &over);
  GSource* const limit = g_timeout_source_new(flushLimitInMilliseconds);
  g_source_set_callback(
      limit,
      [](gpointer data) {
        *static_cast<bool*>(data) = true;
        return G_SOURCE_REMOVE;
      },
      &over, nullptr);
  g_source_attach(limit, context);
  while (!over) g_main_context_iteration(context, TRUE);
  // The context is left as it is: a flush that has not returned by now still reports to it.
}

gboolean keepProcess(GSignalInvocationHint*, guint, const GValue* values, gpointer) {
  g_dbus_connection_set_exit_on_close(G_DBUS_CONNECTION(g_value_get_object(values)), FALSE);
  return TRUE;  // The next time, too.
}

// GIO ends the process by SIGTERM when a bus goes away on which anything in the process has got a connection from
// g_bus_get(). Modules that a desktop adds do: looking for a proxy reads the settings (dconf). They connect when they
// like, on their own threads, so that it is switched off for all connections, in the moment in which one closes.
void outliveBuses() {
  g_type_class_ref(G_TYPE_DBUS_CONNECTION);  // The signal is known from then on.
  g_signal_add_emission_hook(g_signal_lookup("closed", G_TYPE_DBUS_CONNECTION), 0, keepProcess, nullptr, nullptr);
}

GDBusConnection* connect() {
  outliveBuses();
  gchar* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (!address) return nullptr;
  const TimeLimit limit(connectLimit);
  GDBusConnection* const connection = g_dbus_connection_new_for_address_sync(
      address,
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, limit.cancellable(), nullptr);
  g_free(address);
  if (!connection) return nullptr;
  std::atexit(flushBeforeExit);
  return connection;
}

GDBusConnection* sessionBus() {
  static GDBusConnection* const connection = connect();
  return connection;
}

struct Subscriber {
  std::function<void(GVariant*)> callback;
};

void signalArrived(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                   gpointer data) {
  // A copy: the callback may end the subscription.
  const auto callback = static_cast<Subscriber*>(data)->callback;
  NSRunLoop::mainRunLoop()->context().guard([&] { callback(parameters); });
}

// The bus handles what it gets in order: its answer shows that it has handled everything before.
void synchronize(GDBusConnection* bus) {
  GVariant* const answer = g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", nullptr, nullptr,
      G_DBUS_CALL_FLAGS_NO_AUTO_START, subscribeLimitInMilliseconds, nullptr, nullptr);
  if (answer) g_variant_unref(answer);
}

const char* orNull(const std::optional<std::string>& text) { return text ? text->c_str() : nullptr; }

}  // namespace

void emitOnSessionBus(const char* path, const char* interface, const char* member, GVariant* parameters) {
  g_variant_ref_sink(parameters);
  if (GDBusConnection* const bus = sessionBus()) {
    somethingWasEmitted = true;
    g_dbus_connection_emit_signal(bus, nullptr, path, interface, member, parameters, nullptr);
  }
  g_variant_unref(parameters);
}

unsigned subscribeOnSessionBus(const SignalMatch& match, std::function<void(GVariant* parameters)> callback) {
  GDBusConnection* const bus = sessionBus();
  // GLib complains in the log about a subscription on a bus that has died.
  if (!bus || g_dbus_connection_is_closed(bus)) return 0;
  const unsigned subscription = g_dbus_connection_signal_subscribe(
      bus, orNull(match.sender), match.interface.c_str(), match.member.c_str(), match.path.c_str(),
      orNull(match.firstArgument), G_DBUS_SIGNAL_FLAGS_NONE, signalArrived, new Subscriber{std::move(callback)},
      [](gpointer data) { delete static_cast<Subscriber*>(data); });
  synchronize(bus);
  return subscription;
}

void unsubscribeOnSessionBus(unsigned subscription) {
  if (subscription != 0) g_dbus_connection_signal_unsubscribe(sessionBus(), subscription);
}

}  // namespace foundation
