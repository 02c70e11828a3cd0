#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <limits>
#include <thread>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "foundation/preferences/NSUserDefaults.h"
#include "tests/platform/foundation/preferences/Settings.h"

// The file that the settings are kept in, alone and beside other processes.

namespace {

using namespace settings;

TEST_F(NSUserDefaultsTest, EveryTypeRoundTripsThroughTheFile) {
  const auto values = NSDictionary::dictionary({
      {"text"_ns, "a\r\n<b>&\t\xF0\x9F\x98\x80"_ns},
      {"true"_ns, NSNumber::numberWithBool(true)},
      {"integer"_ns, number(-42)},
      {"unsigned"_ns, NSNumber::numberWithUnsignedInteger(NSUIntegerMax)},
      {"real"_ns, NSNumber::numberWithDouble(0.1)},
      {"date"_ns, NSDate::dateWithTimeIntervalSinceReferenceDate(-86400)},
      {"data"_ns, NSData::dataWithBytes(std::string("\0\xff", 2))},
      {"array"_ns, NSArray::arrayWithObjects({"a"_ns, NSDictionary::dictionary({{""_ns, NSArray::array()}})})},
  });
  for (const auto& [key, value] : *values) defaults_->setObject_forKey(value, as<NSString>(key));
  for (const auto& [key, value] : *values) {
    const id read = other()->objectForKey(as<NSString>(key));
    EXPECT_TRUE(NSEqualObjects(read, value)) << key->description()->UTF8String();
    EXPECT_EQ(read->isa(), value->isa());
  }
  EXPECT_TRUE(as<NSNumber>(other()->objectForKey("true"_ns))->isBool());
}

TEST_F(NSUserDefaultsTest, WhatXMLCannotHoldRoundTripsAsWell) {
  const std::vector<id> values{
      NSDate::date(),
      NSDate::dateWithTimeIntervalSince1970(-0.123456789),
      NSDate::dateWithTimeIntervalSince1970(1e18),
      "control \x01 character"_ns,
      NSString::stringWithUnits(u"\xD800 alone"),
      NSString::stringWithUTF8String("name\xff"),
      NSNumber::numberWithDouble(std::numeric_limits<double>::infinity()),
  };
  for (const id& value : values) {
    defaults_->setObject_forKey(NSArray::arrayWithObject(value), "list"_ns);
    defaults_->setObject_forKey(value, "value"_ns);
    defaults_->setObject_forKey(value, "key \x02"_ns);
    EXPECT_TRUE(NSEqualObjects(other()->objectForKey("value"_ns), value)) << value->description()->UTF8String();
    EXPECT_TRUE(NSEqualObjects(other()->objectForKey("key \x02"_ns), value)) << value->description()->UTF8String();
    EXPECT_TRUE(NSEqualObjects(other()->arrayForKey("list"_ns)->firstObject(), value));
  }
  defaults_->setDouble_forKey(std::nan(""), "value"_ns);
  EXPECT_TRUE(std::isnan(other()->doubleForKey("value"_ns)));
}

// A file can be replaced by another one of the same size within one tick of the clock that files are dated by.
TEST_F(NSUserDefaultsTest, AReplacementThatLooksTheSameIsSeen) {
  const auto writeNow = [&](const std::string& value, std::filesystem::file_time_type time) {
    folder_.write(file_, "<plist><dict><key>a</key><string>" + value + "</string></dict></plist>");
    std::filesystem::last_write_time(folder_ / file_, time);
  };
  const auto time = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
  writeNow("1", time);
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("a"_ns), "1"_ns));
  writeNow("2", time);
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("a"_ns), "2"_ns));
}

TEST_F(NSUserDefaultsTest, ADamagedFileIsReportedOnce) {
  folder_.write(file_, "garbage");
  testing::internal::CaptureStderr();
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(defaults_->objectForKey("a"_ns));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("damaged"), std::string::npos) << log;
  EXPECT_EQ(log.find("damaged"), log.rfind("damaged")) << log;
}

