#include "foundation/errors/NSLog.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>

#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include "foundation/errors/LogSink.h"

inline namespace telvo {

namespace {

using foundation::LogSink;

std::string droppedText(std::size_t count) { return std::to_string(count) + " lines dropped"; }

// The time, the program's name and its process id in front.
std::string lineForStandardError(std::string_view text) {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 64> stamp{};
  const std::size_t size = std::strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &local);
  std::array<char, 64> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%03d ", static_cast<int>(milliseconds));
  std::string line(stamp.data(), size);
  line.append(fraction.data()).append(program_invocation_short_name);
  return line.append("[").append(std::to_string(getpid())).append("] ").append(text).append("\n");
}

// One write per line wherever the system takes it so, and lines of several programs do not mix.
void writeToStandardError(const std::string& line) {
  for (std::string_view rest = line; !rest.empty();) {
    const ssize_t count = write(STDERR_FILENO, rest.data(), rest.size());
    if (count >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      pollfd ready{STDERR_FILENO, POLLOUT, 0};
      poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return;
    }
  }
}

// A line of the system log is one line, whatever stands in a path, and sends no commands to a terminal: control
// characters, those of C1 in UTF-8 included, are written as their bytes.
std::string lineForSystemLog(std::string_view text) {
  std::string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : 0);
    std::size_t size = byte < 0x20 || byte == 0x7F ? 1 : 0;
    if (byte == 0xC2 && next >= 0x80 && next < 0xA0) size = 2;
    if (size == 0) line.push_back(text[i]);
    for (std::size_t escaped = 0; escaped < size; ++escaped) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned char>(text[i + escaped]));
      line += escape.data();
    }
    if (size > 1) i += size - 1;
  }
  return line;
}

void writeToSystemLog(const std::string& line) { syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str()); }

LogSink& standardError() {
  static LogSink& sink =
      *new LogSink({writeToStandardError, [](std::size_t count) { return lineForStandardError(droppedText(count)); }});
  return sink;
}

LogSink& systemLog() {
  static LogSink& sink = [] {
    openlog(nullptr, LOG_PID, LOG_USER);
    return std::ref(*new LogSink({writeToSystemLog, droppedText}));
  }();
  return sink;
}

}  // namespace

void NSLogv(const Ref<NSString>& format, const std::vector<NSFormatArgument>& arguments) {
  const auto text = NSString::stringWithFormat_arguments(format, arguments);
  if (!text) return;
  const std::string line = text->UTF8String();
  systemLog().add(lineForSystemLog(line));
  standardError().add(lineForStandardError(line));
}

}  // namespace telvo
