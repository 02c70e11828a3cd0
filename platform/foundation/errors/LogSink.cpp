#include "foundation/errors/LogSink.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include <pthread.h>

#include "foundation/runtime/BackgroundThread.h"

inline namespace telvo {

namespace foundation {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t capacity = 1000;
// How long a line waits to be written, and for how long none does so after one has waited in vain: a slow reader costs
// a hundredth of the time at most.
constexpr auto patience = std::chrono::milliseconds(100);
constexpr auto impatience = std::chrono::seconds(10);

// All sinks of the process, for what has to be done about each.
struct Sinks {
  std::mutex mutex;
  std::vector<LogSink*> all;
};

Sinks& sinks() {
  static Sinks& shared = *new Sinks;
  return shared;
}

}  // namespace

// Shared by the callers and the thread that writes.
struct LogSink::State {
  std::mutex mutex;
  std::condition_variable added;
  std::condition_variable written;
  std::deque<std::string> lines;  // the first one is being written
  std::size_t dropped = 0;        // since the last line
  bool hasThread = false;
  Clock::time_point impatientUntil;

  bool isFull() const { return lines.size() >= capacity || (dropped > 0 && lines.size() > capacity / 2); }

  // The number of missing lines stands where they are missing.
  void tellDropped(const Target& target) {
    if (dropped > 0) lines.push_back(target.dropped(std::exchange(dropped, 0)));
  }

  void writeForEver(const Target& target) {
    std::unique_lock lock(mutex);
    while (true) {
      if (lines.empty()) tellDropped(target);
      added.wait(lock, [this] { return !lines.empty(); });
      const std::string line = lines.front();
      lock.unlock();
      target.write(line);
      lock.lock();
      lines.pop_front();
      written.notify_all();
    }
  }

  void waitUntilWritten(std::unique_lock<std::mutex>& lock) {
    if (Clock::now() < impatientUntil) return;
    if (written.wait_for(lock, patience, [this] { return lines.empty(); })) return;
    impatientUntil = Clock::now() + impatience;
  }
};

LogSink::LogSink(const Target& target) : target_(target), state_(new State) {
  Sinks& shared = sinks();
  const std::lock_guard lock(shared.mutex);
  if (shared.all.empty()) {
    // A child process has no thread that writes, and its locks are as they were in the middle of the fork.
    pthread_atfork(prepareFork, resumeParent, beginChild);
    std::atexit([] {
      for (LogSink* sink : sinks().all) sink->waitForReader();
    });
  }
  shared.all.push_back(this);
}

void LogSink::add(std::string line) {
  State& state = *state_;
  std::unique_lock lock(state.mutex);
  if (!state.hasThread)
    state.hasThread = startBackgroundThread([&state, target = target_] { state.writeForEver(target); });
  // Without a thread there is only this one.
  if (!state.hasThread) return target_.write(line);
  if (state.isFull()) {
    ++state.dropped;
    return;
  }
  state.tellDropped(target_);
  state.lines.push_back(std::move(line));
  state.added.notify_one();
  state.waitUntilWritten(lock);
}

// Before the process exits: what the reader takes now still reaches it.
void LogSink::waitForReader() {
  std::unique_lock lock(state_->mutex);
  state_->written.wait_for(lock, patience, [this] { return state_->lines.empty(); });
}

void LogSink::prepareFork() {
  sinks().mutex.lock();
  for (LogSink* sink : sinks().all) sink->state_->mutex.lock();
}

void LogSink::resumeParent() {
  for (LogSink* sink : sinks().all) sink->state_->mutex.unlock();
  sinks().mutex.unlock();
}

// What still waits to be written is the parent's, which writes it. The old state stays where it is: it cannot be
// destroyed with a lock that is held.
void LogSink::beginChild() {
  for (LogSink* sink : sinks().all) sink->state_ = new State;
  sinks().mutex.unlock();
}

}  // namespace foundation

}  // namespace telvo
