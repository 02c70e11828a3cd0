#include "telvo-upload/Upload.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <gio/gio.h>
#include <glib-unix.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "telvo-upload/ProgressLine.h"

namespace {

constexpr const char* objectPath = "/com/telvo/DistributedNotificationCenter";
constexpr const char* interfaceName = "com.telvo.DistributedNotificationCenter";
constexpr const char* progressName = "TelvoFTPHelperProgressDistributedNotification";
constexpr const char* stopName = "TelvoFTPHelperStopDistributedNotification";
constexpr const char* helperName = "TelvoFTPHelper";
// How long the helper is given to follow the quit of its owner.
constexpr guint quitMilliseconds = 3000;

template <class T>
struct Unref {
  void operator()(T* object) const { g_object_unref(object); }
};
template <class T>
using Object = std::unique_ptr<T, Unref<T>>;

struct VariantUnref {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
using Variant = std::unique_ptr<GVariant, VariantUnref>;

[[noreturn]] void throwError(const std::string& what, GError* error) {
  const std::string text = what + ": " + error->message;
  g_error_free(error);
  throw std::runtime_error(text);
}

std::string uniqueText() {
  gchar* const text = g_uuid_string_random();
  std::string result(text);
  g_free(text);
  return result;
}

// Beside this program, in its folder of the same installation, or on the path.
std::string findHelper() {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  for (const auto& path : {folder / helperName, folder / TELVO_HELPER_FOLDER / helperName}) {
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  gchar* const found = g_find_program_in_path(helperName);
  if (!found) throw std::runtime_error(std::string(helperName) + " is not installed");
  std::string result(found);
  g_free(found);
  return result;
}

// The session bus, or a bus of this run's own.
class Bus {
 public:
  Bus() {
    if (GDBusConnection* const session = connectToSession()) {
      connection_.reset(session);
      return;
    }
    startDaemon();
  }
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  ~Bus() {
    if (!daemon_) return;
    g_subprocess_send_signal(daemon_.get(), SIGTERM);
    g_subprocess_wait(daemon_.get(), nullptr, nullptr);
  }

  GDBusConnection* connection() const { return connection_.get(); }
  const std::string& address() const { return address_; }

 private:
  GDBusConnection* connectToSession() {
    gchar* const address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
    if (!address) return nullptr;
    address_ = address;
    g_free(address);
    return connect(nullptr);
  }

  GDBusConnection* connect(GError** error) {
    constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return g_dbus_connection_new_for_address_sync(address_.c_str(), flags, nullptr, nullptr, error);
  }

  void startDaemon() {
    GError* error = nullptr;
    const Object<GSubprocessLauncher> launcher(g_subprocess_launcher_new(
        static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_SILENCE)));
    g_subprocess_launcher_set_child_setup(launcher.get(), endWithParent, nullptr, nullptr);
    daemon_.reset(g_subprocess_launcher_spawn(launcher.get(), &error, "dbus-daemon", "--session", "--nofork",
                                              "--nopidfile", "--print-address", nullptr));
    if (!daemon_) throwError("there is no session bus, and none can be started", error);
    const Object<GDataInputStream> output(g_data_input_stream_new(g_subprocess_get_stdout_pipe(daemon_.get())));
    gchar* const line = g_data_input_stream_read_line(output.get(), nullptr, nullptr, nullptr);
    if (!line) throw std::runtime_error("there is no session bus, and dbus-daemon does not start one");
    address_ = line;
    g_free(line);
    connection_.reset(connect(&error));
    if (!connection_) throwError("the bus that was started cannot be reached", error);
  }

  // The daemon's own bus goes with this program, also when that is killed.
  static void endWithParent(gpointer) { prctl(PR_SET_PDEATHSIG, SIGTERM); }

  std::string address_;
  Object<GSubprocess> daemon_;
  Object<GDBusConnection> connection_;
};

class Owner {
 public:
  explicit Owner(const UploadRequest& request)
      : name_("com.telvo.Upload.p" + std::to_string(getpid()) + "x" + uniqueText().substr(0, 8)),
        token_(uniqueText()),
        progress_(stdout) {
    g_dbus_connection_set_exit_on_close(bus_.connection(), FALSE);
    subscription_ = g_dbus_connection_signal_subscribe(bus_.connection(), nullptr, interfaceName, "Posted", objectPath,
                                                       nullptr, G_DBUS_SIGNAL_FLAGS_NONE, &posted, this, nullptr);
    // Answered after the subscription has been handled, so nothing the helper posts is missed.
    takeName();
    launch(request);
  }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() {
    g_dbus_connection_signal_unsubscribe(bus_.connection(), subscription_);
    quit();
  }

  int run() {
    const guint interrupted = g_unix_signal_add(SIGINT, &stopRequested, this);
    const guint ended = g_unix_signal_add(SIGTERM, &stopRequested, this);
    while (status_ < 0) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(interrupted);
    g_source_remove(ended);
    progress_.finish();
    if (!message_.empty()) std::fprintf(status_ == 0 ? stdout : stderr, "%s\n", message_.c_str());
    return status_;
  }

 private:
  void takeName() {
    constexpr guint doNotQueue = 4;
    GError* error = nullptr;
    const Variant answer(callBus("RequestName", g_variant_new("(su)", name_.c_str(), doNotQueue), &error));
    if (!answer) throwError("the session bus gives no name", error);
  }

