#include "foundation/notifications/SessionBus.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

#include <gio/gio.h>
#include <glib-unix.h>

#include "foundation/events/NSRunLoop.h"
#include "foundation/events/NSThread.h"
#include "foundation/events/RunLoopContext.h"
#include "foundation/events/UrgentRequest.h"

inline namespace telvo {

namespace foundation {
namespace {

constexpr std::chrono::milliseconds connectLimit(5000);
constexpr std::chrono::milliseconds cancelLimit(30000);
constexpr std::chrono::milliseconds subscribeLimit(5000);
constexpr std::chrono::milliseconds flushLimit(1000);

std::atomic<bool> somethingWasEmitted = false;

// Runs asynchronous operations of GIO to their end inside a call. The main run loop is not turned meanwhile: nothing
// but the urgent request, on the main thread, is to happen in the middle of the call.
class PrivateLoop {
 public:
  enum class Serving { UrgentRequest, Nothing };

  explicit PrivateLoop(Serving serving) : context_(g_main_context_new()) {
    g_main_context_push_thread_default(context_);
    const foundation::UrgentRequest& urgent = urgentRequest();
    if (serving == Serving::Nothing || !isMainThread() || urgent.descriptor < 0) return;
    GSource* const source = g_unix_fd_source_new(urgent.descriptor, G_IO_IN);
    g_source_set_callback(source, G_SOURCE_FUNC(serveUrgentRequest), nullptr, nullptr);
    g_source_attach(source, context_);
    g_source_unref(source);
  }
  PrivateLoop(const PrivateLoop&) = delete;
  PrivateLoop& operator=(const PrivateLoop&) = delete;
  // An operation that has not reported by now still can, to a context that nobody turns.
  ~PrivateLoop() {
    g_main_context_pop_thread_default(context_);
    g_main_context_unref(context_);
  }

  // Whether the condition has come true within the limit.
  bool turnUntil(const bool& condition, std::chrono::milliseconds limit) {
    bool isLate = false;
    GSource* const timeout = g_timeout_source_new(static_cast<guint>(limit.count()));
    g_source_set_callback(
        timeout,
        [](gpointer data) {
          *static_cast<bool*>(data) = true;
          return G_SOURCE_REMOVE;
        },
        &isLate, nullptr);
    g_source_attach(timeout, context_);
    while (!condition && !isLate) g_main_context_iteration(context_, TRUE);
    g_source_destroy(timeout);
    g_source_unref(timeout);
    return condition;
  }

 private:
  static gboolean serveUrgentRequest(gint, GIOCondition, gpointer) {
    NSRunLoop::mainRunLoop()->context().guard(urgentRequest().serve);
    return G_SOURCE_CONTINUE;
  }

  GMainContext* context_;
};

// The connection; null when there is no bus.
GDBusConnection* sessionBus();

// GLib's own synchronous flush knows no limit, and a bus that is stopped would keep the process for ever.
void flushBeforeExit() {
  if (!somethingWasEmitted) return;
  // Never destroyed: a flush that has not returned by now still reports to it. The process is about to end already.
  static auto& loop = *new PrivateLoop(PrivateLoop::Serving::Nothing);
  static bool& over = *new bool(false);
  g_dbus_connection_flush(
      sessionBus(), nullptr, [](GObject*, GAsyncResult*, gpointer) { over = true; }, nullptr);
  loop.turnUntil(over, flushLimit);
}

// Whether the bus has let the connection in before the limit. GIO does this on a thread of its own, and never reports
// when it gets none: so that the lack shows, as an exception of the standard library, one is asked for before.
bool initialize(GDBusConnection* connection) {
  std::thread([] {}).join();
  struct Outcome {
    bool isOver = false;
    bool isGood = false;
  } outcome;
  GCancellable* const cancellable = g_cancellable_new();
  PrivateLoop loop(PrivateLoop::Serving::UrgentRequest);
  g_async_initable_init_async(
      G_ASYNC_INITABLE(connection), G_PRIORITY_DEFAULT, cancellable,
      [](GObject* object, GAsyncResult* result, gpointer data) {
        auto& known = *static_cast<Outcome*>(data);
        known.isGood = g_async_initable_init_finish(G_ASYNC_INITABLE(object), result, nullptr);
        known.isOver = true;
      },
      &outcome);
  if (!loop.turnUntil(outcome.isOver, connectLimit)) {
    g_cancellable_cancel(cancellable);
    if (!loop.turnUntil(outcome.isOver, cancelLimit)) {
      throw std::system_error(EAGAIN, std::generic_category(), "connecting to the session bus");
    }
  }
  g_object_unref(cancellable);
  return outcome.isGood;
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
  const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                       G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  // Made before the private loop: it tells of its end in the context that is the thread's own at this moment.
  auto* const connection =
      static_cast<GDBusConnection*>(g_object_new(G_TYPE_DBUS_CONNECTION, "address", address, "flags", flags, nullptr));
  g_free(address);
  if (!initialize(connection)) {
    g_object_unref(connection);
    return nullptr;
  }
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
  // The answer may come after this has given it up.
  const auto isOver = std::make_shared<bool>(false);
  PrivateLoop loop(PrivateLoop::Serving::UrgentRequest);
  g_dbus_connection_call(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", nullptr, nullptr,
      G_DBUS_CALL_FLAGS_NO_AUTO_START, static_cast<gint>(subscribeLimit.count()), nullptr,
      [](GObject* object, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<std::shared_ptr<bool>> known(static_cast<std::shared_ptr<bool>*>(data));
        GVariant* const answer = g_dbus_connection_call_finish(G_DBUS_CONNECTION(object), result, nullptr);
        if (answer) g_variant_unref(answer);
        **known = true;
      },
      new std::shared_ptr<bool>(isOver));
  loop.turnUntil(*isOver, subscribeLimit);
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

void watchSessionBusEnd(std::function<void()> callback) {
  GDBusConnection* const bus = sessionBus();
  if (!bus) return;
  const auto shared = std::make_shared<std::function<void()>>(std::move(callback));
  const auto ended = [](GDBusConnection*, gboolean, GError*, gpointer data) {
    NSRunLoop::mainRunLoop()->context().guard(**static_cast<std::shared_ptr<std::function<void()>>*>(data));
  };
  const auto forget = [](gpointer data, GClosure*) {
    delete static_cast<std::shared_ptr<std::function<void()>>*>(data);
  };
  using Ended = void (*)(GDBusConnection*, gboolean, GError*, gpointer);
  if (g_dbus_connection_is_closed(bus)) return NSRunLoop::mainRunLoop()->performBlock([shared] { (*shared)(); });
  g_signal_connect_data(bus, "closed", G_CALLBACK(static_cast<Ended>(ended)),
                        new std::shared_ptr<std::function<void()>>(shared), forget, G_CONNECT_DEFAULT);
}

void unsubscribeOnSessionBus(unsigned subscription) {
  if (subscription != 0) g_dbus_connection_signal_unsubscribe(sessionBus(), subscription);
}

}  // namespace foundation

}  // namespace telvo
