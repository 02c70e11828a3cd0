#include "telvo/owner/Owner.h"

#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include <sys/prctl.h>
#include <unistd.h>

#include "telvo/owner/Bus.h"
#include "telvo/owner/Message.h"

namespace telvo {

namespace {

constexpr const char* helperName = "TelvoFTPHelper";
// How long the helper is given to follow the quit of its owner.
constexpr std::chrono::seconds quitLimit(5);

std::string uniqueText() { return Text(g_uuid_string_random()).get(); }

// Bus names have no hyphens in front of their parts' digits; the process makes it readable in a list of names.
std::string uniqueName() { return "com.telvo.Owner.p" + std::to_string(getpid()) + "x" + uniqueText().substr(0, 8); }

// A group of its own: the terminal's Ctrl-C is for the owner, which asks the helper to stop.
void leaveGroup(gpointer) { setpgid(0, 0); }

// On the owner's own bus nobody is left to tell the helper that its owner has been killed.
void leaveGroupAndEndWithOwner(gpointer) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
}

std::vector<const gchar*> pointers(const std::vector<std::string>& texts) {
  std::vector<const gchar*> result;
  result.reserve(texts.size() + 1);
  for (const std::string& text : texts) result.push_back(text.c_str());
  result.push_back(nullptr);
  return result;
}

}  // namespace

// The owner's state. What GLib calls back later holds it weakly: the owner may be gone by then.
class Owner::Run : public std::enable_shared_from_this<Run> {
 public:
  Run(BusChoice choice, const std::string& name);
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() = default;

  void start(const Upload& upload, UploadEvents events);
  void stop();
  Ending wait();
  void letGo();
  bool isOnSessionBus() const { return !bus_.isOwn(); }

 private:
  using Weak = std::weak_ptr<Run>;

  void listen();
  void launch(const Upload& upload);
  void postStop();
  void asPosted(const gchar* sender, GVariant* parameters);
  void identify(const std::string& sender, Variant message);
  void identified(const std::string& sender, std::int64_t process);
  void take(GVariant* parameters);
  void takeRecord(GVariant* info);
  void end(Ending ending);

  static void posted(GDBusConnection*, const gchar* sender, const gchar*, const gchar*, const gchar*,
                     GVariant* parameters, gpointer data);
  static void processKnown(GObject* connection, GAsyncResult* result, gpointer data);
  static void helperEnded(GObject* process, GAsyncResult* result, gpointer data);
  static void busClosed(GDBusConnection*, gboolean, GError*, gpointer data);

  Bus bus_;
  std::string name_;
  std::string token_ = uniqueText();
  Object<GMainContext> context_;
  UploadEvents events_;
  Object<GSubprocess> helper_;
  std::int64_t helperProcess_ = 0;                            // 0: none, or it has ended
  std::string helperAddress_;                                 // the helper's unique name on the bus, once it is known
  std::map<std::string, std::vector<Variant>> unidentified_;  // messages by senders who may be the helper
  guint subscription_ = 0;
  gulong closedHandler_ = 0;
  bool stopRequested_ = false;
  bool helperListens_ = false;
  std::optional<Ending> ending_;
};

Owner::Run::Run(BusChoice choice, const std::string& name)
    : bus_(choice), name_(name.empty() ? uniqueName() : name), context_(g_main_context_ref_thread_default()) {
  constexpr guint doNotQueue = 4;
  constexpr guint isOwner = 1;
  const Variant answer = bus_.call("RequestName", g_variant_new("(su)", name_.c_str(), doNotQueue));
  guint32 result = 0;
  g_variant_get(answer.get(), "(u)", &result);
  if (result != isOwner) throw std::runtime_error("another program has the name " + name_);
}

void Owner::Run::start(const Upload& upload, UploadEvents events) {
  if (helper_) throw std::runtime_error("an owner makes one upload");
  events_ = std::move(events);
  if (subscription_ == 0) listen();
  launch(upload);
}