  GVariant* callBus(const char* method, GVariant* parameters, GError** error) {
    return g_dbus_connection_call_sync(bus_.connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", method, parameters, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                                       nullptr, error);
  }

  void launch(const UploadRequest& request) {
    std::vector<std::string> arguments = {
        findHelper(),    "-bundleIdentifier", name_,          "-notificationIdentifier",
        token_,          "-sourcePath",       request.source, "-host",
        request.host,    "-username",         request.user,   "-password",
        request.password};
    if (!request.cache.empty()) arguments.insert(arguments.end(), {"-cachedInfoPath", request.cache});
    if (request.debug) arguments.insert(arguments.end(), {"-debug", "YES"});
    std::vector<const gchar*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
    pointers.push_back(nullptr);

    const Object<GSubprocessLauncher> launcher(g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_NONE));
    g_subprocess_launcher_setenv(launcher.get(), "DBUS_SESSION_BUS_ADDRESS", bus_.address().c_str(), TRUE);
    g_subprocess_launcher_unsetenv(launcher.get(), "TELVO_PASSWORD");
    // A group of its own: the terminal's Ctrl-C is for this program, which asks the helper to stop.
    g_subprocess_launcher_set_child_setup(
        launcher.get(), +[](gpointer) { setpgid(0, 0); }, nullptr, nullptr);
    GError* error = nullptr;
    helper_.reset(g_subprocess_launcher_spawnv(launcher.get(), pointers.data(), &error));
    if (!helper_) throwError("the helper cannot be started", error);
    g_subprocess_wait_async(helper_.get(), nullptr, &helperEnded, this);
  }

  static void posted(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                     gpointer data) {
    static_cast<Owner*>(data)->take(parameters);
  }

  void take(GVariant* parameters) {
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssa{sv})"))) return;
    const gchar* name = nullptr;
    const gchar* object = nullptr;
    GVariant* details = nullptr;
    g_variant_get(parameters, "(&s&s@a{sv})", &name, &object, &details);
    const Variant owned(details);
    if (token_ != object || std::string_view(name) != progressName || status_ >= 0) return;
    const Variant info(g_variant_lookup_value(details, "UserInfo", G_VARIANT_TYPE_VARDICT));
    if (!info) return nothingToSend();
    const ProgressRecord record = readRecord(info.get());
    progress_.show(record);
    if (record.isMore) return;
    const bool complete = record.percent == 100;
    message_ = complete
                   ? ""
                   : "Stopped after item " + std::to_string(record.nth) + " of " + std::to_string(record.total) + ".";
    status_ = complete ? 0 : 130;
  }

  static ProgressRecord readRecord(GVariant* info) {
    ProgressRecord record;
    const gchar* path = "";
    guint64 nth = 0;
    guint64 total = 0;
    guint64 percent = 0;
    gboolean more = FALSE;
    g_variant_lookup(info, "LocalPath", "&s", &path);
    g_variant_lookup(info, "Nth", "t", &nth);
    g_variant_lookup(info, "Total", "t", &total);
    g_variant_lookup(info, "Percent", "t", &percent);
    g_variant_lookup(info, "IsMore", "b", &more);
    return {path, nth, total, percent, more != FALSE};
  }

  void nothingToSend() {
    message_ = stopping_ ? "Stopped." : "Nothing to send.";
    status_ = stopping_ ? 130 : 0;
  }

  static gboolean stopRequested(gpointer data) {
    auto* const owner = static_cast<Owner*>(data);
    if (std::exchange(owner->stopping_, true)) {
      owner->status_ = 130;
      return G_SOURCE_CONTINUE;
    }
    g_dbus_connection_emit_signal(owner->bus_.connection(), nullptr, objectPath, interfaceName, "Posted",
                                  g_variant_new("(ssa{sv})", stopName, owner->token_.c_str(), nullptr), nullptr);
    return G_SOURCE_CONTINUE;
  }

  static void helperEnded(GObject* process, GAsyncResult* result, gpointer data) {
    auto* const owner = static_cast<Owner*>(data);
    g_subprocess_wait_finish(G_SUBPROCESS(process), result, nullptr);
    owner->helperRuns_ = false;
    if (owner->status_ >= 0) return;
    owner->message_ = "telvo-upload: the helper ended before the upload did";
    owner->status_ = owner->stopping_ ? 130 : 1;
  }

  // Giving the name back is the quit that the helper follows; it is not left behind when it does not.
  void quit() {
    const Variant released(callBus("ReleaseName", g_variant_new("(s)", name_.c_str()), nullptr));
    if (!helper_) return;
    bool late = false;
    const guint timer = g_timeout_add(
        quitMilliseconds,
        +[](gpointer data) -> gboolean { return *static_cast<bool*>(data) = true, G_SOURCE_CONTINUE; }, &late);
    while (helperRuns_ && !late) g_main_context_iteration(nullptr, TRUE);
    if (helperRuns_) g_subprocess_force_exit(helper_.get());
    while (helperRuns_) g_main_context_iteration(nullptr, TRUE);
    g_source_remove(timer);
  }

  Bus bus_;
  std::string name_;
  std::string token_;
  ProgressLine progress_;
  Object<GSubprocess> helper_;
  guint subscription_ = 0;
  bool helperRuns_ = true;
  bool stopping_ = false;
  int status_ = -1;
  std::string message_;
};

}  // namespace

int upload(const UploadRequest& request) {
  Owner owner(request);
  return owner.run();
}
