#include <chrono>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/notifications/NSNotificationCenter.h"
#include "streams/TelvoTrackedFTPData.h"
#include "testing/ScriptedFTPServer.h"
#include "testing/TemporaryDirectory.h"
#include "tests/streams/ProgressObserver.h"

namespace {

using Texts = std::vector<std::string>;

// A job that keeps track of what becomes of each item, against a server in memory.
class TelvoTrackedFTPDataTest : public testing::Test {
 protected:
  TelvoTrackedFTPDataTest() { options_.reportsOutcomes = true; }

  // Uploads the item in the temporary folder; what the job has posted.
  Ref<ProgressObserver> upload(const std::string& name = "Site", const Ref<NSString>& password = "secret"_ns) {
    const auto job = TelvoTrackedFTPData::ftpDataWithOptions(options_);
    const auto observer = ProgressObserver::of(job);
    const auto host = NSString::stringWithUTF8String("127.0.0.1:" + std::to_string(server_.port()));
    job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(
        folder_.text(name), host, options_.remoteDirectory, "telvo"_ns, password, cache_, false);
    return observer;
  }

  std::set<std::string> stored() const {
    std::set<std::string> paths;
    for (const auto& transfer : server_.transfers()) paths.insert(transfer.path);
    return paths;
  }

  Texts argumentsOf(const std::string& verb) const {
    Texts arguments;
    for (const auto& command : server_.commands()) {
      if (command.verb == verb) arguments.push_back(command.argument);
    }
    return arguments;
  }

  const TemporaryDirectory folder_;
  ScriptedFTPServer server_;
  streams::UploadOptions options_;
  Ref<NSString> cache_;
};

TEST_F(TelvoTrackedFTPDataTest, TellsOfEachItemThatItHasArrived) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/sub/b.txt", "two");
  const auto observer = upload();
  EXPECT_EQ(observer->all("Outcome"_ns), (Texts{"sent", "sent", "sent", "sent"}));
  EXPECT_EQ(observer->all("Error"_ns), (Texts{"(nil)", "(nil)", "(nil)", "(nil)"}));
  EXPECT_EQ(server_.folders(), (std::set<std::string>{"/", "/Site", "/Site/sub"}));
  EXPECT_EQ(server_.file("/Site/a.txt"), "one");
  EXPECT_EQ(server_.file("/Site/sub/b.txt"), "two");
}

TEST_F(TelvoTrackedFTPDataTest, AFolderThatIsThereAlreadyIsRight) {
  folder_.write("Site/a.txt", "one");
  server_.always("MKD", scripted::reply("550 File exists.")).always("CWD", scripted::reply("250 There."));
  EXPECT_EQ(upload()->all("Outcome"_ns), (Texts{"sent", "sent"}));
}

TEST_F(TelvoTrackedFTPDataTest, ARefusalIsToldWithTheServersWordsAndTheRestIsSent) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/b.txt", "two");
  server_.on("STOR", scripted::reply("553 Not that name."));
  const auto observer = upload();
  EXPECT_EQ(observer->all("Outcome"_ns), (Texts{"sent", "failed", "sent"}));
  EXPECT_EQ(observer->all("Error"_ns)[1], "Not that name.");
  EXPECT_EQ(observer->all("ErrorCode"_ns), (Texts{"(nil)", "553", "(nil)"}));
  EXPECT_EQ(observer->all("WillRetry"_ns), (Texts{"(nil)", "(nil)", "(nil)"}));
  EXPECT_EQ(observer->all("IsMore"_ns), (Texts{"1", "1", "0"}));
}

