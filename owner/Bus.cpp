#include "telvo/owner/Bus.h"

#include <csignal>
#include <stdexcept>

#include <sys/prctl.h>
#include <unistd.h>

namespace telvo {

namespace {

// Another bus can stand in for the session's.
class NoSessionBus : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[noreturn]] void busIsSilent() { throw std::runtime_error("the session bus does not answer"); }

// Runs in the daemon's process. The terminal's signals are for the owner, who still needs the bus to stop the helper;
// and the bus goes with the owner, also when that is killed.
void leaveTerminal(gpointer) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
}

}  // namespace

void EndProcess::operator()(GSubprocess* process) const {
  const Object<GSubprocess> owned(process);
  const TimeLimit limit(busLimit);
  g_subprocess_send_signal(process, SIGTERM);
  if (g_subprocess_wait(process, limit.cancellable(), nullptr)) return;
  g_subprocess_force_exit(process);
  g_subprocess_wait(process, nullptr, nullptr);
}

Bus::Bus(BusChoice choice) {
  try {
    connectToSession();
  } catch (const NoSessionBus&) {
    if (choice == BusChoice::session) throw;
    startDaemon();
  }
  // The owner is told of a lost bus, not ended.
  g_dbus_connection_set_exit_on_close(connection_.get(), FALSE);
}

Bus::~Bus() {
  const TimeLimit limit(busLimit);
  g_dbus_connection_close_sync(connection_.get(), limit.cancellable(), nullptr);
}

void Bus::connectToSession() {
  const TimeLimit limit(busLimit);
  Error noAddress;
  const Text address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, limit.cancellable(), noAddress.place()));
  if (noAddress.isCancelled()) busIsSilent();
  if (!address) throw NoSessionBus("there is no session bus: " + noAddress.message());
  address_ = address.get();
  Error notConnected;
  connection_ = connect(notConnected, limit);
  if (notConnected.isCancelled()) busIsSilent();
  if (!connection_) throw NoSessionBus("the session bus is not reached: " + notConnected.message());
}

void Bus::startDaemon() {
  const TimeLimit limit(busLimit);
  const Object<GSubprocessLauncher> launcher(g_subprocess_launcher_new(
      static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDOUT_PIPE | G_SUBPROCESS_FLAGS_STDERR_SILENCE)));
  g_subprocess_launcher_set_child_setup(launcher.get(), &leaveTerminal, nullptr, nullptr);
  Error notStarted;
  daemon_.reset(g_subprocess_launcher_spawn(launcher.get(), notStarted.place(), "dbus-daemon", "--session", "--nofork",
                                            "--nopidfile", "--print-address", nullptr));
  if (!daemon_) throw std::runtime_error("there is no session bus, and none can be started: " + notStarted.message());
  const Object<GDataInputStream> output(g_data_input_stream_new(g_subprocess_get_stdout_pipe(daemon_.get())));
  const Text line(g_data_input_stream_read_line(output.get(), nullptr, limit.cancellable(), nullptr));
  if (!line) throw std::runtime_error("there is no session bus, and dbus-daemon does not start one");
  address_ = line.get();
  Error notConnected;
  connection_ = connect(notConnected, limit);
  if (!connection_) throw std::runtime_error("the bus that was started is not reached: " + notConnected.message());
}

Object<GDBusConnection> Bus::connect(Error& error, const TimeLimit& limit) const {
  constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                           G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  return Object<GDBusConnection>(
      g_dbus_connection_new_for_address_sync(address_.c_str(), flags, nullptr, limit.cancellable(), error.place()));
}

Variant Bus::call(const char* method, GVariant* parameters) const {
  constexpr int milliseconds = std::chrono::milliseconds(busLimit).count();
  Error error;
  Variant answer(g_dbus_connection_call_sync(connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                             "org.freedesktop.DBus", method, parameters, nullptr,
                                             G_DBUS_CALL_FLAGS_NONE, milliseconds, nullptr, error.place()));
  if (!answer) throw std::runtime_error(std::string("the session bus refuses ") + method + ": " + error.message());
  return answer;
}

}  // namespace telvo
