#include "telvo/owner/Terminal.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <glib-unix.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace telvo {

namespace {

bool isHarmless(gunichar character) {
  const GUnicodeType type = g_unichar_type(character);
  return g_unichar_isprint(character) && type != G_UNICODE_LINE_SEPARATOR && type != G_UNICODE_PARAGRAPH_SEPARATOR;
}

int columnsOf(gunichar character) {
  if (g_unichar_iszerowidth(character)) return 0;
  return g_unichar_iswide(character) ? 2 : 1;
}

int terminalColumns() {
  constexpr int usual = 80;
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

// In the background, the terminal shows what somebody else is doing.
bool isInForeground() {
  const pid_t group = tcgetpgrp(STDOUT_FILENO);
  return group < 0 || group == getpgrp();
}

volatile std::sig_atomic_t caughtSignal = 0;

// A terminal without echo for as long as it lives. Signals that would end or stop the program wait until the terminal
// has its echo back; they interrupt what the program waits for.
class Silence {
 public:
  explicit Silence(int terminal) : terminal_(terminal) {
    struct sigaction action {};
    action.sa_handler = [](int number) { caughtSignal = number; };
    for (std::size_t index = 0; index < signals.size(); ++index) {
      sigaction(signals.at(index), &action, &before_.at(index));
    }
    tcgetattr(terminal_, &settings_);
    termios silent = settings_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(terminal_, TCSAFLUSH, &silent);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() {
    tcsetattr(terminal_, TCSAFLUSH, &settings_);
    for (std::size_t index = 0; index < signals.size(); ++index) {
      sigaction(signals.at(index), &before_.at(index), nullptr);
    }
  }

 private:
  static constexpr std::array signals = {SIGINT, SIGTERM, SIGQUIT, SIGHUP, SIGTSTP};
  int terminal_;
  termios settings_{};
  std::array<struct sigaction, signals.size()> before_{};
};

void say(int terminal, const std::string& text) {
  [[maybe_unused]] const ssize_t written = write(terminal, text.data(), text.size());
}

// A line; nothing when a signal or the end of the input has come before its end.
std::optional<std::string> askOnce(int terminal, const std::string& question) {
  const Silence silence(terminal);
  say(terminal, question);
  std::string answer;
  char character = 0;
  while (caughtSignal == 0 && read(terminal, &character, 1) == 1 && character != '\n') answer.push_back(character);
  say(terminal, "\n");
  if (character != '\n' || caughtSignal != 0) return std::nullopt;
  return answer;
}

}  // namespace

std::string harmless(const std::string& text) {
  // What is no character at all is one of the two largest numbers.
  constexpr gunichar characters = 0x110000;
  std::string result;
  for (const char *at = text.data(), *const end = at + text.size(); at < end;) {
    const gunichar character = g_utf8_get_char_validated(at, end - at);
    const char* const next = character < characters ? g_utf8_next_char(at) : at + 1;
    if (character < characters && isHarmless(character))
      result.append(at, next);
    else
      result.append("\uFFFD");
    at = next;
  }
  return result;
}

int columnsOf(const std::string& harmlessText) {
  int columns = 0;
  for (const char* at = harmlessText.c_str(); *at != '\0'; at = g_utf8_next_char(at)) {
    columns += columnsOf(g_utf8_get_char(at));
  }
  return columns;
}

std::string ending(const std::string& harmlessText, int columns) {
  int taken = columnsOf(harmlessText);
  if (taken <= columns) return harmlessText;
  constexpr int tooNarrowForDots = 9;
  const std::string dots = columns < tooNarrowForDots ? "" : "...";
  const int room = columns - static_cast<int>(dots.size());
  const char* at = harmlessText.c_str();
  for (; *at != '\0' && taken > room; at = g_utf8_next_char(at)) taken -= columnsOf(g_utf8_get_char(at));
  // An accent without its letter would land on what is before it.
  while (*at != '\0' && g_unichar_iszerowidth(g_utf8_get_char(at))) at = g_utf8_next_char(at);
  return dots + at;
}

std::string askForPassword(const std::string& question) {
  // The terminal itself, so that it also works in a pipeline.
  const int terminal = open("/dev/tty", O_RDWR | O_CLOEXEC);
  if (terminal < 0) throw std::runtime_error("there is no password, and no terminal to ask for it");
  std::optional<std::string> answer;
  int number = 0;
  do {
    answer = askOnce(terminal, question);
    number = std::exchange(caughtSignal, 0);
    // Stops or ends the program.
    if (number != 0) raise(number);
  } while (number != 0);
  close(terminal);
  if (!answer) throw std::runtime_error("no password was given");
  return *answer;
}

StatusLine::StatusLine(std::function<std::string(int columns)> text)
    : text_(std::move(text)), isTerminal_(isatty(STDOUT_FILENO) != 0) {
  if (!isTerminal_) return;
  const auto redraw = [](gpointer data) -> gboolean {
    auto* const line = static_cast<StatusLine*>(data);
    if (line->drawn_ > 0) line->update();
    return G_SOURCE_CONTINUE;
  };
  resizeWatch_ = g_unix_signal_add(SIGWINCH, redraw, this);
}

StatusLine::~StatusLine() {
  clear();
  if (resizeWatch_ != 0) g_source_remove(resizeWatch_);
}

void StatusLine::update() {
  constexpr std::int64_t millisecond = 1000;
  if (!isTerminal_ || timer_ != 0) return;
  const std::int64_t pause = nextDraw_ - g_get_monotonic_time();
  if (pause <= 0) return draw();
  const auto drawLatest = [](gpointer data) -> gboolean {
    auto* const line = static_cast<StatusLine*>(data);
    line->timer_ = 0;
    line->draw();
    return G_SOURCE_REMOVE;
  };
  timer_ = g_timeout_add(static_cast<guint>(pause / millisecond + 1), drawLatest, this);
}

void StatusLine::clear() {
  if (timer_ != 0) g_source_remove(std::exchange(timer_, 0));
  erase();
}

void StatusLine::erase() {
  const int columns = std::exchange(drawn_, 0);
  if (columns == 0 || !isInForeground()) return;
  // A terminal that has become narrower has wrapped the line. Row by row, because some terminals keep what is cleared
  // with all that is below it as history.
  std::fputs("\r\033[K", stdout);
  for (int rowsAbove = (columns - 1) / terminalColumns(); rowsAbove > 0; --rowsAbove) {
    std::fputs("\033[A\033[K", stdout);
  }
  std::fflush(stdout);
}

void StatusLine::draw() {
  constexpr std::int64_t interval = 100'000;
  nextDraw_ = g_get_monotonic_time() + interval;
  erase();
  if (!isInForeground()) return;
  const std::string text = text_(terminalColumns());
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);
  drawn_ = columnsOf(text);
}

}  // namespace telvo