TEST_F(TelvoTrackedFTPDataTest, WhatFailsForAPassingReasonIsTriedAgainAfterTheRest) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/b.txt", "two");
  options_.attempts = 2;
  server_.on("STOR", scripted::reply("450 Busy."));
  const auto observer = upload();
  EXPECT_EQ(observer->all("Outcome"_ns), (Texts{"sent", "failed", "sent", "sent"}));
  EXPECT_EQ(observer->all("WillRetry"_ns), (Texts{"(nil)", "1", "(nil)", "(nil)"}));
  EXPECT_EQ(observer->all("Nth"_ns), (Texts{"1", "2", "3", "2"}));
  EXPECT_EQ(observer->all("IsMore"_ns), (Texts{"1", "1", "1", "0"}));
  EXPECT_EQ(stored(), (std::set<std::string>{"/Site/a.txt", "/Site/b.txt"}));
}

TEST_F(TelvoTrackedFTPDataTest, IsTriedNoMoreOftenThanWasAskedFor) {
  folder_.write("Site.txt", "one");
  options_.attempts = 2;
  server_.always("STOR", scripted::reply("450 Busy."));
  const auto observer = upload("Site.txt");
  EXPECT_EQ(observer->all("Outcome"_ns), (Texts{"failed", "failed"}));
  EXPECT_EQ(observer->all("WillRetry"_ns), (Texts{"1", "(nil)"}));
}

TEST_F(TelvoTrackedFTPDataTest, ARefusedLoginEndsTheRun) {
  folder_.write("Site/a.txt", "one");
  const auto observer = upload("Site", "wrong"_ns);
  EXPECT_EQ(observer->all("Outcome"_ns), Texts{"failed"});
  EXPECT_EQ(observer->all("ErrorCode"_ns), Texts{"530"});
  EXPECT_EQ(observer->all("Aborted"_ns), Texts{"1"});
  EXPECT_EQ(observer->all("IsMore"_ns), Texts{"0"});
}

TEST_F(TelvoTrackedFTPDataTest, TheRemoteDirectoryIsMadeLevelByLevelWithoutARecord) {
  folder_.write("a.txt", "one");
  options_.remoteDirectory = "/www/site"_ns;
  EXPECT_EQ(upload("a.txt")->all("Outcome"_ns), Texts{"sent"});
  EXPECT_EQ(argumentsOf("MKD"), (Texts{"/www", "/www/site"}));
  EXPECT_EQ(server_.file("/www/site/a.txt"), "one");
}

TEST_F(TelvoTrackedFTPDataTest, AFolderCanBeSentWithoutItself) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/sub/b.txt", "two");
  options_.contentsOnly = true;
  upload();
  EXPECT_EQ(stored(), (std::set<std::string>{"/a.txt", "/sub/b.txt"}));
  EXPECT_EQ(argumentsOf("MKD"), Texts{"/sub"});
}

TEST_F(TelvoTrackedFTPDataTest, WhatAPatternFitsIsLeftOut) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/b.bak", "two");
  folder_.write("Site/cache/c.txt", "three");
  options_.excluded = streams::ExcludePatterns("*.bak\ncache/\n"_ns);
  upload();
  EXPECT_EQ(stored(), std::set<std::string>{"/Site/a.txt"});
  EXPECT_EQ(argumentsOf("MKD"), Texts{"/Site"});
}

TEST_F(TelvoTrackedFTPDataTest, PatternsCountFromTheSourceHoweverItIsWritten) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/b.txt", "two");
  options_.excluded = streams::ExcludePatterns("/b.txt\n"_ns);
  for (const char* name : {"Site", "Site/", "Site//"}) {
    upload(name);
    EXPECT_EQ(stored(), std::set<std::string>{"/Site/a.txt"}) << name;
  }
}

TEST_F(TelvoTrackedFTPDataTest, ADryRunTellsThePlanAndMeetsNoServer) {
  folder_.write("Site/a.txt", "one");
  cache_ = folder_.text("cache.plist");
  options_.isDryRun = true;
  const auto observer = upload();
  EXPECT_EQ(observer->all("Outcome"_ns), (Texts{"planned", "planned"}));
  EXPECT_EQ(observer->all("Reason"_ns), (Texts{"new", "new"}));
  EXPECT_EQ(server_.sessions(), 0U);
  EXPECT_FALSE(folder_.has("cache.plist"));
}

