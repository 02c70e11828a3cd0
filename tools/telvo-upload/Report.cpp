#include "telvo-upload/Report.h"

#include <cstdio>

#include <sys/stat.h>

#include "telvo/owner/EventText.h"

using telvo::Outcome;
using telvo::Verdict;

void complain(const std::string& text) { std::fprintf(stderr, "telvo-upload: %s\n", telvo::harmless(text).c_str()); }

namespace {

void print(const std::string& line) {
  std::puts(line.c_str());
  std::fflush(stdout);
}

std::uint64_t inodeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

Report::Report(Output output, const telvo::Upload& upload)
    : output_(output),
      isDryRun_(upload.dryRun),
      security_(upload.security),
      cache_(upload.cache),
      oldCache_(inodeOf(upload.cache)) {}

void Report::ready(const std::string& version) const {
  if (output_ == Output::json) print(telvo::readyEvent(version));
}

void Report::item(const telvo::Record& record) {
  progress_.add(record);
  if (output_ == Output::quiet) return;
  tellItem(record);
  if (output_ != Output::json && !isDryRun_) line_.update();
}

void Report::tellItem(const telvo::Record& record) {
  if (output_ == Output::json) {
    print(telvo::itemEvent(record));
  } else if (isDryRun_) {
    print(telvo::outcomeText(record) + " " + telvo::harmless(record.localPath));
  } else if (output_ == Output::verbose) {
    line_.clear();
    print(telvo::itemText(record));
  }
}

void Report::bytes(const telvo::Bytes& bytes) {
  progress_.add(bytes);
  if (output_ == Output::json) {
    print(telvo::bytesEvent(bytes));
  } else if (output_ != Output::quiet) {
    line_.update();
  }
}

Verdict Report::end(telvo::Ending ending, bool stopWasAsked) {
  line_.clear();
  const Verdict verdict = progress_.verdict(ending, stopWasAsked);
  if (verdict == Verdict::stopped) progress_.excuseLast();
  if (output_ == Output::json) {
    print(telvo::endEvent(progress_, verdict));
  } else if (const std::string text = telvo::summaryText(progress_); output_ != Output::quiet && !text.empty()) {
    print(text);
  }
  tellFailures(verdict);
  tellCache(ending);
  tellEnding(ending, verdict);
  return verdict;
}

void Report::tellFailures(Verdict verdict) const {
  const auto& failures = progress_.failures();
  if (failures.empty()) return;
  complain(std::to_string(progress_.notArrived(verdict)) + " of " + std::to_string(progress_.last().total) +
           " did not arrive:");
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
  const std::string text = telvo::endingText(progress_, ending, verdict, security_);
  if (!text.empty()) return complain(text);
  const bool tells = output_ == Output::usual || output_ == Output::verbose;
  if (ending == telvo::Ending::nothingToSend && tells) print("Nothing to send.");
}
