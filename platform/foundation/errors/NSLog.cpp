#include "foundation/errors/NSLog.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

#include <syslog.h>
#include <unistd.h>

void NSLogv(const Ref<NSString>& format, const std::vector<NSFormatArgument>& arguments) {
  const auto text = NSString::stringWithFormat_arguments(format, arguments);
  if (!text) return;
  const std::string line = text->UTF8String();
  syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());

  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto milliseconds =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 64> stamp{};
  const std::size_t size = std::strftime(stamp.data(), stamp.size(), "%Y-%m-%d %H:%M:%S", &local);
  std::string output(stamp.data(), size);
  std::array<char, 64> origin{};
  std::snprintf(origin.data(), origin.size(), ".%03d ", static_cast<int>(milliseconds));
  output += origin.data();
  output += program_invocation_short_name;
  output.append("[").append(std::to_string(getpid())).append("] ").append(line).append("\n");
  // One write per line, so that lines of several threads do not mix.
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, output.data(), output.size());
}
