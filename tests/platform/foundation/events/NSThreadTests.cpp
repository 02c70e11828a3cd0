#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/events/NSThread.h"

namespace {

class Worker : public NSObject {
  NS_OBJECT(Worker, NSObject)

 public:
  void note(const id& object) {
    onMainThread = foundation::isMainThread();
    noted.push_back(object);
  }
  void fail(const id&) { NSException::raise_format("Broken"_ns, "no luck"_ns); }
  void work(const id& object) {
    workedOnMainThread = foundation::isMainThread();
    worked = object;
    done = true;
  }

  bool onMainThread = false;
  std::vector<id> noted;
  bool workedOnMainThread = true;
  id worked;
  std::atomic<bool> done = false;
};

Class Worker::classObject() {
  static const NSClass object("Worker", NSObject::classObject(),
                              {
                                  method("note:"_sel, &Worker::note),
                                  method("fail:"_sel, &Worker::fail),
                                  method("work:"_sel, &Worker::work),
                              });
  return &object;
}

void turn() {
  NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.01));
}

void joinTurning(std::thread& thread, const std::atomic<bool>& finished) {
  while (!finished) turn();
  thread.join();
}

TEST(NSThread, PerformsTheSelectorOnAThreadOfItsOwn) {
  const auto worker = make<Worker>();
  NSThread::detachNewThreadSelector_toTarget_withObject("work:"_sel, worker, "cargo"_ns);
  while (!worker->done) NSThread::sleepForTimeInterval(0.001);
  EXPECT_FALSE(worker->workedOnMainThread);
  EXPECT_EQ(worker->worked, id("cargo"_ns));
}

TEST(NSThread, RefusesATargetThatDoesNotRespond) {
  EXPECT_THROW(NSThread::detachNewThreadSelector_toTarget_withObject("fly:"_sel, make<Worker>(), nil),
               Ref<NSException>);
  EXPECT_THROW(NSThread::detachNewThreadSelector_toTarget_withObject("work:"_sel, nil, nil), Ref<NSException>);
}

TEST(NSObjectPerforming, OnTheMainThreadIsAtOnceWhenAlreadyThere) {
  const auto worker = make<Worker>();
  worker->performSelectorOnMainThread_withObject_waitUntilDone("note:"_sel, "now"_ns, true);
  EXPECT_EQ(worker->noted.size(), 1U);
}

TEST(NSObjectPerforming, OnTheMainThreadWithoutWaitingIsLater) {
  const auto worker = make<Worker>();
  worker->performSelectorOnMainThread_withObject_waitUntilDone("note:"_sel, "later"_ns, false);
  EXPECT_TRUE(worker->noted.empty());
  turn();
  EXPECT_EQ(worker->noted.size(), 1U);
}

TEST(NSObjectPerforming, AnotherThreadWaitsUntilTheMainThreadHasDoneItInOrder) {
  const auto worker = make<Worker>();
  std::atomic<bool> finished = false;
  std::vector<std::size_t> seen;
  std::thread thread([&] {
    worker->performSelectorOnMainThread_withObject_waitUntilDone("note:"_sel, "first"_ns, false);
    for (int i = 0; i < 50; ++i) {
      worker->performSelectorOnMainThread_withObject_waitUntilDone("note:"_sel, NSNumber::numberWithInt(i), true);
      seen.push_back(worker->noted.size());
    }
    finished = true;
  });
  joinTurning(thread, finished);
  EXPECT_TRUE(worker->onMainThread);
  ASSERT_EQ(worker->noted.size(), 51U);
  EXPECT_EQ(worker->noted[0], id("first"_ns));
  for (std::size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(seen[i], i + 2);
}

TEST(NSObjectPerforming, ExceptionOnTheMainThreadReachesTheWaitingThread) {
  const auto worker = make<Worker>();
  std::atomic<bool> finished = false;
  Ref<NSString> caught;
  std::thread thread([&] {
    try {
      worker->performSelectorOnMainThread_withObject_waitUntilDone("fail:"_sel, nil, true);
    } catch (const Ref<NSException>& exception) {
      caught = exception->name();
    }
    finished = true;
  });
  joinTurning(thread, finished);
  EXPECT_TRUE(NSEqualObjects(caught, "Broken"_ns));
}

TEST(NSObjectPerforming, ExceptionNobodyWaitsForPassesOutOfTheMainRunLoop) {
  const auto worker = make<Worker>();
  worker->performSelectorOnMainThread_withObject_waitUntilDone("fail:"_sel, nil, false);
  EXPECT_THROW(turn(), Ref<NSException>);
}

TEST(NSRunLoop, ExceptionOfAnOuterTurnDoesNotLeaveAnInnerOne) {
  const auto runLoop = NSRunLoop::currentRunLoop();
  bool innerThrew = false;
  runLoop->performBlock([&] {
    runLoop->performBlock([&] {
      try {
        turn();
      } catch (const Ref<NSException>&) {
        innerThrew = true;
      }
    });
    NSException::raise_format(NSGenericException(), "outer"_ns);
  });
  EXPECT_THROW(turn(), Ref<NSException>);
  turn();
  EXPECT_FALSE(innerThrew);
}

TEST(NSAssertionHandler, RaisesAnInconsistencyWithTheDescription) {
  try {
    NSAssertionHandler::currentHandler()->handleFailureInMethod_object_file_lineNumber_description(
        "work:"_sel, make<Worker>(), "Worker"_ns, 7, "50%% of %@"_ns, "nothing"_ns);
    FAIL();
  } catch (const Ref<NSException>& exception) {
    EXPECT_TRUE(NSEqualObjects(exception->name(), NSInternalInconsistencyException()));
    EXPECT_EQ(exception->reason()->UTF8String(), "50% of nothing");
  }
}

}  // namespace
