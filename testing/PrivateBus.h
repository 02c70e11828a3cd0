#pragma once

#include <csignal>
#include <cstdlib>
#include <random>
#include <string>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// Makes this process one without a session bus. To be called before it has used one.
inline void leaveBus() {
  const std::string address = "unix:abstract=telvo-test-nobody-" + std::to_string(getpid());
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
}

// A D-Bus session bus of the test program's own, which is this process's session bus from then on.
class PrivateBus {
 public:
  PrivateBus() {
    // Without a file, which a daemon that is killed would leave behind.
    static int buses = 0;
    // Such names have no regard for containers, where other processes have the same numbers.
    const std::string name = "telvo-test-" + std::to_string(getpid()) + "-" + std::to_string(std::random_device()()) +
                             "-" + std::to_string(++buses);
    const std::string listening = "--address=unix:abstract=" + name;
    int output[2];
    if (pipe(output) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      dup2(output[1], STDOUT_FILENO);
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
      execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nosyslog", "--print-address=1",
             listening.c_str(), nullptr);
      _exit(127);
    }
    close(output[1]);
    char byte = 0;
    while (read(output[0], &byte, 1) == 1 && byte != '\n') address_ += byte;
    close(output[0]);
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  }
  ~PrivateBus() { stop(); }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  // The one that all tests of a process share, because a process has one session bus.
  static PrivateBus& shared() {
    static PrivateBus bus;
    return bus;
  }

  const std::string& address() const { return address_; }
  void signal(int number) const { kill(process_, number); }
  void stop() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = 0;
  }

 private:
  pid_t process_ = 0;
  std::string address_;
};
