#include "telvo-upload/Report.h"

#include <array>
#include <cstdio>

#include <sys/stat.h>

#include "telvo-upload/Json.h"

using telvo::Outcome;
using telvo::Verdict;

void complain(const std::string& text) { std::fprintf(stderr, "telvo-upload: %s\n", telvo::harmless(text).c_str()); }

namespace {

std::uint64_t inodeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

Report::Report(Output output, const telvo::Upload& upload)
    : output_(output),
      isDryRun_(upload.dryRun),
      isEncrypted_(upload.security != telvo::Security::none),
      cache_(upload.cache),
      oldCache_(inodeOf(upload.cache)) {}

void Report::ready(const std::string& version) const {
  if (output_ == Output::json) json::print("ready", "version", version);
}

void Report::item(const telvo::Record& record) {
  progress_.add(record);
  if (output_ == Output::quiet) return;
  tellItem(record);
  if (output_ != Output::json && !isDryRun_) line_.update();
}

void Report::tellItem(const telvo::Record& record) {
  const std::string path = telvo::harmless(record.localPath);
  if (output_ == Output::json) {
    json::print("item", "path", record.localPath, "remoteDirectory", record.remoteDirectory, "nth", record.nth, "total",
                record.total, "outcome", telvo::outcomeText(record), "isRemoval", record.isRemoval, "error",
                record.error, "errorCode", record.errorCode, "willRetry", record.willRetry);
  } else if (isDryRun_) {
    std::printf("%s %s\n", telvo::outcomeText(record).c_str(), path.c_str());
  } else if (output_ == Output::verbose) {
    const bool isFailure = progress_.failures().contains(record.nth);
    const std::string what = telvo::outcomeText(record) + (isFailure ? ": " + telvo::errorText(record) : "");
    line_.clear();
    std::printf("%s of %s %s: %s\n", std::to_string(record.nth).c_str(), std::to_string(record.total).c_str(),
                path.c_str(), what.c_str());
  }
  std::fflush(stdout);
}

void Report::bytes(const telvo::Bytes& bytes) {
  progress_.add(bytes);
  if (output_ == Output::json) {
    json::print("bytes", "path", bytes.localPath, "nth", bytes.nth, "sent", bytes.sent, "total", bytes.total, "runSent",
                bytes.runSent, "runTotal", bytes.runTotal);
  } else if (output_ != Output::quiet) {
    line_.update();
  }
}

Verdict Report::end(telvo::Ending ending, bool stopWasAsked) {
  line_.clear();
  const Verdict verdict = progress_.verdict(ending, stopWasAsked);
  if (verdict == Verdict::stopped) progress_.excuseLast();
  if (output_ == Output::json) {
    json::print("end", "status", statusFor(verdict), "sent", progress_.count(Outcome::sent), "removed",
                progress_.count(Outcome::removed, true), "notArrived", notArrived(verdict));
  } else if (output_ != Output::quiet) {
    tellSummary();
  }
  tellFailures(verdict);
  tellCache(ending);
  tellEnding(ending, verdict);
  return verdict;
}

void Report::tellSummary() const {
  std::string text;
  const auto add = [&text](std::uint64_t number, const char* what) {
    if (number > 0) text += (text.empty() ? "" : ", ") + std::to_string(number) + what;
  };
  add(progress_.count(Outcome::planned), " to send");
  add(progress_.count(Outcome::planned, true), " to remove");
  add(progress_.count(Outcome::sent), " sent");
  add(progress_.count(Outcome::removed, true), " removed");
  if (!text.empty()) std::puts((text + ".").c_str());
  std::fflush(stdout);
}

// Once it is clear that nothing gets through, the items that follow are not even tried.
std::uint64_t Report::notArrived(Verdict verdict) const {
  const bool isCutShort = verdict == Verdict::loginRefused || verdict == Verdict::notReached;
  if (!isCutShort) return progress_.failures().size();
  return progress_.last().total - progress_.count(Outcome::sent) - progress_.count(Outcome::removed, true);
}

void Report::tellFailures(Verdict verdict) const {
  const auto& failures = progress_.failures();
  if (failures.empty()) return;
  complain(std::to_string(notArrived(verdict)) + " of " + std::to_string(progress_.last().total) + " did not arrive:");
  for (const auto& [nth, record] : failures) {
    std::fprintf(stderr, "  %s: %s%s\n", telvo::harmless(record.localPath).c_str(),
                 record.isRemoval ? "not removed there: " : "", telvo::errorText(record).c_str());
  }
}

// The helper puts a new file in the old one's place, or leaves that when the disk is full, for example.
void Report::tellCache(telvo::Ending ending) const {
  const bool isNewer = progress_.count(Outcome::sent) + progress_.count(Outcome::removed, true) > 0;
  if (cache_.empty() || ending != telvo::Ending::finished || !isNewer || inodeOf(cache_) != oldCache_) return;
  complain(cache_ + " could not be written; the next run will send the same again");
}

void Report::tellEnding(telvo::Ending ending, Verdict verdict) const {
  const telvo::Record& last = progress_.last();
  if (verdict == Verdict::stopped && last.total == 0) return complain("stopped before the first item");
  if (verdict == Verdict::stopped) {
    return complain("stopped in item " + std::to_string(last.nth) + " of " + std::to_string(last.total));
  }
  if (verdict == Verdict::loginRefused) {
    const std::string what = isEncrypted_ ? "encryption or the login" : "the login";
    return complain("the server refused " + what + "; nothing more was tried");
  }
  if (verdict == Verdict::notReached) {
    const std::string how = isEncrypted_ ? ", or not securely" : "";
    return complain("the server was not reached" + how + "; nothing more was tried");
  }
  if (verdict == Verdict::unknown) return complain("this helper does not tell what has arrived");
  if (ending == telvo::Ending::helperEnded) complain("the helper ended before the upload did");
  if (ending == telvo::Ending::busLost) complain("the bus is gone, and with it any word of the upload");
  const bool tells = output_ == Output::usual || output_ == Output::verbose;
  if (ending == telvo::Ending::nothingToSend && tells) std::puts("Nothing to send.");
}

int statusFor(Verdict verdict) {
  // In the order of the verdicts.
  constexpr std::array statuses = {0, 1, 3, 4, 130, 1};
  return statuses.at(static_cast<std::size_t>(verdict));
}
