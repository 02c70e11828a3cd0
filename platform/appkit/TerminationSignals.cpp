#include "appkit/TerminationSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "foundation/events/NSRunLoop.h"
#include "foundation/events/UrgentRequest.h"
#include "foundation/runtime/BackgroundThread.h"

inline namespace telvo {

namespace {

int descriptor = -1;
std::atomic<unsigned> requests = 0;
std::atomic<unsigned> servedRequests = 0;
std::array<int, 3> numbers = {SIGTERM, SIGINT, SIGHUP};

void handle(int) {
  const int savedError = errno;
  ++requests;
  [[maybe_unused]] const int written = eventfd_write(descriptor, 1);
  errno = savedError;
}

void serveRequests(const std::function<void()>& serve) {
  eventfd_t count = 0;
  eventfd_read(descriptor, &count);
  servedRequests = requests.load();
  serve();
}

// Who started the process with SIGHUP ignored wants it to outlive the terminal.
bool isCaught(int number) {
  struct sigaction action {};
  return number != SIGHUP || sigaction(SIGHUP, nullptr, &action) != 0 || action.sa_handler != SIG_IGN;
}

sigset_t caughtSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : numbers) {
    if (isCaught(number)) sigaddset(&set, number);
  }
  return set;
}

// Sees that a request is served although the main thread cannot: in the kernel, waiting for a file system that does not
// answer, it runs no handler, and the signal stays pending; or the handler has run just before.
class MainThreadWatch {
 public:
  explicit MainThreadWatch(const sigset_t& signals) : signals_(signals) {}

  [[noreturn]] void run() const {
    const int pending = signalfd(-1, &signals_, SFD_CLOEXEC);
    while (true) {
      std::array<pollfd, 2> arrivals = {{{pending, POLLIN, 0}, {descriptor, POLLIN, 0}}};
      poll(arrivals.data(), arrivals.size(), pending < 0 ? static_cast<int>(step.count()) : -1);
      // The main thread may serve it a moment later.
      std::this_thread::sleep_for(step);
      const std::string state = stateOfStuckMainThread();
      if (isUninterruptible(state)) _exit(EXIT_SUCCESS);
      // Some file systems (FUSE) first wait in a way that any other waiting may be, too. It takes a signal to tell.
      if (isWaiting(state)) tgkill(getpid(), getpid(), SIGTERM);
    }
  }

 private:
  static constexpr auto step = std::chrono::milliseconds(100);

  bool isRequested() const {
    // This thread has them blocked, so that it is told of those that are meant for the process.
    sigset_t waiting;
    sigpending(&waiting);
    for (const int number : numbers) {
      if (sigismember(&signals_, number) == 1 && sigismember(&waiting, number) == 1) return true;
    }
    return requests != servedRequests;
  }

  // A disk that is merely slow lets the thread run now and then. Empty when it does, or nothing is left to be served.
  std::string stateOfStuckMainThread() const {
    constexpr int steps = 20;
    const std::string before = stateOfMainThread();
    for (int i = 0; i < steps; ++i) {
      const bool isStill = isUninterruptible(before) || isWaiting(before);
      if (!isRequested() || !isStill || stateOfMainThread() != before) return {};
      std::this_thread::sleep_for(step);
    }
    return before;
  }

  // The state and the numbers of its turns on a processor.
  static std::string stateOfMainThread() {
    std::ifstream file("/proc/self/task/" + std::to_string(getpid()) + "/status");
    std::string state;
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with("State:") || line.find("ctxt_switches:") != std::string::npos) state += line + "\n";
    }
    return state;
  }

  static bool isUninterruptible(const std::string& state) { return state.starts_with("State:\tD"); }
  static bool isWaiting(const std::string& state) { return state.starts_with("State:\tS"); }

  const sigset_t signals_;
};

}  // namespace

void TerminationSignals::catchThem() {
  descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  const sigset_t signals = caughtSignals();
  struct sigaction action {};
  action.sa_handler = handle;
  action.sa_flags = SA_RESTART;
  for (const int number : numbers) {
    if (sigismember(&signals, number) == 1) sigaction(number, &action, nullptr);
  }
  // Without a thread to spare, the run loop serves the signals as it does otherwise.
  foundation::startBackgroundThread([watch = MainThreadWatch(signals)] { watch.run(); });
}

TerminationSignals::TerminationSignals(std::function<void()> serve)
    : source_(NSRunLoop::mainRunLoop(), descriptor, foundation::DescriptorSource::Readable,
              [serve] { serveRequests(serve); }) {
  foundation::setUrgentRequest({descriptor, [serve = std::move(serve)] { serveRequests(serve); }});
}

TerminationSignals::~TerminationSignals() { foundation::setUrgentRequest({}); }

}  // namespace telvo
