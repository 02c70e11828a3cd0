#pragma once

#include <cstddef>
#include <string>

inline namespace telvo {

namespace foundation {

// A place that log lines go to, and that may not take them: a pipe that nobody reads, a log service that hangs. A
// thread of its own writes, so that only this thread ever waits for the reader. Any thread may add.
class LogSink {
 public:
  struct Target {
    // Writes one line; may take for ever.
    void (*write)(const std::string& line);
    // The line that says how many are missing where it stands.
    std::string (*dropped)(std::size_t count);
  };

  // Lives until the process ends.
  explicit LogSink(const Target& target);
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;
  ~LogSink() = delete;

  // Has usually been written when the call returns. When the reader does not read, the call returns soon all the same,
  // the line is kept for it, and past some hundreds of them it is dropped, and counted.
  void add(std::string line);

 private:
  struct State;
  static void prepareFork();
  static void resumeParent();
  static void beginChild();
  void waitForReader();

  const Target target_;
  State* state_;
};

}  // namespace foundation

}  // namespace telvo
