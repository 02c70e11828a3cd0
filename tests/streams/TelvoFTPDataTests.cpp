#include <algorithm>
#include <filesystem>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "foundation/runtime/WeakRef.h"
#include "streams/TelvoFTPData.h"
#include "testing/TemporaryDirectory.h"
#include "tests/streams/ProgressObserver.h"
#include "tests/streams/UploadRecords.h"

// The run of a job.

namespace {

using namespace records;

using Strings = std::vector<std::string>;

// A space makes a name that no URL can hold, so that these items end at once, unsent, and no network is needed.
TEST(TelvoFTPData, ReportsEachItemWhateverBecomesOfIt) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  folder.write("my site/b");
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2", "3"}));
  EXPECT_EQ(observer->all("Total"_ns), (Strings{"3", "3", "3"}));
  EXPECT_EQ(observer->all("Percent"_ns), (Strings{"33", "66", "100"}));
  EXPECT_EQ(observer->all("IsMore"_ns), (Strings{"1", "1", "0"}));
  EXPECT_EQ(observer->all("LocalPath"_ns).front(), folder / "my site");
  EXPECT_EQ(observer->all("RemoteDirectory"_ns), (Strings{"/", "/my site", "/my site"}));
  EXPECT_TRUE(as<NSNumber>(observer->records[0]->objectForKey("IsMore"_ns))->isBool());
  EXPECT_FALSE(job->isWorking());
  EXPECT_EQ(job->index(), 3U);
  EXPECT_FALSE(job->currentInfo()) << "a job that has ended has no current item";
  EXPECT_FALSE(job->debugMode()) << "the flag is not taken over";
}

TEST(TelvoFTPData, PercentIsCutToAWholeNumber) {
  const auto job = TelvoFTPData::ftpData();
  const auto percents = [&](int count) {
    const auto plan = NSMutableArray::array();
    for (int i = 0; i < count; ++i) plan->addObject(folderRecord("/a"_ns, "/"_ns));
    job->setUploadInfo(plan);
    job->resetIndex();
    Strings result;
    for (; job->currentInfo(); job->incrementIndex())
      result.push_back(utf8(job->currentInfo()->objectForKey("Percent"_ns)));
    return result;
  };
  EXPECT_EQ(percents(7), (Strings{"14", "28", "42", "57", "71", "85", "100"}));
  const Strings many = percents(101);
  EXPECT_EQ(many[0], "0");
  EXPECT_EQ(many[1], "1");
  EXPECT_EQ(many[99], "99");
  EXPECT_EQ(many[100], "100");
}

TEST(TelvoFTPData, NothingToSendIsOneNotificationWithoutARecord) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  planned(folder.text("Site"), folder.text("cache.plist"));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, folder.text("Site"), "host"_ns, folder.text("cache.plist"));
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"(no record)"}));
  EXPECT_FALSE(job->isWorking());
  EXPECT_EQ(job->index(), 1U);
}

TEST(TelvoFTPData, AMissingSourceIsReportedWithAnEmptyPath) {
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, nil, "host"_ns);
  EXPECT_EQ(observer->all("LocalPath"_ns), (Strings{""}));
  EXPECT_EQ(observer->all("Percent"_ns), (Strings{"100"}));
}

TEST(TelvoFTPData, AFreshJobIsIdle) {
  const auto job = TelvoFTPData::ftpData();
  EXPECT_FALSE(job->isWorking());
  EXPECT_FALSE(job->isMore());
  EXPECT_EQ(job->index(), 0U);
  EXPECT_EQ(job->count(), 0U);
  EXPECT_FALSE(job->currentInfo());
  EXPECT_FALSE(job->host());
  EXPECT_FALSE(job->username());
  EXPECT_FALSE(job->password());
  job->setUploadInfo(NSMutableArray::arrayWithObjects({folderRecord("/a"_ns, "/"_ns), folderRecord("/b"_ns, "/"_ns)}));
  EXPECT_FALSE(job->isMore()) << "more items, but not working";
  job->stop();
  EXPECT_FALSE(job->isWorking());
}

// Deliberate: such a job stalls, and nothing that it can be told moves it on.
TEST(TelvoFTPData, WithoutAHostAJobPostsNothingAndStaysWorking) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  for (const auto& host : {Ref<NSString>(), ""_ns}) {
    const auto job = TelvoFTPData::ftpData();
    const auto observer = ProgressObserver::of(job);
    run(job, folder.text("Site"), host, folder.text("cache.plist"));
    EXPECT_TRUE(job->isWorking());
    EXPECT_EQ(job->index(), 0U);
    EXPECT_TRUE(folder.has("cache.plist"));
    job->stop();
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.05));
    EXPECT_TRUE(observer->records.empty());
    fs::remove(folder / "cache.plist");
  }
}

TEST(TelvoFTPData, NothingToSendEndsAJobWithoutAHostToo) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  planned(folder.text("Site"), folder.text("cache.plist"));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  run(job, folder.text("Site"), nil, folder.text("cache.plist"));
  EXPECT_EQ(observer->records.size(), 1U);
  EXPECT_FALSE(job->isWorking());
}