// The bus is asked for what has this run's token alone: a busy neighbour costs nothing. Its answer says that it listens
// from now on, so that nothing of the helper is missed.
void Owner::Run::listen() {
  const std::string rule = std::string("type='signal',interface='") + wire::interfaceName + "',member='" +
                           wire::signalName + "',path='" + wire::objectPath + "',arg1='" + token_ + "'";
  bus_.call("AddMatch", g_variant_new("(s)", rule.c_str()));
  subscription_ = g_dbus_connection_signal_subscribe(
      bus_.connection(), nullptr, wire::interfaceName, wire::signalName, wire::objectPath, nullptr,
      G_DBUS_SIGNAL_FLAGS_NO_MATCH_RULE, &posted, new Weak(weak_from_this()),
      +[](gpointer data) { delete static_cast<Weak*>(data); });
  closedHandler_ = g_signal_connect_data(
      bus_.connection(), "closed", G_CALLBACK(&busClosed), new Weak(weak_from_this()),
      +[](gpointer data, GClosure*) { delete static_cast<Weak*>(data); }, static_cast<GConnectFlags>(0));
}

void Owner::Run::launch(const Upload& upload) {
  std::vector<std::string> command = {upload.helper.empty() ? findHelper() : upload.helper};
  for (std::string& argument : launchArguments(upload, name_, token_)) command.push_back(std::move(argument));
  const Object<GSubprocessLauncher> launcher(g_subprocess_launcher_new(G_SUBPROCESS_FLAGS_NONE));
  g_subprocess_launcher_setenv(launcher.get(), "DBUS_SESSION_BUS_ADDRESS", bus_.address().c_str(), TRUE);
  g_subprocess_launcher_set_child_setup(launcher.get(), bus_.isOwn() ? &leaveGroupAndEndWithOwner : &leaveGroup,
                                        nullptr, nullptr);
  Error error;
  helper_.reset(g_subprocess_launcher_spawnv(launcher.get(), pointers(command).data(), error.place()));
  if (!helper_) throw std::runtime_error("the helper cannot be started: " + error.message());
  helperProcess_ = g_ascii_strtoll(g_subprocess_get_identifier(helper_.get()), nullptr, 10);
  g_subprocess_wait_async(helper_.get(), nullptr, &helperEnded, new Weak(weak_from_this()));
}

void Owner::Run::stop() {
  if (!helper_ || ending_) return;
  stopRequested_ = true;
  postStop();
}

void Owner::Run::postStop() {
  g_dbus_connection_emit_signal(bus_.connection(), nullptr, wire::objectPath, wire::interfaceName, wire::signalName,
                                g_variant_new("(ssa{sv})", wire::stop, token_.c_str(), nullptr), nullptr);
}

Ending Owner::Run::wait() {
  if (!helper_) throw std::logic_error("the owner has not been started");
  const auto self = shared_from_this();
  while (!ending_) g_main_context_iteration(context_.get(), TRUE);
  return *ending_;
}

// Giving the name back is the quit that the helper follows; it is not left behind when it does not.
void Owner::Run::letGo() {
  if (subscription_ != 0) g_dbus_connection_signal_unsubscribe(bus_.connection(), subscription_);
  if (closedHandler_ != 0) g_signal_handler_disconnect(bus_.connection(), closedHandler_);
  if (!helper_) return;
  try {
    bus_.call("ReleaseName", g_variant_new("(s)", name_.c_str()));
  } catch (const std::runtime_error&) {
    g_subprocess_send_signal(helper_.get(), SIGTERM);
  }
  const TimeLimit limit(quitLimit);
  if (g_subprocess_wait(helper_.get(), limit.cancellable(), nullptr)) return;
  g_subprocess_force_exit(helper_.get());
  g_subprocess_wait(helper_.get(), nullptr, nullptr);
}

void Owner::Run::posted(GDBusConnection*, const gchar* sender, const gchar*, const gchar*, const gchar*,
                        GVariant* parameters, gpointer data) {
  if (const auto run = static_cast<Weak*>(data)->lock()) run->asPosted(sender, parameters);
}

// Anybody on the bus can see the token in the helper's messages, and use it; nobody can be the helper's process.
void Owner::Run::asPosted(const gchar* sender, GVariant* parameters) {
  if (!sender || !g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssa{sv})"))) return;
  if (helperAddress_ == sender) return take(parameters);
  if (helperAddress_.empty()) identify(sender, Variant(g_variant_ref(parameters)));
}

