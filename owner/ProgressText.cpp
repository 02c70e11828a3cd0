#include "telvo/owner/ProgressText.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <vector>

#include "telvo/owner/GLibObjects.h"
#include "telvo/owner/Terminal.h"

namespace telvo {

namespace {

std::string amountText(std::uint64_t sent, std::uint64_t total) { return sizeText(sent) + " of " + sizeText(total); }

std::string timeText(double seconds) {
  constexpr double most = 359'999;
  const int whole = static_cast<int>(std::min(seconds, most));
  char text[32];
  std::snprintf(text, sizeof text, "%d:%02d:%02d left", whole / 3600, whole / 60 % 60, whole % 60);
  return text + (whole < 3600 ? 2 : 0);
}

// The words of a reply of several lines, each of which may begin with the code again.
std::string onOneLine(const std::string& words, const std::string& code) {
  std::istringstream lines(words);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    if (!code.empty() && line.starts_with(code + "-")) line.erase(0, code.size() + 1);
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos) continue;
    text += (text.empty() ? "" : " ") + line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
  }
  return text;
}

// What there is to tell of the whole run, what matters most first.
std::vector<std::string> runTexts(const Progress& progress) {
  std::vector<std::string> texts = {std::to_string(progress.nth()) + "/" + std::to_string(progress.last().total)};
  if (progress.last().total == 0) texts.clear();
  if (progress.secondsLeft() >= 0) texts.push_back(timeText(progress.secondsLeft()));
  if (progress.rate() > 0) texts.push_back(sizeText(static_cast<std::uint64_t>(progress.rate())) + "/s");
  const Bytes& bytes = progress.bytes();
  if (bytes.runTotal > 0) texts.push_back(amountText(bytes.runSent, bytes.runTotal));
  return texts;
}

}  // namespace

std::string outcomeText(const Record& record) {
  switch (record.outcome) {
    case Outcome::unknown:
      return "unknown";
    case Outcome::sent:
      return "sent";
    case Outcome::removed:
      return "removed";
    case Outcome::failed:
      return "failed";
    case Outcome::skipped:
      return "skipped";
    case Outcome::planned:
      return record.reason;
  }
  return {};
}

std::string errorText(const Record& record) {
  const std::string code = record.errorCode > 0 ? std::to_string(record.errorCode) : "";
  const std::string text = harmless(onOneLine(record.error, code));
  if (!code.empty() && text.starts_with(code + " ")) return text;
  return (code.empty() ? "" : code + " ") + (text.empty() ? "no reason is known" : text);
}

std::string itemText(const Record& record) {
  const bool isFailure = record.outcome == Outcome::failed || record.outcome == Outcome::skipped;
  return std::to_string(record.nth) + " of " + std::to_string(record.total) + " " + harmless(record.localPath) + ": " +
         outcomeText(record) + (isFailure ? ": " + errorText(record) : "");
}

std::string sizeText(std::uint64_t bytes) { return Text(g_format_size(bytes)).get(); }

std::string summaryText(const Progress& progress) {
  std::string text;
  const auto add = [&text](std::uint64_t number, const char* what) {
    if (number > 0) text += (text.empty() ? "" : ", ") + std::to_string(number) + what;
  };
  add(progress.count(Outcome::planned), " to send");
  add(progress.count(Outcome::planned, true), " to remove");
  add(progress.count(Outcome::sent), " sent");
  add(progress.count(Outcome::removed, true), " removed");
  return text.empty() ? text : text + ".";
}

std::string endingText(const Progress& progress, Ending ending, Verdict verdict, Security security) {
  const Record& last = progress.last();
  const bool isEncrypted = security != Security::none;
  switch (verdict) {
    case Verdict::stopped:
      if (last.total == 0) return "stopped before the first item";
      return "stopped in item " + std::to_string(last.nth) + " of " + std::to_string(last.total);
    case Verdict::loginRefused:
      return std::string("the server refused ") + (isEncrypted ? "encryption or " : "") +
             "the login; nothing more was tried";
    case Verdict::notReached:
      return std::string("the server was not reached") + (isEncrypted ? ", or not securely" : "") +
             "; nothing more was tried";
    case Verdict::unknown:
      return "this helper does not tell what has arrived";
    case Verdict::complete:
    case Verdict::incomplete:
      break;
  }
  if (ending == Ending::helperEnded) return "the helper ended before the upload did";
  return ending == Ending::busLost ? "the bus is gone, and with it any word of the upload" : "";
}

std::string progressText(const Progress& progress, int columns) {
  // Two columns stay free for the "^C" of a user who stops the upload, and one because some terminals begin a new line
  // after the last one.
  const int room = columns - 3;
  const int forPath = std::min(room / 3, 30);
  std::string line = std::to_string(progress.percent()) + "%";
  for (const std::string& text : runTexts(progress)) {
    if (columnsOf(line + text) + 4 + forPath <= room) line += "  " + text;
  }
  const Bytes& bytes = progress.bytes();
  std::string amount = bytes.total > 0 ? " (" + amountText(bytes.sent, bytes.total) + ")" : "";
  const int left = room - columnsOf(line) - 2;
  if (columnsOf(amount) + forPath > left) amount.clear();
  return line + "  " + ending(harmless(progress.path()), left - columnsOf(amount)) + amount;
}

}  // namespace telvo