TEST(TelvoFTPData, TheCacheFileIsWrittenBeforeTheFirstItemIsSentAndWhateverBecomesOfIt) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  Strings sizes;
  observer->then = [&] {
    sizes.push_back(std::to_string(NSArray::arrayWithContentsOfFile(folder.text("cache.plist"))->count()));
  };
  run(job, folder.text("my site"), "host"_ns, folder.text("cache.plist"));
  EXPECT_EQ(sizes, (Strings{"2", "2"})) << "the items failed and are recorded all the same";
}

TEST(TelvoFTPData, TheStackStaysFlatHoweverManyItemsThereAre) {
  const TemporaryDirectory folder;
  for (int i = 0; i < 3000; ++i) folder.write("my site/" + std::to_string(i));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  std::uintptr_t lowest = UINTPTR_MAX;
  std::uintptr_t highest = 0;
  observer->then = [&] {
    const char here = 0;
    lowest = std::min(lowest, reinterpret_cast<std::uintptr_t>(&here));
    highest = std::max(highest, reinterpret_cast<std::uintptr_t>(&here));
  };
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->records.size(), 3001U);
  EXPECT_LT(highest - lowest, 4096U);
}

// A server that refuses the first connection after all and says nothing on those that follow.
class SilentServer {
 public:
  SilentServer() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool ready = bind(listener_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                       listen(listener_, 16) == 0 &&
                       getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    EXPECT_TRUE(ready);
    port_ = ntohs(address.sin_port);
    thread_ = std::jthread([this] {
      close(accept(listener_, nullptr, nullptr));
      for (int connection = 0; (connection = accept(listener_, nullptr, nullptr)) >= 0;)
        connections_.push_back(connection);
    });
  }
  ~SilentServer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
    for (const int connection : connections_) close(connection);
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  Ref<NSString> host() const { return NSString::stringWithFormat("127.0.0.1:%d"_ns, port_); }

 private:
  int listener_ = -1;
  int port_ = 0;
  std::vector<int> connections_;
  std::jthread thread_;
};

TEST(TelvoFTPData, AStopDuringTheSecondOfFiveItemsEndsTheJobWithItsRecord) {
  const TemporaryDirectory folder;
  for (const char* name : {"a", "b", "c", "d"}) folder.write(std::string("site/") + name);
  const SilentServer server;
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  observer->then = [&] {
    // Once the second item is on its way.
    if (observer->records.size() == 1) job->performSelector_withObject_afterDelay("stop"_sel, nil, 0.05);
  };
  run(job, folder.text("site"), server.host());
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2"}));
  EXPECT_EQ(observer->all("IsMore"_ns), (Strings{"1", "0"}));
  EXPECT_EQ(observer->all("Percent"_ns), (Strings{"20", "40"}));
  EXPECT_FALSE(job->isWorking());
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.05));
  EXPECT_EQ(observer->records.size(), 2U) << "nothing more comes";
}

// A tree and a cache so large that the run loop gets its turn in each step of making the plan.
class TelvoFTPDataPlanning : public testing::Test {
 protected:
  static constexpr int files = 20000;
  static constexpr int cached = 40000;

  TelvoFTPDataPlanning() {
    for (int number = 0; number < files; ++number) folder.write("site/" + std::to_string(number));
    const auto records = NSMutableArray::array();
    for (int number = 0; number < cached; ++number) {
      records->addObject(fileRecord(NSString::stringWithFormat("/gone/%d"_ns, number), "/gone"_ns, 5));
    }
    records->writeToFile_atomically(cache, false);
    content = folder.read("cache.plist");
  }

  // Stops the job in the first turn of the run loop in which the condition holds.
  void stopWhen(const std::function<bool()>& condition) {
    NSRunLoop::currentRunLoop()->performBlock([this, condition] {
      if (!condition()) return stopWhen(condition);
      stopped = true;
      job->stop();
    });
  }
  bool isScanned() const { return job->count() == files + 1; }
  bool isFiltered() const { return job->cachedInfo() && job->cachedInfo()->count() != cached; }

  void expectAbandoned() const {
    EXPECT_TRUE(stopped) << "the run loop had no turn in this step";
    EXPECT_EQ(observer->all("Nth"_ns), Strings{"(no record)"}) << "as when there is nothing to send";
    EXPECT_FALSE(job->isWorking());
    // Not compared by the test library, which would look for the differences of two long texts.
    EXPECT_TRUE(folder.read("cache.plist") == content) << "what was not sent is not recorded";
  }

  const TemporaryDirectory folder;
  const Ref<NSString> cache = folder.text("cache.plist");
  const Ref<TelvoFTPData> job = TelvoFTPData::ftpData();
  const Ref<ProgressObserver> observer = ProgressObserver::of(job);
  const SilentServer server;
  std::string content;
  bool stopped = false;
};

