#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/TelvoFTPHelper.h"
#include "appkit/NSApplication.h"
#include "foundation/Foundation.h"
#include "foundation/events/RunLoopContext.h"
#include "streams/TelvoFTPData.h"
#include "testing/BusPeer.h"
#include "testing/LogLines.h"
#include "testing/PrivateBus.h"
#include "testing/TemporaryDirectory.h"
#include "tests/app/SilentServer.h"

namespace {

// A helper ends the process 30 seconds after its last record. Tests that last so long must not pass for it.
class EndWatch : public testing::Environment {
 public:
  EndWatch() {
    std::atexit([] {
      if (!running || testing::internal::InDeathTestChild()) return;
      std::fputs("a helper has ended the test program\n", stderr);
      _exit(1);
    });
  }
  void SetUp() override { running = true; }
  void TearDown() override { running = false; }

 private:
  static inline bool running = false;
};

[[maybe_unused]] testing::Environment* const endWatch = testing::AddGlobalTestEnvironment(new EndWatch);

Ref<NSString> text(const std::string& utf8) { return NSString::stringWithUTF8String(utf8); }

void turn() {
  NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.05));
}

class TelvoFTPHelperTest : public testing::Test {
 protected:
  TelvoFTPHelperTest() {
    helper->setDebugMode(true);
    helper->setNotificationIdentifier("token"_ns);
    helper->setOwnerBundleIdentifier("com.example.Owner"_ns);
  }

  // A helper whose upload is over keeps itself alive by the timer of its end, which is another test's end as well.
  ~TelvoFTPHelperTest() override { NSRunLoop::mainRunLoop()->context().invalidateTimers(); }

  void upload(const std::string& path, const std::string& host, const Ref<NSString>& cachedInfoPath = nil) {
    helper->uploadPath_toHost_username_password_cachedInfoPath(text(path), text(host), "ann"_ns, "secret"_ns,
                                                               cachedInfoPath);
  }
  // What the function makes the process log.
  static Lines linesOf(const std::function<void()>& function) {
    testing::internal::CaptureStderr();
    function();
    return logTexts(testing::internal::GetCapturedStderr());
  }
  // What the owner has heard, once everything that was posted before has reached it.
  const std::vector<std::string>& heard() {
    NSDistributedNotificationCenter::defaultCenter()->postNotificationName_object("Last"_ns, nil);
    for (int turns = 0; turns < 200 && (owner.heard.empty() || !owner.heard.back().starts_with("('Last'")); ++turns) {
      turn();
    }
    if (!owner.heard.empty()) owner.heard.pop_back();
    return owner.heard;
  }
  void postStop(const std::string& object, bool hasObject = true) {
    owner.emit("('TelvoFTPHelperStopDistributedNotification', '" + object + "', {'HasObject': <" +
               (hasObject ? "true" : "false") + ">})");
  }
  static Ref<NSNotification> quitOf(const Ref<NSString>& identifier) {
    return NSNotification::notificationWithName_object_userInfo(
        "NSWorkspaceDidTerminateApplicationNotification"_ns, nil,
        identifier ? NSDictionary::dictionaryWithObject_forKey(identifier, "NSApplicationBundleIdentifier"_ns) : nil);
  }

  PrivateBus& bus = PrivateBus::shared();
  BusPeer owner{bus.address()};
  const TemporaryDirectory folder;
  Ref<TelvoFTPHelper> helper = make<TelvoFTPHelper>();
};

std::string progressPost(const std::string& object, const std::string& userInfo) {
  return "('TelvoFTPHelperProgressDistributedNotification', " + object + ", {" +
         (userInfo.empty() ? "" : "'UserInfo': <{" + userInfo + "}>, ") + "'HasObject': <" +
         (object == "''" ? "false" : "true") + ">, 'DeliverImmediately': <true>})";
}

TEST_F(TelvoFTPHelperTest, RelaysEachRecordOfTheJobToItsOwner) {
  folder.write("Site/a.txt", "a");
  folder.write("Site/b.txt", "b");
  const Lines lines = linesOf([&] { upload(folder / "Site", refusingHost); });
  EXPECT_EQ(lines,
            (Lines{"starting upload of " + (folder / "Site"), "progress: 33%", "progress: 66%", "progress: 100%"}));
  const auto& posts = heard();
  ASSERT_EQ(posts.size(), 3U);
  EXPECT_EQ(posts[0], progressPost("'token'", "'LocalPath': <'" + (folder / "Site") +
                                                  "'>, 'RemoteDirectory': <'/'>, 'Nth': <uint64 1>, 'Total': "
                                                  "<uint64 3>, 'Percent': <uint64 33>, 'IsMore': <true>"));
  EXPECT_NE(posts[1].find("'RemoteDirectory': <'/Site'>, 'Nth': <uint64 2>, 'Total': <uint64 3>, 'Percent': "
                          "<uint64 66>, 'IsMore': <true>"),
            std::string::npos);
  EXPECT_NE(posts[2].find("'Nth': <uint64 3>, 'Total': <uint64 3>, 'Percent': <uint64 100>, 'IsMore': <false>"),
            std::string::npos);
}

