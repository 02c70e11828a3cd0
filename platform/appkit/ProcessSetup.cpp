#include "appkit/ProcessSetup.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <glib.h>
#include <malloc.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

inline namespace telvo {

namespace appkit {
namespace {

void openStandardDescriptors() {
  // The lowest number that is free is the one that is missing.
  int descriptor = open("/dev/null", O_RDWR);
  while (descriptor >= 0 && descriptor < STDERR_FILENO) descriptor = open("/dev/null", O_RDWR);
  if (descriptor > STDERR_FILENO) close(descriptor);
}

// Takes no memory, and does not wait for a reader.
[[noreturn]] void endWithError(std::string_view reason) {
  pollfd output{STDERR_FILENO, POLLOUT, 0};
  if (poll(&output, 1, 0) == 1) {
    constexpr std::size_t parts = 4;
    const auto part = [](std::string_view text) { return iovec{const_cast<char*>(text.data()), text.size()}; };
    const std::array<iovec, parts> line = {part(program_invocation_short_name), part(": "), part(reason), part("\n")};
    [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, line.data(), static_cast<int>(line.size()));
  }
  _exit(EXIT_FAILURE);
}

// What the system is short of is no mistake of the program, and leaves no core file.
[[noreturn]] void uncaughtException() {
  try {
    if (const std::exception_ptr exception = std::current_exception()) std::rethrow_exception(exception);
  } catch (const std::bad_alloc&) {
    endWithError("out of memory");
  } catch (const std::system_error& error) {
    endWithError(error.what());
  } catch (...) {
    std::abort();
  }
  std::abort();
}

// GLib has no other answer than an error of this level when it gets no memory or no thread, and would abort behind it.
GLogWriterOutput logOfGLib(GLogLevelFlags level, const GLogField* fields, gsize count, gpointer) {
  if ((level & G_LOG_LEVEL_ERROR) == 0) return g_log_writer_default(level, fields, count, nullptr);
  std::string_view message = "out of memory";
  for (gsize i = 0; i < count; ++i) {
    if (std::string_view(fields[i].key) == "MESSAGE") message = static_cast<const char*>(fields[i].value);
  }
  endWithError(message);
}

// One of GLib's ways of taking memory aborts where there is none. Any other abort goes on when this returns.
void aborting(int) {
  constexpr std::size_t little = std::size_t{1} << 18U;
  if (mmap(nullptr, little, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) == MAP_FAILED) {
    endWithError("out of memory");
  }
}

// The proxy for web pages is none for FTP. A desktop's proxy library (libproxy) takes it for one when the settings name
// no other; such a proxy may refuse to connect to FTP servers, and then every item would fail.
void forgetWebProxy() {
  unsetenv("http_proxy");
  unsetenv("HTTP_PROXY");
}

}  // namespace

void setUpProcess() {
  openStandardDescriptors();
  sigset_t none;
  sigemptyset(&none);
  pthread_sigmask(SIG_SETMASK, &none, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // All threads share what memory there is. Where it is limited, a thread that cannot get a part of its own gets none
  // at all, and GLib then not even what it needs to say so.
  mallopt(M_ARENA_MAX, 1);
  std::signal(SIGABRT, aborting);
  std::set_terminate(uncaughtException);
  g_log_set_writer_func(logOfGLib, nullptr, nullptr);
  forgetWebProxy();
}

}  // namespace appkit

}  // namespace telvo
