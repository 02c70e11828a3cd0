#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

// What the helper reports after each item.
struct ProgressRecord {
  std::string localPath;
  std::uint64_t nth = 0;
  std::uint64_t total = 0;
  std::uint64_t percent = 0;
  bool isMore = false;
};

// Shows where an upload is: one line that is written over again on a terminal, a line for each item elsewhere.
class ProgressLine {
 public:
  explicit ProgressLine(std::FILE* output);

  void show(const ProgressRecord& record);
  // Leaves the line as it stands; what is written next begins on a new one.
  void finish();

 private:
  void showOnTerminal(const ProgressRecord& record);

  std::FILE* output_;
  bool terminal_;
  bool open_ = false;
};

// The text for a terminal of that many columns: bar, percent, number and path. Bytes that a terminal would obey are
// replaced, and a path that is too long loses its beginning.
std::string progressText(const ProgressRecord& record, std::size_t columns);