// How long the run loop would wait for what comes next, in milliseconds.
int waitOfTheRunLoop() {
  GMainContext* const context = NSRunLoop::mainRunLoop()->context().context;
  EXPECT_TRUE(g_main_context_acquire(context));
  gint priority = 0;
  gint wait = 0;
  std::vector<GPollFD> descriptors(64);
  g_main_context_prepare(context, &priority);
  const gint count = g_main_context_query(context, priority, &wait, descriptors.data(), 64);
  g_main_context_check(context, priority, descriptors.data(), count);
  g_main_context_release(context);
  return wait;
}

// That it is not less shows from outside.
TEST_F(TelvoFTPHelperTest, EndsThirtySecondsAfterTheLastRecordAndNoLater) {
  folder.write("Site/a.txt", "a");
  upload(folder / "Site", refusingHost);
  // Apart from the end there is nothing that anybody waits for.
  while (waitOfTheRunLoop() == 0) turn();
  EXPECT_EQ(NSRunLoop::mainRunLoop()->context().timers.size(), 1U);
  EXPECT_GT(waitOfTheRunLoop(), 0);
  EXPECT_LE(waitOfTheRunLoop(), 30000);
}

TEST_F(TelvoFTPHelperTest, WithNothingToSendPostsOnceWithoutUserInformation) {
  folder.write("a.txt", "a");
  upload(folder / "a.txt", refusingHost, folder.text("cache"));
  heard();
  owner.heard.clear();
  const auto second = make<TelvoFTPHelper>();
  second->setDebugMode(true);
  second->setNotificationIdentifier("other"_ns);
  const Lines lines = linesOf([&] {
    second->uploadPath_toHost_username_password_cachedInfoPath(folder.text("a.txt"), text(refusingHost), nil, nil,
                                                               folder.text("cache"));
  });
  EXPECT_EQ(lines, (Lines{"starting upload of " + (folder / "a.txt"), "progress: 0%"}));
  EXPECT_EQ(heard(), Lines{progressPost("'other'", "")});
}

TEST_F(TelvoFTPHelperTest, WithoutATokenPostsWithNoObject) {
  helper->setNotificationIdentifier(nil);
  folder.write("a.txt", "a");
  upload(folder / "a.txt", refusingHost);
  ASSERT_EQ(heard().size(), 1U);
  EXPECT_TRUE(owner.heard[0].starts_with("('TelvoFTPHelperProgressDistributedNotification', '', "));
  EXPECT_NE(owner.heard[0].find("'HasObject': <false>"), std::string::npos);
}

// Calls back when the process hears the notification.
class Ear : public NSObject {
  NS_OBJECT(Ear, NSObject)

 public:
  explicit Ear(std::function<void()> callback) : callback_(std::move(callback)) {}
  void heard(const Ref<NSNotification>&) { callback_(); }

 private:
  std::function<void()> callback_;
};

Class Ear::classObject() {
  static const NSClass object("Ear", NSObject::classObject(), {method("heard:"_sel, &Ear::heard)});
  return &object;
}

TEST_F(TelvoFTPHelperTest, ObeysItsOwnersStopRequestAndNoOther) {
  const SilentServer server;
  for (const char* name : {"1", "2", "3", "4"}) folder.write(std::string("Site/") + name, "x");
  // What comes over the bus comes in order: what was posted before the marker has been handled when it is heard.
  bool workedOn = false;
  const auto ear = make<Ear>([&] {
    workedOn = helper->ftpData()->isWorking();
    postStop("token");
  });
  const auto center = NSDistributedNotificationCenter::defaultCenter();
  center->addObserver_selector_name_object(ear, "heard:"_sel, "Marker"_ns, nil);
  afterSeconds(0.1, [&] {
    postStop("another token");
    owner.emit("('Marker', '', {'HasObject': <false>})");
  });
  const Lines lines = linesOf([&] { upload(folder / "Site", server.host()); });
  center->removeObserver(ear);
  EXPECT_TRUE(workedOn) << "another token's request changes nothing";
  EXPECT_EQ(lines, (Lines{"starting upload of " + (folder / "Site"), "shouldStop received", "stop", "progress: 20%"}));
  int records = 0;
  for (const std::string& post : heard()) {
    if (!post.starts_with("('TelvoFTPHelperProgress")) continue;
    ++records;
    EXPECT_NE(post.find("'Nth': <uint64 1>, 'Total': <uint64 5>, 'Percent': <uint64 20>, 'IsMore': <false>"),
              std::string::npos)
        << post;
  }
  EXPECT_EQ(records, 1);
}

TEST_F(TelvoFTPHelperTest, WithoutATokenObeysEveryStopRequest) {
  const SilentServer server;
  helper->setNotificationIdentifier(nil);
  folder.write("a.txt", "a");
  afterSeconds(0.1, [&] { postStop("anybody"); });
  const Lines lines = linesOf([&] { upload(folder / "a.txt", server.host()); });
  EXPECT_EQ(lines,
            (Lines{"starting upload of " + (folder / "a.txt"), "shouldStop received", "stop", "progress: 100%"}));
}