void Owner::Run::identify(const std::string& sender, Variant message) {
  // What one sender may have waiting while the bus looks it up.
  constexpr std::size_t mostWaiting = 10'000;
  auto& waiting = unidentified_[sender];
  if (waiting.size() < mostWaiting) waiting.push_back(std::move(message));
  if (waiting.size() > 1) return;
  auto* const context = new std::pair<Weak, std::string>(weak_from_this(), sender);
  g_dbus_connection_call(bus_.connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "GetConnectionUnixProcessID", g_variant_new("(s)", sender.c_str()), G_VARIANT_TYPE("(u)"),
                         G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &processKnown, context);
}

void Owner::Run::processKnown(GObject* connection, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<std::pair<Weak, std::string>> context(static_cast<std::pair<Weak, std::string>*>(data));
  const Variant answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
  guint32 process = 0;
  if (answer) g_variant_get(answer.get(), "(u)", &process);
  if (const auto run = context->first.lock()) run->identified(context->second, process);
}

void Owner::Run::identified(const std::string& sender, std::int64_t process) {
  auto messages = unidentified_.extract(sender);
  if (process == 0 || process != helperProcess_ || messages.empty()) return;
  helperAddress_ = sender;
  unidentified_.clear();
  for (const Variant& message : messages.mapped()) take(message.get());
}

void Owner::Run::take(GVariant* parameters) {
  const gchar* name = nullptr;
  const gchar* object = nullptr;
  GVariant* list = nullptr;
  g_variant_get(parameters, "(&s&s@a{sv})", &name, &object, &list);
  const Variant details(list);
  if (token_ != object || ending_) return;
  const Variant info(g_variant_lookup_value(details.get(), "UserInfo", G_VARIANT_TYPE_VARDICT));
  const std::string_view kind(name);
  if (kind != wire::ready && kind != wire::progress && kind != wire::bytes) return;
  if (!std::exchange(helperListens_, true) && stopRequested_) postStop();
  if (kind == wire::ready && info && events_.ready) events_.ready(readVersion(info.get()));
  if (kind == wire::bytes && info && events_.bytes) events_.bytes(readBytes(info.get()));
  if (kind == wire::progress) takeRecord(info.get());
}

void Owner::Run::takeRecord(GVariant* info) {
  if (!info) return end(Ending::nothingToSend);
  const Record record = readRecord(info);
  if (events_.item) events_.item(record);
  if (!record.isMore) end(Ending::finished);
}

void Owner::Run::end(Ending ending) {
  if (ending_) return;
  ending_ = ending;
  if (events_.ended) events_.ended(ending);
}

void Owner::Run::helperEnded(GObject* process, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<Weak> weak(static_cast<Weak*>(data));
  g_subprocess_wait_finish(G_SUBPROCESS(process), result, nullptr);
  const auto run = weak->lock();
  if (!run) return;
  run->helperProcess_ = 0;
  run->end(Ending::helperEnded);
}

void Owner::Run::busClosed(GDBusConnection*, gboolean, GError*, gpointer data) {
  if (const auto run = static_cast<Weak*>(data)->lock()) run->end(Ending::busLost);
}

Owner::Owner(BusChoice choice, const std::string& name) : run_(std::make_shared<Run>(choice, name)) {}

Owner::~Owner() { run_->letGo(); }

void Owner::start(const Upload& upload, UploadEvents events) { run_->start(upload, std::move(events)); }

void Owner::stop() { run_->stop(); }

Ending Owner::wait() { return run_->wait(); }

bool Owner::isOnSessionBus() const { return run_->isOnSessionBus(); }

std::string findHelper() {
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  for (const auto& path : {folder / helperName, folder / TELVO_HELPER_FROM_PROGRAMS / helperName,
                           std::filesystem::path(TELVO_HELPER_FOLDER) / helperName}) {
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  const Text found(g_find_program_in_path(helperName));
  if (!found) throw std::runtime_error(std::string(helperName) + " is not installed");
  return found.get();
}

}  // namespace telvo