TEST_F(TelvoFTPDataPlanning, AStopWhileTheCacheIsReadEndsTheJobWithoutARecord) {
  stopWhen([] { return true; });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
}

TEST_F(TelvoFTPDataPlanning, AStopDuringTheScanEndsTheJobWithoutARecord) {
  stopWhen([this] { return job->count() > 1; });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
  EXPECT_FALSE(isFiltered()) << "the filter was not reached";
}

TEST_F(TelvoFTPDataPlanning, AStopDuringTheFilterEndsTheJobWithoutARecord) {
  stopWhen([this] { return isScanned(); });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
  EXPECT_FALSE(isFiltered());
}

// Of a tree that holds the same files several times, so that the writing takes many turns of the run loop.
TEST_F(TelvoFTPDataPlanning, AStopWhileTheCacheIsWrittenEndsTheJobWithoutARecord) {
  fs::create_directory(folder / "wide");
  for (const char* name : {"a", "b", "c", "d", "e", "f"}) {
    fs::create_symlink("../site", folder / (std::string("wide/") + name));
  }
  stopWhen([this] { return isFiltered(); });
  run(job, folder.text("wide"), server.host(), cache);
  expectAbandoned();
}

TEST_F(TelvoFTPDataPlanning, AStopOfAnUnchangedTreeIsNoHundredPercent) {
  planned(folder.text("site"), cache);
  content = folder.read("cache.plist");
  stopWhen([this] { return job->count() > 1; });
  run(job, folder.text("site"), server.host(), cache);
  expectAbandoned();
}

TEST_F(TelvoFTPDataPlanning, AStopMovesAJobWithoutAHostNowhere) {
  stopWhen([this] { return job->count() > 1; });
  run(job, folder.text("site"), ""_ns, cache);
  EXPECT_TRUE(stopped);
  EXPECT_TRUE(observer->records.empty());
  EXPECT_TRUE(isScanned());
  EXPECT_EQ(NSArray::arrayWithContentsOfFile(cache)->count(), static_cast<NSUInteger>(files) + 1);
}

TEST(TelvoFTPData, AStopBeforeTheStartDoesNotCount) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  job->stop();
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2"}));
}

// Names that no URL can hold: none of these items turns the run loop itself.
TEST(TelvoFTPData, TheRunLoopHasItsTurnBetweenItemsThatEndAtOnce) {
  const TemporaryDirectory folder;
  constexpr int files = 5000;
  for (int i = 0; i < files; ++i) folder.write("my site/" + std::to_string(i));
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  observer->then = [&] {
    if (observer->records.size() == 1) NSRunLoop::currentRunLoop()->performBlock([&] { job->stop(); });
  };
  run(job, folder.text("my site"), "host"_ns);
  const std::size_t reported = observer->records.size();
  EXPECT_GT(reported, 1U);
  EXPECT_LT(reported, static_cast<std::size_t>(files));
  EXPECT_EQ(observer->all("Nth"_ns).back(), std::to_string(reported)) << "the record of the item that was due";
  EXPECT_EQ(observer->all("IsMore"_ns).back(), "0");
  EXPECT_EQ(observer->all("IsMore"_ns)[reported - 2], "1");
  EXPECT_FALSE(job->isWorking());
}

TEST(TelvoFTPData, AJobThatIsOverIsReleasedWithItsStream) {
  const TemporaryDirectory folder;
  folder.write("a b");
  for (const auto& host : {"host"_ns, ""_ns}) {
    auto job = TelvoFTPData::ftpData();
    const WeakRef<TelvoFTPData> weak(job);
    run(job, folder.text("a b"), host);
    job = nil;
    EXPECT_FALSE(weak.lock()) << "the stream does not keep its delegate";
  }
}

TEST(TelvoFTPData, WithoutAPlanNothingIsScannedOrFiltered) {
  const TemporaryDirectory folder;
  folder.write("Site/a");
  const auto job = TelvoFTPData::ftpData();
  job->recursivelyScanLocalPath_forRemoteDirectory(folder.text("Site"), "/"_ns);
  EXPECT_FALSE(job->uploadInfo());
  job->filterUploadInfoUsingCachedInfo();
  EXPECT_FALSE(job->uploadInfo());
  job->setCachedInfo(NSArray::arrayWithObjects({folderRecord("/a"_ns, "/"_ns)}));
  job->filterUploadInfoUsingCachedInfo();
  EXPECT_EQ(job->count(), 0U);
  EXPECT_TRUE(job->uploadInfo()) << "what was kept, which is nothing";
  EXPECT_FALSE(job->cachedInfo()) << "the complete plan, which there was none of";
}

TEST(TelvoFTPData, AJobGoesOnToItsEndWhenItsOwnerLetsGoOfIt) {
  const TemporaryDirectory folder;
  folder.write("my site/a");
  auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  observer->then = [&] { job = nil; };
  run(job, folder.text("my site"), "host"_ns);
  EXPECT_EQ(observer->all("Nth"_ns), (Strings{"1", "2"}));
}

}  // namespace
