#include "telvo/owner/Progress.h"

#include <algorithm>
#include <array>

namespace telvo {

namespace {

bool isFailure(Outcome outcome) { return outcome == Outcome::failed || outcome == Outcome::skipped; }

}  // namespace

int exitStatus(Verdict verdict) {
  constexpr std::array statuses = {0, 1, 3, 4, 130, 1};
  return statuses.at(static_cast<std::size_t>(verdict));
}

void Progress::add(const Record& record) {
  last_ = record;
  if (!record.willRetry) ++counts_[{record.outcome, record.isRemoval}];
  failures_.erase(record.nth);
  if (isFailure(record.outcome)) failures_[record.nth] = record;
  bytes_.localPath.clear();
  bytes_.nth = bytes_.sent = bytes_.total = 0;
}

void Progress::add(const Bytes& bytes) {
  constexpr std::chrono::seconds window(8);
  bytes_ = bytes;
  const auto now = std::chrono::steady_clock::now();
  seen_.emplace_back(now, bytes.runSent);
  while (seen_.size() > 2 && now - seen_.front().first > window) seen_.pop_front();
  const std::chrono::duration<double> passed = now - seen_.front().first;
  // What is sent again after a failed try was counted before.
  const std::uint64_t before = std::min(seen_.front().second, bytes.runSent);
  rate_ = passed.count() > 0 ? static_cast<double>(bytes.runSent - before) / passed.count() : 0;
}

int Progress::percent() const {
  const std::uint64_t done = bytes_.runTotal > 0 ? bytes_.runSent : last_.nth;
  const std::uint64_t all = std::max<std::uint64_t>(bytes_.runTotal > 0 ? bytes_.runTotal : last_.total, 1);
  return static_cast<int>(100.0 * static_cast<double>(std::min(done, all)) / static_cast<double>(all));
}

double Progress::secondsLeft() const {
  if (rate_ <= 0 || bytes_.runTotal < bytes_.runSent) return -1;
  return static_cast<double>(bytes_.runTotal - bytes_.runSent) / rate_;
}

std::uint64_t Progress::count(Outcome outcome, bool isRemoval) const {
  const auto found = counts_.find({outcome, isRemoval});
  return found == counts_.end() ? 0 : found->second;
}

std::uint64_t Progress::notArrived(Verdict verdict) const {
  const bool isCutShort = verdict == Verdict::loginRefused || verdict == Verdict::notReached;
  if (!isCutShort) return failures_.size();
  return last_.total - count(Outcome::sent) - count(Outcome::removed, true);
}

// Not by the last record's number: the last one may be of an item that was tried again.
bool Progress::hasArrived(Ending ending) const {
  std::uint64_t arrived = 0;
  for (const auto& [kind, number] : counts_) {
    if (kind.first != Outcome::unknown && !isFailure(kind.first)) arrived += number;
  }
  return ending == Ending::finished && arrived == last_.total;
}

Verdict Progress::verdict(Ending ending, bool stopWasAsked) const {
  if (stopWasAsked && !hasArrived(ending)) return Verdict::stopped;
  if (last_.aborted) return last_.errorCode > 0 ? Verdict::loginRefused : Verdict::notReached;
  const bool isOver = ending == Ending::finished || ending == Ending::nothingToSend;
  if (isOver && count(Outcome::unknown) > 0) return Verdict::unknown;
  return isOver && failures_.empty() ? Verdict::complete : Verdict::incomplete;
}

}  // namespace telvo