TEST_F(NSUserDefaultsTest, TheFileIsAnXMLPropertyListForItsUserOnly) {
  defaults_->setInteger_forKey(5, "a"_ns);
  EXPECT_TRUE(folder_.read(file_).starts_with("<?xml"));
  struct stat status {};
  ASSERT_EQ(stat((folder_ / file_).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  ASSERT_EQ(stat((folder_ / "preferences").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(NSUserDefaultsTest, SeesWhatOthersHaveSetAndKeepsIt) {
  const auto second = other();
  EXPECT_FALSE(second->objectForKey("a"_ns));
  defaults_->setObject_forKey("1"_ns, "a"_ns);
  EXPECT_TRUE(NSEqualObjects(second->objectForKey("a"_ns), "1"_ns));
  second->setObject_forKey("2"_ns, "b"_ns);
  defaults_->setObject_forKey("3"_ns, "c"_ns);
  second->removeObjectForKey("a"_ns);
  EXPECT_TRUE(NSEqualObjects(defaults_->persistentDomainForName("com.example.app"_ns),
                             NSDictionary::dictionary({{"b"_ns, "2"_ns}, {"c"_ns, "3"_ns}})));
}

TEST_F(NSUserDefaultsTest, ProcessesThatWriteAtTheSameTimeLoseNothing) {
  constexpr int processes = 4;
  constexpr int keys = 25;
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child > 0) {
      children.push_back(child);
      continue;
    }
    const auto defaults = other();
    for (int key = 0; key < keys; ++key) {
      defaults->setInteger_forKey(process, NSString::stringWithFormat("%d-%d"_ns, process, key));
    }
    // On a slow disk another process may have kept the lock for longer than one waits; what is kept then is written
    // now.
    while (!defaults->synchronize()) continue;
    _exit(0);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(defaults_->dictionaryRepresentation()->count(), static_cast<NSUInteger>(processes * keys));
}

TEST_F(NSUserDefaultsTest, ThreadsThatWriteAtTheSameTimeLoseNothing) {
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&, thread] {
        for (int key = 0; key < 10; ++key) {
          defaults_->setInteger_forKey(thread, NSString::stringWithFormat("%d-%d"_ns, thread, key));
          EXPECT_EQ(defaults_->integerForKey(NSString::stringWithFormat("%d-%d"_ns, thread, key)), thread);
        }
      });
    }
  }
  EXPECT_EQ(other()->dictionaryRepresentation()->count(), 40U);
}

TEST_F(NSUserDefaultsTest, ADamagedFileIsKeptAsideAndReported) {
  for (const char* damage : {"", "<plist><dict><key>a</key>", "<plist><array/></plist>", "garbage"}) {
    folder_.write(file_, damage);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(defaults_->objectForKey("a"_ns));
    EXPECT_NE(testing::internal::GetCapturedStderr().find(folder_ / file_), std::string::npos) << "reported";
    EXPECT_EQ(folder_.read(file_), damage) << "looking up changes nothing";
    testing::internal::CaptureStderr();
    defaults_->setObject_forKey("1"_ns, "a"_ns);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("were kept as"), std::string::npos) << "reported";
    EXPECT_TRUE(NSEqualObjects(other()->objectForKey("a"_ns), "1"_ns));
  }
  EXPECT_EQ(folder_.read("preferences/com.example.app damaged 1.plist"), "");
  EXPECT_EQ(folder_.read("preferences/com.example.app damaged 2.plist"), "<plist><dict><key>a</key>");
  EXPECT_EQ(folder_.read("preferences/com.example.app damaged 4.plist"), "garbage");
}

TEST_F(NSUserDefaultsTest, ChangesThatCannotBeWrittenAreKeptUntilTheyCan) {
  folder_.write("preferences", "a file where the folder should be");
  defaults_->setObject_forKey("1"_ns, "a"_ns);
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("a"_ns), "1"_ns));
  EXPECT_FALSE(defaults_->synchronize());
  std::filesystem::remove(folder_ / "preferences");
  EXPECT_TRUE(defaults_->synchronize());
  EXPECT_TRUE(NSEqualObjects(other()->objectForKey("a"_ns), "1"_ns));
}

TEST_F(NSUserDefaultsTest, ThatChangesCannotBeWrittenIsLoggedOnceUntilTheyCan) {
  const auto logOf = [&](const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
  };
  const auto set = [&](NSInteger value) { defaults_->setInteger_forKey(value, "a"_ns); };
  folder_.write("preferences", "a file where the folder should be");
  const std::string first = logOf([&] { set(1); });
  EXPECT_NE(first.find("The preferences in " + (folder_ / file_) + " cannot be written: "), std::string::npos) << first;
  EXPECT_EQ(logOf([&] { set(2); }), "");
  std::filesystem::remove(folder_ / "preferences");
  EXPECT_EQ(logOf([&] { set(3); }), "");
  std::filesystem::remove_all(folder_ / "preferences");
  folder_.write("preferences", "again");
  EXPECT_NE(logOf([&] { set(4); }).find("cannot be written"), std::string::npos);
}

