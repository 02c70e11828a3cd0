#include "telvo-upload/ProgressLine.h"

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::size_t usualColumns = 80;
constexpr std::size_t barLength = 24;

std::size_t columnsOf(std::FILE* output) {
  winsize size{};
  return ioctl(fileno(output), TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usualColumns;
}

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

std::string harmless(std::string text) {
  for (char& byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    if (value < 0x20 || value == 0x7F) byte = '?';
  }
  return text;
}

// The end of the text, at most so many characters.
std::string ending(const std::string& text, std::size_t characters) {
  const auto length =
      static_cast<std::size_t>(std::ranges::count_if(text, [](char byte) { return !isContinuation(byte); }));
  if (length <= characters) return text;
  if (characters <= 3) return {};
  std::size_t dropped = length - characters + 3;
  std::size_t from = 0;
  while (from < text.size() && (dropped > 0 || isContinuation(text[from]))) {
    if (!isContinuation(text[from])) --dropped;
    ++from;
  }
  return "..." + text.substr(from);
}

std::string bar(std::uint64_t percent) {
  const std::size_t filled = std::min<std::size_t>(percent, 100) * barLength / 100;
  return std::string("[").append(filled, '#').append(barLength - filled, '-').append("]");
}

}  // namespace

std::string progressText(const ProgressRecord& record, std::size_t columns) {
  std::string percent = std::to_string(record.percent);
  percent.insert(0, percent.size() < 3 ? 3 - percent.size() : 0, ' ');
  const std::string head = bar(record.percent) + " " + percent + "% " + std::to_string(record.nth) + " of " +
                           std::to_string(record.total) + " ";
  // One column stays free: some terminals begin a new line after the last one.
  const std::size_t room = columns > head.size() + 1 ? columns - head.size() - 1 : 0;
  return head + ending(harmless(record.localPath), room);
}

ProgressLine::ProgressLine(std::FILE* output) : output_(output), terminal_(isatty(fileno(output)) != 0) {}

void ProgressLine::show(const ProgressRecord& record) {
  if (terminal_) return showOnTerminal(record);
  std::fprintf(output_, "%llu%% %llu of %llu %s\n", static_cast<unsigned long long>(record.percent),
               static_cast<unsigned long long>(record.nth), static_cast<unsigned long long>(record.total),
               harmless(record.localPath).c_str());
  std::fflush(output_);
}

void ProgressLine::showOnTerminal(const ProgressRecord& record) {
  std::fprintf(output_, "\r%s\033[K", progressText(record, columnsOf(output_)).c_str());
  std::fflush(output_);
  open_ = true;
}

void ProgressLine::finish() {
  if (!open_) return;
  std::fputc('\n', output_);
  std::fflush(output_);
  open_ = false;
}