TEST_F(TelvoTrackedFTPDataTest, WhatHasNotArrivedIsSentByTheNextRun) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/b.txt", "two");
  cache_ = folder_.text("cache.plist");
  options_.remembersSentOnly = true;
  server_.on("STOR", scripted::reply("553 Not now."));
  upload();
  const std::set<std::string> first = stored();
  EXPECT_EQ(first.size(), 1U);
  const auto observer = upload();
  EXPECT_EQ(observer->all("Outcome"_ns), Texts{"sent"});
  EXPECT_EQ(stored(), (std::set<std::string>{"/Site/a.txt", "/Site/b.txt"}));
  EXPECT_TRUE(upload()->records.at(0) == nil);
}

// What a failed replacement has left on the server nobody knows.
TEST_F(TelvoTrackedFTPDataTest, AFileThatIsAsItWasAgainIsSentWhenItsReplacementHasFailed) {
  folder_.write("a.txt", "one");
  const auto date = std::filesystem::last_write_time(folder_ / "a.txt");
  cache_ = folder_.text("cache.plist");
  options_.remembersSentOnly = true;
  upload("a.txt");
  folder_.write("a.txt", "two");
  std::filesystem::last_write_time(folder_ / "a.txt", date + std::chrono::hours(1));
  server_.on("STOR", scripted::storePart(1, scripted::reply("451 Disk failure.")));
  EXPECT_EQ(upload("a.txt")->all("Outcome"_ns), Texts{"failed"});
  folder_.write("a.txt", "one");
  std::filesystem::last_write_time(folder_ / "a.txt", date);
  EXPECT_EQ(upload("a.txt")->all("Outcome"_ns), Texts{"sent"});
}

TEST_F(TelvoTrackedFTPDataTest, WhatIsGoneHereIsRemovedThere) {
  folder_.write("Site/a.txt", "one");
  folder_.write("Site/sub/b.txt", "two");
  cache_ = folder_.text("cache.plist");
  options_.remembersSentOnly = true;
  options_.deletesMissing = true;
  server_.always("DELE", scripted::reply("250 Gone.")).always("RMD", scripted::reply("250 Gone."));
  upload();
  std::filesystem::remove_all(folder_ / "Site/sub");
  const auto observer = upload();
  EXPECT_EQ(observer->all("Outcome"_ns), (Texts{"removed", "removed"}));
  EXPECT_EQ(observer->all("IsRemoval"_ns), (Texts{"1", "1"}));
  EXPECT_EQ(argumentsOf("DELE"), Texts{"/Site/sub/b.txt"});
  EXPECT_EQ(argumentsOf("RMD"), Texts{"/Site/sub"});
}

TEST_F(TelvoTrackedFTPDataTest, NothingIsRemovedWhenTheSourceIsEmptyUnlessThatIsAllowed) {
  folder_.write("Site/a.txt", "one");
  cache_ = folder_.text("cache.plist");
  options_.remembersSentOnly = true;
  options_.deletesMissing = true;
  server_.always("DELE", scripted::reply("250 Gone."));
  upload();
  std::filesystem::remove(folder_ / "Site/a.txt");
  upload();
  EXPECT_EQ(argumentsOf("DELE"), Texts{});
  options_.allowsEmptySource = true;
  upload();
  EXPECT_EQ(argumentsOf("DELE"), Texts{"/Site/a.txt"});
}

TEST_F(TelvoTrackedFTPDataTest, AFileHasItsNameOnlyOnceItIsComplete) {
  folder_.write("a.txt", "one");
  options_.temporaryNames = streams::TemporaryNames::AllFiles;
  server_.always("RNFR", scripted::reply("350 To what?")).always("RNTO", scripted::reply("250 Renamed."));
  EXPECT_EQ(upload("a.txt")->all("Outcome"_ns), Texts{"sent"});
  EXPECT_NE(argumentsOf("STOR"), Texts{"/a.txt"});
  EXPECT_EQ(argumentsOf("RNFR"), argumentsOf("STOR"));
  EXPECT_EQ(argumentsOf("RNTO"), Texts{"/a.txt"});
}

