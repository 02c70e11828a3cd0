#include <array>
#include <optional>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "foundation/events/EventSource.h"
#include "foundation/files/FileIO.h"

namespace {

using foundation::DescriptorSource;
using foundation::SignalSource;
using foundation::TimerSource;

Ref<NSRunLoop> loop() { return NSRunLoop::currentRunLoop(); }
void turn(NSTimeInterval seconds = 0) {
  loop()->runMode_beforeDate(NSDefaultRunLoopMode(),
                             seconds > 0 ? NSDate::dateWithTimeIntervalSinceNow(seconds) : Ref<NSDate>());
}

class DescriptorSourceTest : public testing::Test {
 protected:
  DescriptorSourceTest() {
    std::array<int, 2> pair{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair.data()), 0);
    own = foundation::FileDescriptor(pair[0]);
    other = foundation::FileDescriptor(pair[1]);
  }
  void watch(unsigned events) {
    source.emplace(loop(), own.get(), events, [this] {
      ++calls;
      readable = source->isReadable();
      writable = source->isWritable();
    });
  }
  int callsInATurn() {
    calls = 0;
    turn();
    return calls;
  }
  void send() const { EXPECT_EQ(write(other.get(), "x", 1), 1); }

  foundation::FileDescriptor own;
  foundation::FileDescriptor other;
  std::optional<DescriptorSource> source;
  int calls = 0;
  bool readable = false;
  bool writable = false;
};

TEST_F(DescriptorSourceTest, CallsForAsLongAsThereIsSomethingToRead) {
  watch(DescriptorSource::Readable);
  EXPECT_EQ(callsInATurn(), 0);
  send();
  EXPECT_EQ(callsInATurn(), 1);
  EXPECT_TRUE(readable);
  EXPECT_FALSE(writable);
  EXPECT_EQ(callsInATurn(), 1) << "it was not read";
  char byte = 0;
  EXPECT_EQ(read(own.get(), &byte, 1), 1);
  EXPECT_EQ(callsInATurn(), 0);
}

TEST_F(DescriptorSourceTest, TellsWhichOfTwoEventsItWas) {
  watch(DescriptorSource::Readable | DescriptorSource::Writable);
  EXPECT_EQ(callsInATurn(), 1);
  EXPECT_FALSE(readable);
  EXPECT_TRUE(writable);
  send();
  EXPECT_EQ(callsInATurn(), 1);
  EXPECT_TRUE(readable && writable);
}

TEST_F(DescriptorSourceTest, WatchesOnlyWhatItIsTold) {
  watch(DescriptorSource::Writable);
  send();
  EXPECT_EQ(callsInATurn(), 1);
  EXPECT_FALSE(readable);
  source->setEvents(DescriptorSource::None);
  EXPECT_EQ(callsInATurn(), 0);
  source->setEvents(DescriptorSource::Readable);
  EXPECT_EQ(callsInATurn(), 1);
  EXPECT_TRUE(readable);
  EXPECT_FALSE(writable);
}

TEST_F(DescriptorSourceTest, TheOtherSidesEndIsReadable) {
  watch(DescriptorSource::Readable);
  other.close();
  EXPECT_EQ(callsInATurn(), 1);
  EXPECT_TRUE(readable);
}

// A descriptor that has failed is ready for good, and would keep the loop busy.
TEST_F(DescriptorSourceTest, AFailureIsNotToldWhileNothingIsWatched) {
  watch(DescriptorSource::None);
  other.close();
  EXPECT_EQ(callsInATurn(), 0);
}

TEST_F(DescriptorSourceTest, MayGoInsideItsOwnCall) {
  source.emplace(loop(), own.get(), DescriptorSource::Writable, [this] {
    ++calls;
    source.reset();
  });
  EXPECT_EQ(callsInATurn(), 1);
  EXPECT_EQ(callsInATurn(), 0);
}

TEST_F(DescriptorSourceTest, IsServedInsideItsOwnCall) {
  source.emplace(loop(), own.get(), DescriptorSource::Writable, [this] {
    if (++calls == 1) turn();
  });
  EXPECT_EQ(callsInATurn(), 2);
}

class TimerSourceTest : public testing::Test {
 protected:
  int calls = 0;
  TimerSource source{loop(), [this] { ++calls; }};
};

TEST_F(TimerSourceTest, CallsOnceAndNotBeforeItsTime) {
  turn();
  EXPECT_EQ(calls, 0) << "nothing was set";
  source.fireAfter(0.05);
  turn();
  EXPECT_EQ(calls, 0);
  for (int turns = 0; turns < 100 && calls == 0; ++turns) turn(0.1);
  EXPECT_EQ(calls, 1);
  turn(0.1);
  EXPECT_EQ(calls, 1);
}

TEST_F(TimerSourceTest, TheTimeThatWasSetLastCounts) {
  source.fireAfter(1e300);
  source.fireAfter(-5);
  turn();
  EXPECT_EQ(calls, 1);
  source.fireAfter(0);
  source.fireAfter(1e300);
  turn();
  EXPECT_EQ(calls, 1);
  source.fireAfter(0);
  source.cancel();
  turn();
  EXPECT_EQ(calls, 1);
}

TEST(SignalSource, CallsOnceForAnyNumberOfSignals) {
  int calls = 0;
  SignalSource source(loop(), [&] { ++calls; });
  source.signal();
  source.signal();
  turn();
  turn();
  EXPECT_EQ(calls, 1);
  source.signal();
  source.clear();
  turn();
  EXPECT_EQ(calls, 1);
}

TEST(SignalSource, MayBeSignalledInsideItsOwnCall) {
  int calls = 0;
  SignalSource source(loop(), [&] {
    if (++calls < 3) source.signal();
  });
  source.signal();
  for (int turns = 0; turns < 5; ++turns) turn();
  EXPECT_EQ(calls, 3);
}

}  // namespace