TEST_F(TelvoFTPHelperTest, AStopRequestAfterTheLastRecordChangesNothing) {
  folder.write("a.txt", "a");
  upload(folder / "a.txt", refusingHost);
  const Lines lines = linesOf([&] {
    postStop("token");
    for (int turns = 0; turns < 5; ++turns) turn();
  });
  EXPECT_EQ(lines, (Lines{"shouldStop received", "stop"}));
  int records = 0;
  for (const std::string& post : heard()) records += post.starts_with("('TelvoFTPHelperProgress") ? 1 : 0;
  EXPECT_EQ(records, 1);
}

TEST_F(TelvoFTPHelperTest, WithAnEmptyHostNothingIsPostedAndAStopDoesNotEndIt) {
  folder.write("a.txt", "a");
  const Lines lines = linesOf([&] {
    upload(folder / "a.txt", "");
    EXPECT_TRUE(helper->ftpData()->isWorking());
    postStop("token");
    for (int turns = 0; turns < 5; ++turns) turn();
  });
  EXPECT_EQ(lines, (Lines{"starting upload of " + (folder / "a.txt"), "shouldStop received", "stop"}));
  for (const std::string& post : heard()) EXPECT_FALSE(post.starts_with("('TelvoFTPHelperProgress")) << post;
}

TEST_F(TelvoFTPHelperTest, ListensToItsOwnJobOnly) {
  const auto otherJob = TelvoFTPData::ftpData();
  folder.write("a.txt", "a");
  upload(folder / "a.txt", refusingHost);
  const Lines lines = linesOf([&] {
    NSNotificationCenter::defaultCenter()->postNotificationName_object("TelvoFTPDataProgressNotification"_ns, otherJob);
  });
  EXPECT_EQ(lines, Lines{});
}

TEST_F(TelvoFTPHelperTest, NeverRefusesToTerminateAndStopsTheJobFirst) {
  const SilentServer server;
  folder.write("a.txt", "a");
  NSUInteger answer = 0;
  afterSeconds(0.1, [&] { answer = helper->applicationShouldTerminate(nil); });
  const Lines lines = linesOf([&] { upload(folder / "a.txt", server.host()); });
  EXPECT_EQ(answer, 1U);
  EXPECT_EQ(lines, (Lines{"starting upload of " + (folder / "a.txt"), "receieved should terminate", "stop",
                          "progress: 100%"}));
  EXPECT_FALSE(helper->ftpData()->isWorking());
}

TEST_F(TelvoFTPHelperTest, StoppingWithoutAJobIsHarmless) {
  EXPECT_EQ(linesOf([&] { helper->stop(); }), Lines{"stop"});
}

TEST_F(TelvoFTPHelperTest, UnrelatedApplicationsThatQuitAreOnlyLogged) {
  const Lines lines = linesOf([&] {
    helper->someAppTerminated(quitOf("com.example.Other"_ns));
    helper->someAppTerminated(quitOf("com.example.owner"_ns));
    helper->someAppTerminated(quitOf(nil));
  });
  EXPECT_EQ(lines, (Lines{"com.example.Other has quit", "com.example.owner has quit", "(null) has quit"}));
}

TEST_F(TelvoFTPHelperTest, LogsNothingWithoutDebugMode) {
  helper->setDebugMode(false);
  folder.write("a.txt", "a");
  const Lines lines = linesOf([&] {
    upload(folder / "a.txt", refusingHost);
    helper->someAppTerminated(quitOf("com.example.Other"_ns));
    helper->shouldStop(nil);
    helper->applicationShouldTerminate(nil);
    make<TelvoFTPHelper>();
  });
  EXPECT_EQ(lines, Lines{});
}

TEST_F(TelvoFTPHelperTest, ItsReleaseIsLoggedAndLeavesNothingThatCouldBeCalled) {
  const auto job = TelvoFTPData::ftpData();
  helper->setFtpData(job);
  NSNotificationCenter::defaultCenter()->addObserver_selector_name_object(helper, "uploadProgress:"_sel,
                                                                          "TelvoFTPDataProgressNotification"_ns, job);
  NSDistributedNotificationCenter::defaultCenter()->addObserver_selector_name_object(
      helper, "shouldStop:"_sel, "TelvoFTPHelperStopDistributedNotification"_ns, "token"_ns);
  const Lines lines = linesOf([&] {
    helper = nil;
    NSNotificationCenter::defaultCenter()->postNotificationName_object("TelvoFTPDataProgressNotification"_ns, job);
    postStop("token");
    turn();
  });
  EXPECT_EQ(lines, Lines{"dealloc"});
}

TEST_F(TelvoFTPHelperTest, RespondsToTheSelectorsOfItsProtocols) {
  for (const SEL selector : {"awakeFromNib"_sel, "applicationDidFinishLaunching:"_sel,
                             "applicationShouldTerminate:"_sel, "uploadProgress:"_sel, "shouldStop:"_sel,
                             "someAppTerminated:"_sel, "sessionEnded:"_sel, "terminateApp"_sel, "stop"_sel}) {
    EXPECT_TRUE(helper->respondsToSelector(selector)) << selector.text();
  }
}

}  // namespace