TEST_F(NSUserDefaultsTest, WhatIsUnchangedIsNotWritten) {
  const auto version = [&] {
    struct stat status {};
    stat((folder_ / file_).c_str(), &status);
    return std::tuple(status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
  };
  defaults_->setInteger_forKey(1, "a"_ns);
  const auto written = version();
  defaults_->setInteger_forKey(1, "a"_ns);
  other()->setInteger_forKey(1, "a"_ns);
  other()->removeObjectForKey("missing"_ns);
  EXPECT_EQ(version(), written);
  defaults_->setBool_forKey(true, "a"_ns);
  EXPECT_NE(version(), written) << "true is equal to 1, but not the same";
  EXPECT_TRUE(as<NSNumber>(other()->objectForKey("a"_ns))->isBool());
  const auto again = version();
  defaults_->setInteger_forKey(2, "a"_ns);
  EXPECT_NE(version(), again);
}

// Nothing is removed that a living process may be writing.
TEST_F(NSUserDefaultsTest, WhatKilledProcessesHaveLeftIsRemoved) {
  const pid_t gone = fork();
  if (gone == 0) _exit(0);
  waitpid(gone, nullptr, 0);
  const std::string left = "preferences/.tmp-" + std::to_string(gone) + "-3";
  const std::string living = "preferences/.tmp-" + std::to_string(getpid()) + "-x";
  for (const std::string& name : {left, living, std::string("preferences/.tmp-"), std::string("preferences/.tmp-1x")}) {
    folder_.write(name, "half");
  }
  defaults_->setInteger_forKey(1, "a"_ns);
  EXPECT_FALSE(folder_.has(left));
  EXPECT_TRUE(folder_.has(living));
  EXPECT_TRUE(folder_.has("preferences/.tmp-"));
  EXPECT_TRUE(folder_.has("preferences/.tmp-1x"));
}

// Another process that was halted in the middle of a change.
class LockHolder {
 public:
  explicit LockHolder(const std::string& path) : file_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    EXPECT_EQ(flock(file_, LOCK_EX | LOCK_NB), 0);
  }
  ~LockHolder() { close(file_); }
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

 private:
  int file_;
};

TEST_F(NSUserDefaultsTest, WhoKeepsTheLockDelaysOthersOnceAndLosesThemNothing) {
  defaults_->setInteger_forKey(0, "first"_ns);
  {
    const LockHolder halted(folder_ / "preferences/.com.example.app.lock");
    const auto begin = std::chrono::steady_clock::now();
    for (NSInteger key = 0; key < 100; ++key) {
      defaults_->setInteger_forKey(key, NSString::stringWithFormat("key %ld"_ns, key));
    }
    // A hundred times half a second would be long over the limit of the test program.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(25));
    EXPECT_FALSE(other()->objectForKey("key 7"_ns));
    EXPECT_EQ(defaults_->integerForKey("key 7"_ns), 7);
  }
  defaults_->setInteger_forKey(1, "last"_ns);
  EXPECT_EQ(other()->integerForKey("key 99"_ns), 99);
}

TEST_F(NSUserDefaultsTest, EachApplicationHasALockOfItsOwn) {
  defaults_->setInteger_forKey(0, "first"_ns);
  const LockHolder halted(folder_ / "preferences/.com.example.app.lock");
  make<NSUserDefaults>("com.example.other"_ns)->setInteger_forKey(5, "a"_ns);
  EXPECT_EQ(make<NSUserDefaults>("com.example.other"_ns)->integerForKey("a"_ns), 5);
  EXPECT_TRUE(folder_.has("preferences/com.example.other.plist"));
}

TEST_F(NSUserDefaultsTest, AFileThatCannotBeReadIsNotReplaced) {
  std::filesystem::create_directories(folder_ / file_);
  defaults_->setObject_forKey("1"_ns, "a"_ns);
  EXPECT_TRUE(std::filesystem::is_directory(folder_ / file_));
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("a"_ns), "1"_ns));
}

}  // namespace
