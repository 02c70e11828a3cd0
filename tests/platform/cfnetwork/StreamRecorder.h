#pragma once

#include <algorithm>
#include <vector>

#include "foundation/Foundation.h"
#include "foundation/events/NSStream.h"

// Remembers a stream's events, and runs the loop until what a test waits for has come.
class StreamRecorder : public NSStreamDelegate {
 public:
  explicit StreamRecorder(const Ref<NSStream>& stream) : stream_(stream) {
    stream_->setDelegate(this);
    stream_->scheduleInRunLoop_forMode(NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode());
  }
  StreamRecorder(const StreamRecorder&) = delete;
  StreamRecorder& operator=(const StreamRecorder&) = delete;
  ~StreamRecorder() override { stream_->setDelegate(nullptr); }

  void stream_handleEvent(const Ref<NSStream>&, NSStreamEvent event) override { events.push_back(event); }

  bool has(NSStreamEvent event) const { return std::find(events.begin(), events.end(), event) != events.end(); }

  // Serves what is due now, and what that makes due.
  static void settle() {
    for (int turn = 0; turn < 20; ++turn) NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), nil);
  }

  std::vector<NSStreamEvent> events;

 private:
  Ref<NSStream> stream_;
};
