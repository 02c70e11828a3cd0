// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

#include "telvo/owner/Namespace.h"
#include "telvo/owner/Upload.h"

TELVO_OWNER_NAMESPACE_BEGIN

// What has become of a run. `loginRefused` and `notReached`: nothing could be sent. `stopped`: before everything had
// arrived. `unknown`: the helper does not tell, because Upload::reportOutcomes is off.
enum class Verdict { complete, incomplete, loginRefused, notReached, stopped, unknown };

// The status with which a program that does nothing else says so: 0, 1, 3, 4, 130 and 1, in that order.
int exitStatus(Verdict verdict);

// Adds up what the helper reports of a run with reportOutcomes: give it every record and every Bytes. An item that
// arrives at a later try is no failure.
class Progress {
 public:
  void add(const Record& record);
  void add(const Bytes& bytes);

  // The record that came last.
  const Record& last() const { return last_; }
  // Of the item in progress, or of the last one while none is known to be; the path is empty when it is not told.
  const std::string& path() const { return bytes_.nth > 0 ? bytes_.localPath : last_.localPath; }
  std::uint64_t nth() const { return bytes_.nth > 0 ? bytes_.nth : last_.nth; }
  // Bytes of the item in progress and of the run; all 0 without reportBytes.
  const Bytes& bytes() const { return bytes_; }

  // 0 to 100, rounded down: of the bytes, or of the items where no bytes are told.
  int percent() const;
  // Bytes a second over the last few seconds, 0 while it is not known; and the seconds left at that rate, then
  // negative.
  double rate() const { return rate_; }
  double secondsLeft() const;

  // How many items have had this outcome. A failed try that is repeated is not counted.
  std::uint64_t count(Outcome outcome, bool isRemoval = false) const;
  // What has not arrived so far, by number.
  const std::map<std::uint64_t, Record>& failures() const { return failures_; }
  // How many items have not, counting those that were not even tried once it was clear that nothing gets through.
  std::uint64_t notArrived(Verdict verdict) const;
  // Takes the item that was given up by a stop out of the failures: the stop has brought it about.
  void excuseLast() { failures_.erase(last_.nth); }

  // What the run came to, once it is over. A stop that came after everything had arrived makes no difference.
  Verdict verdict(Ending ending, bool stopWasAsked) const;

 private:
  bool hasArrived(Ending ending) const;

  Record last_;
  Bytes bytes_;
  double rate_ = 0;
  std::deque<std::pair<std::chrono::steady_clock::time_point, std::uint64_t>> seen_;
  std::map<std::pair<Outcome, bool>, std::uint64_t> counts_;
  std::map<std::uint64_t, Record> failures_;
};

TELVO_OWNER_NAMESPACE_END
