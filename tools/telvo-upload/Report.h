#pragma once

#include <cstdint>

#include "telvo/owner/Owner.h"
#include "telvo/owner/Progress.h"
#include "telvo/owner/ProgressText.h"
#include "telvo/owner/Terminal.h"

enum class Output { usual, quiet, verbose, json };

// Tells the user of a run as it goes, and what became of it: what failed goes to standard error, all else to standard
// output.
class Report {
 public:
  // Made before the upload is started.
  Report(Output output, const telvo::Upload& upload);

  void ready(const std::string& version) const;
  void item(const telvo::Record& record);
  void bytes(const telvo::Bytes& bytes);
  // `stopWasAsked`: whether the user has asked for a stop, which may have come too late.
  telvo::Verdict end(telvo::Ending ending, bool stopWasAsked);

 private:
  void tellItem(const telvo::Record& record);
  void tellFailures(telvo::Verdict verdict) const;
  void tellCache(telvo::Ending ending) const;
  void tellEnding(telvo::Ending ending, telvo::Verdict verdict) const;

  Output output_;
  bool isDryRun_;
  telvo::Security security_;
  std::string cache_;
  std::uint64_t oldCache_;  // its inode; 0: there is none
  telvo::Progress progress_;
  telvo::StatusLine line_{[this](int columns) { return telvo::progressText(progress_, columns); }};
};

// Tells of trouble, on standard error.
void complain(const std::string& text);
