#include "telvo-upload/Password.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string line;
  if (!file || (!std::getline(file, line) && !file.eof())) {
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  }
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

// Takes the echo from a terminal for as long as it lives.
class Silence {
 public:
  explicit Silence(int terminal) : terminal_(terminal) {
    if (tcgetattr(terminal_, &before_) != 0) return;
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    active_ = tcsetattr(terminal_, TCSAFLUSH, &silent) == 0;
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() {
    if (active_) tcsetattr(terminal_, TCSAFLUSH, &before_);
  }

 private:
  int terminal_;
  termios before_{};
  bool active_ = false;
};

volatile std::sig_atomic_t caughtSignal = 0;

// Puts off the signals that would end the program, so that a terminal gets its echo back first. They interrupt what
// the program waits for.
class SignalDelay {
 public:
  SignalDelay() {
    struct sigaction action {};
    action.sa_handler = [](int number) { caughtSignal = number; };
    for (std::size_t index = 0; index < numbers.size(); ++index) {
      sigaction(numbers.at(index), &action, &before_.at(index));
    }
  }
  SignalDelay(const SignalDelay&) = delete;
  SignalDelay& operator=(const SignalDelay&) = delete;
  ~SignalDelay() {
    for (std::size_t index = 0; index < numbers.size(); ++index) {
      sigaction(numbers.at(index), &before_.at(index), nullptr);
    }
    if (const int number = std::exchange(caughtSignal, 0)) raise(number);
  }

 private:
  static constexpr std::array numbers = {SIGINT, SIGTERM, SIGQUIT, SIGHUP};
  std::array<struct sigaction, numbers.size()> before_{};
};

void say(int terminal, const std::string& text) {
  [[maybe_unused]] const ssize_t written = write(terminal, text.data(), text.size());
}

std::string ask(const std::string& question) {
  // The terminal itself, so that it also works in a pipeline.
  const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
  if (terminal < 0) {
    throw std::runtime_error("no password: name a file with --password-file, or set TELVO_PASSWORD");
  }
  std::string answer;
  {
    const SignalDelay delay;
    const Silence silence(terminal);
    say(terminal, question);
    char character = 0;
    while (caughtSignal == 0 && read(terminal, &character, 1) == 1 && character != '\n') answer.push_back(character);
    say(terminal, "\n");
  }
  close(terminal);
  return answer;
}

}  // namespace

std::string findPassword(const std::optional<std::string>& file, const std::string& user, const std::string& host) {
  if (file) return readFile(*file);
  if (const char* password = std::getenv("TELVO_PASSWORD")) return password;
  return ask("Password for " + user + "@" + host + ": ");
}
