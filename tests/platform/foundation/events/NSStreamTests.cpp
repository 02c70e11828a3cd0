#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

// A stream that does what the test has it do, and whose delegate notes the events.
class PlainStream : public NSStream, public NSStreamDelegate {
  NS_OBJECT(PlainStream, NSStream)

 public:
  PlainStream() { setDelegate(this); }
  void open() override {}
  void close() override {}
  void stream_handleEvent(const Ref<NSStream>& stream, NSStreamEvent event) override {
    EXPECT_EQ(stream.get(), this);
    events.push_back(event);
    if (then) std::exchange(then, nullptr)();
  }
  using NSStream::cancel;
  using NSStream::cancelAllEvents;
  using NSStream::deliverIfWaiting;
  using NSStream::fail;
  using NSStream::runLoop;
  using NSStream::signal;

  std::vector<NSStreamEvent> events;
  std::function<void()> then;  // once, inside the next delivery
};

Class PlainStream::classObject() {
  static const NSClass object("PlainStream", NSStream::classObject(), {});
  return &object;
}

using Events = std::vector<NSStreamEvent>;

void turn(int times = 1) {
  for (int i = 0; i < times; ++i) NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), nil);
}

Ref<NSError> anyError() { return NSError::errorWithPOSIXCode(EIO); }

class NSStreamTest : public testing::Test {
 protected:
  void schedule() { stream->scheduleInRunLoop_forMode(NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode()); }

  const Ref<PlainStream> stream = make<PlainStream>();
};

TEST_F(NSStreamTest, DeliversOneEventATurnInTheOrderOfAStreamsLife) {
  schedule();
  for (const NSStreamEvent event :
       {NSStreamEventEndEncountered, NSStreamEventErrorOccurred, NSStreamEventHasSpaceAvailable,
        NSStreamEventHasBytesAvailable, NSStreamEventOpenCompleted}) {
    stream->signal(event);
  }
  const Events order = {NSStreamEventOpenCompleted, NSStreamEventHasBytesAvailable, NSStreamEventHasSpaceAvailable,
                        NSStreamEventErrorOccurred, NSStreamEventEndEncountered};
  for (std::size_t count = 0; count < order.size(); ++count) {
    EXPECT_EQ(stream->events.size(), count);
    turn();
  }
  EXPECT_EQ(stream->events, order);
  turn(3);
  EXPECT_EQ(stream->events.size(), order.size()) << "each once";
}

TEST_F(NSStreamTest, DeliversWhatWasSignalledBeforeItWasScheduled) {
  stream->signal(NSStreamEventOpenCompleted);
  turn(2);
  EXPECT_EQ(stream->events, Events{});
  schedule();
  turn();
  EXPECT_EQ(stream->events, Events{NSStreamEventOpenCompleted});
}

TEST_F(NSStreamTest, ADelegateThatRunsTheLoopIsToldTheEventsThatFollow) {
  schedule();
  stream->signal(NSStreamEventOpenCompleted);
  stream->signal(NSStreamEventHasSpaceAvailable);
  stream->then = [this] {
    turn();
    EXPECT_EQ(stream->events, (Events{NSStreamEventOpenCompleted, NSStreamEventHasSpaceAvailable}));
  };
  turn();
  EXPECT_EQ(stream->events.size(), 2U);
}

TEST_F(NSStreamTest, WhatIsCancelledDoesNotCome) {
  schedule();
  stream->signal(NSStreamEventOpenCompleted);
  stream->signal(NSStreamEventHasSpaceAvailable);
  stream->cancel(NSStreamEventOpenCompleted);
  turn(2);
  EXPECT_EQ(stream->events, Events{NSStreamEventHasSpaceAvailable});
  stream->signal(NSStreamEventOpenCompleted);
  stream->signal(NSStreamEventEndEncountered);
  stream->cancelAllEvents();
  turn(2);
  EXPECT_EQ(stream->events.size(), 1U);
}

TEST_F(NSStreamTest, AFailureWithdrawsWhatAFailedStreamCannotDo) {
  schedule();
  stream->signal(NSStreamEventHasBytesAvailable);
  stream->signal(NSStreamEventHasSpaceAvailable);
  const auto error = anyError();
  stream->fail(error);
  EXPECT_EQ(stream->streamStatus(), NSStreamStatusError);
  EXPECT_EQ(stream->streamError(), error);
  turn(3);
  EXPECT_EQ(stream->events, Events{NSStreamEventErrorOccurred});
}

TEST_F(NSStreamTest, DeliversAtOnceWhatWaits) {
  schedule();
  stream->signal(NSStreamEventErrorOccurred);
  stream->deliverIfWaiting(NSStreamEventEndEncountered);
  EXPECT_EQ(stream->events, Events{});
  stream->deliverIfWaiting(NSStreamEventErrorOccurred);
  EXPECT_EQ(stream->events, Events{NSStreamEventErrorOccurred});
  turn(2);
  EXPECT_EQ(stream->events.size(), 1U) << "once";
}

TEST_F(NSStreamTest, LeavesOnlyTheRunLoopThatItIsOn) {
  schedule();
  stream->signal(NSStreamEventOpenCompleted);
  stream->removeFromRunLoop_forMode(nil, NSDefaultRunLoopMode());
  EXPECT_EQ(stream->runLoop(), NSRunLoop::currentRunLoop());
  stream->removeFromRunLoop_forMode(NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode());
  EXPECT_EQ(stream->runLoop(), nil);
  turn(2);
  EXPECT_EQ(stream->events, Events{});
  stream->scheduleInRunLoop_forMode(nil, NSDefaultRunLoopMode());
  EXPECT_EQ(stream->runLoop(), nil);
  schedule();
  turn();
  EXPECT_EQ(stream->events, Events{NSStreamEventOpenCompleted}) << "what had not been told yet";
}

TEST_F(NSStreamTest, WithoutADelegateEventsAreLost) {
  schedule();
  stream->setDelegate(nullptr);
  stream->signal(NSStreamEventOpenCompleted);
  turn();
  stream->setDelegate(stream.get());
  turn();
  EXPECT_EQ(stream->events, Events{});
}

TEST_F(NSStreamTest, LivesUntilItsDelegateHasBeenTold) {
  auto own = make<PlainStream>();
  own->scheduleInRunLoop_forMode(NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode());
  own->signal(NSStreamEventOpenCompleted);
  PlainStream* const seen = own.get();
  bool told = false;
  own->then = [&] {
    own = nil;
    told = !seen->events.empty();
  };
  turn();
  EXPECT_TRUE(told);
}

TEST_F(NSStreamTest, HasNoPropertiesOfItsOwn) {
  EXPECT_FALSE(stream->setProperty_forKey("value"_ns, "key"_ns));
  EXPECT_EQ(stream->propertyForKey("key"_ns), nil);
  EXPECT_EQ(stream->streamStatus(), NSStreamStatusNotOpen);
  EXPECT_EQ(stream->streamError(), nil);
}

}  // namespace
