#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/errors/LogSink.h"
#include "testing/ChildProcess.h"

namespace {

using foundation::LogSink;

// Where the lines go: a reader that can be told to stop reading.
struct Reader {
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> lines;
  bool reads = true;

  static Reader& shared() {
    static Reader& reader = *new Reader;
    return reader;
  }
  static void take(const std::string& line) {
    Reader& reader = shared();
    std::unique_lock lock(reader.mutex);
    reader.changed.wait(lock, [&] { return reader.reads; });
    reader.lines.push_back(line);
    reader.changed.notify_all();
  }
  void setReads(bool does) {
    const std::lock_guard lock(mutex);
    reads = does;
    changed.notify_all();
  }
  std::size_t count() {
    const std::lock_guard lock(mutex);
    return lines.size();
  }
  void waitFor(const std::string& line) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return std::ranges::find(lines, line) != lines.end(); });
  }
};

LogSink& sink() {
  static LogSink& shared =
      *new LogSink({Reader::take, [](std::size_t count) { return std::to_string(count) + " dropped"; }});
  return shared;
}

class LogSinkTest : public testing::Test {
 protected:
  LogSinkTest() {
    reader.setReads(true);
    sink().add("first");
    reader.waitFor("first");
    const std::lock_guard lock(reader.mutex);
    reader.lines.clear();
  }
  ~LogSinkTest() override { reader.setReads(true); }

  Reader& reader = Reader::shared();
};

TEST_F(LogSinkTest, LinesOfOneThreadStayInOrder) {
  for (int i = 0; i < 500; ++i) sink().add(std::to_string(i));
  reader.waitFor("499");
  const std::lock_guard lock(reader.mutex);
  for (std::size_t i = 0; i < 500; ++i) EXPECT_EQ(reader.lines.at(i), std::to_string(i));
}

TEST_F(LogSinkTest, WhoDoesNotReadMissesLinesAndIsToldHowMany) {
  constexpr std::size_t many = 5000;
  reader.setReads(false);
  for (std::size_t i = 0; i < many; ++i) sink().add(std::to_string(i));
  EXPECT_EQ(reader.count(), 0U);
  reader.setReads(true);
  sink().add("last");
  std::size_t dropped = 0;
  while (dropped == 0) {
    std::this_thread::yield();
    const std::lock_guard lock(reader.mutex);
    for (const std::string& line : reader.lines) {
      if (line.ends_with(" dropped")) dropped = std::stoul(line);
    }
  }
  const std::lock_guard lock(reader.mutex);
  // What is there is the beginning, and then comes the gap.
  std::size_t kept = 0;
  while (kept < reader.lines.size() && reader.lines[kept] == std::to_string(kept)) ++kept;
  EXPECT_GE(kept, 100U);
  ASSERT_LT(kept, reader.lines.size());
  EXPECT_TRUE(reader.lines[kept].ends_with(" dropped"));
  EXPECT_TRUE(dropped == many - kept || dropped == many + 1 - kept) << dropped << " of those behind " << kept;
}

TEST_F(LogSinkTest, AChildProcessWritesItsOwnLinesOnly) {
  reader.setReads(false);
  sink().add("of the parent");
  const std::string result = inChild([&] {
    Reader::shared().reads = true;
    sink().add("of the child");
    const std::lock_guard lock(reader.mutex);
    return reader.lines.empty() ? std::string() : reader.lines.front();
  });
  EXPECT_EQ(result, "of the child");
  reader.setReads(true);
  reader.waitFor("of the parent");
}

}  // namespace
