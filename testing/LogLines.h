#pragma once

#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// The texts of the log lines in a process's error output, without time stamp, process name and id. What is no log line
// stays whole, so that it is found.
inline std::vector<std::string> logTexts(const std::string& output) {
  std::vector<std::string> texts;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t end = line.find("] ");
    texts.push_back(end == std::string::npos ? line : line.substr(end + 2));
  }
  return texts;
}

// For EXPECT_EXIT: the process has logged exactly these lines.
class HasLogged : public testing::MatcherInterface<const std::string&> {
 public:
  static testing::Matcher<const std::string&> lines(std::vector<std::string> expected) {
    return testing::MakeMatcher(new HasLogged(std::move(expected)));
  }

  bool MatchAndExplain(const std::string& output, testing::MatchResultListener*) const override {
    return logTexts(output) == expected_;
  }
  void DescribeTo(std::ostream* stream) const override {
    *stream << "has exactly the log lines";
    for (const std::string& line : expected_) *stream << "\n  " << line;
  }

 private:
  explicit HasLogged(std::vector<std::string> expected) : expected_(std::move(expected)) {}
  std::vector<std::string> expected_;
};