TEST_F(TelvoTrackedFTPDataTest, OnlyLargeFilesHaveAnotherNameAtFirstWhenThatIsAskedFor) {
  folder_.write("Site/large", std::string(512001, 'x'));
  folder_.write("Site/small", std::string(512000, 'x'));
  options_.temporaryNames = streams::TemporaryNames::LargeFiles;
  server_.always("RNFR", scripted::reply("350 To what?")).always("RNTO", scripted::reply("250 Renamed."));
  EXPECT_EQ(upload()->all("Outcome"_ns), (Texts{"sent", "sent", "sent"}));
  EXPECT_EQ(argumentsOf("RNTO"), Texts{"/Site/large"});
}

// More than the rate leaves for a moment, so that the run has to pause in between.
TEST_F(TelvoTrackedFTPDataTest, AFileWithinARateArrivesWhole) {
  const std::string content(300000, 'x');
  folder_.write("a.bin", content);
  options_.bytesPerSecond = 1000000;
  EXPECT_EQ(upload("a.bin")->all("Outcome"_ns), Texts{"sent"});
  EXPECT_TRUE(server_.file("/a.bin") == content);
}

// Collects what is told inside files.
class BytesObserver : public NSObject {
  NS_OBJECT(BytesObserver, NSObject)

 public:
  void bytes(const Ref<NSNotification>& notification) { told.push_back(notification->userInfo()); }

  std::vector<Ref<NSDictionary>> told;
};

Class BytesObserver::classObject() {
  static const NSClass object("BytesObserver", NSObject::classObject(), {method("bytes:"_sel, &BytesObserver::bytes)});
  return &object;
}

TEST_F(TelvoTrackedFTPDataTest, ProgressIsToldInsideAFileToo) {
  folder_.write("Site/a.bin", std::string(300000, 'x'));
  options_.reportsBytes = true;
  options_.bytesPerSecond = 500000;  // so that the file takes longer than the pause between two reports
  const auto observer = make<BytesObserver>();
  NSNotificationCenter::defaultCenter()->addObserver_selector_name_object(observer, "bytes:"_sel,
                                                                          "TelvoFTPDataBytesNotification"_ns, nil);
  upload();
  ASSERT_FALSE(observer->told.empty());
  NSInteger before = 0;
  for (const auto& record : observer->told) {
    const auto number = [&](const Ref<NSString>& key) {
      return as<NSNumber>(record->objectForKey(key))->integerValue();
    };
    EXPECT_TRUE(NSEqualObjects(record->objectForKey("LocalPath"_ns), folder_.text("Site/a.bin")));
    EXPECT_EQ(number("Nth"_ns), 2);
    EXPECT_EQ(number("BytesTotal"_ns), 300000);
    EXPECT_EQ(number("RunBytesTotal"_ns), 300000);
    EXPECT_EQ(number("RunBytesSent"_ns), number("BytesSent"_ns));
    EXPECT_GE(number("BytesSent"_ns), before);
    EXPECT_LE(number("BytesSent"_ns), 300000);
    before = number("BytesSent"_ns);
  }
}

TEST_F(TelvoTrackedFTPDataTest, AHostThatNamesNobodyEndsTheRun) {
  folder_.write("a.txt", "one");
  const auto job = TelvoTrackedFTPData::ftpDataWithOptions(options_);
  const auto observer = ProgressObserver::of(job);
  job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(folder_.text("a.txt"), ""_ns, "/"_ns,
                                                                              "telvo"_ns, "secret"_ns, nil, false);
  EXPECT_EQ(observer->all("Aborted"_ns), Texts{"1"});
  EXPECT_EQ(observer->all("IsMore"_ns), Texts{"0"});
}

}  // namespace
