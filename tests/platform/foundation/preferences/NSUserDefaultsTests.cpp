#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
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
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

Ref<NSNumber> number(NSInteger value) { return NSNumber::numberWithInteger(value); }

// Settings of an application in a folder of their own, without launch arguments.
class NSUserDefaultsTest : public testing::Test {
 protected:
  ~NSUserDefaultsTest() override { takeArguments({}); }

  // The arguments as the system would hand them over; answers what is left of them.
  static std::vector<std::string> takeArguments(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "program");
    std::vector<char*> pointers;
    pointers.reserve(arguments.size());
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    NSUserDefaults::takeArguments(static_cast<int>(pointers.size()), pointers.data());
    return arguments;
  }

  static Ref<NSUserDefaults> other() { return make<NSUserDefaults>("com.example.app"_ns); }

  TemporaryDirectory folder_;
  EnvironmentVariable configuration_{"XDG_CONFIG_HOME", folder_.path().c_str()};
  const std::string file_ = "preferences/com.example.app.plist";
  Ref<NSUserDefaults> defaults_ = other();
};

TEST_F(NSUserDefaultsTest, EachArgumentKeyTakesTheVeryNextArgument) {
  takeArguments({"-sourcePath", "/a b", "ignored", "-password", "-debug", "-host", "", "-cachedInfoPath", "(1)", "-"});
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("sourcePath"_ns), "/a b"_ns));
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("password"_ns), "-debug"_ns));
  EXPECT_FALSE(defaults_->objectForKey("debug"_ns));
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("host"_ns), ""_ns)) << "an empty value is a value";
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("cachedInfoPath"_ns), "(1)"_ns)) << "values are plain text";
  EXPECT_FALSE(defaults_->objectForKey("ignored"_ns));
  EXPECT_EQ(defaults_->volatileDomainForName(NSArgumentDomain())->count(), 4U);
}

TEST_F(NSUserDefaultsTest, AnArgumentKeyWithoutAValueIsPassedOverAndTheLastOfAKeyCounts) {
  takeArguments({"-a", "1", "-a", "2", "-b"});
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("a"_ns), "2"_ns));
  EXPECT_FALSE(defaults_->objectForKey("b"_ns));
}

TEST_F(NSUserDefaultsTest, ArgumentsKeepBytesThatAreNoUTF8) {
  takeArguments({"-sourcePath", "/caf\xe9"});
  EXPECT_EQ(defaults_->stringForKey("sourcePath"_ns)->UTF8String(), "/caf\xe9");
}

TEST_F(NSUserDefaultsTest, ArgumentsAreOverwrittenWhereTheyStand) {
  const auto left = takeArguments({"-password", "secret", "other"});
  EXPECT_EQ(left[0], "program");
  for (std::size_t i = 1; i < left.size(); ++i) EXPECT_EQ(left[i], std::string(left[i].size(), '\0'));
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("password"_ns), "secret"_ns));
}

// What the process list shows of this process.
std::string argumentArea() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Takes the process's own arguments, which stand one behind the other, and ends it: with 0 when all but the first are
// gone from its argument area.
[[noreturn]] void takeRealArguments() {
  const std::string before = argumentArea();
  std::vector<char*> arguments;
  for (char* at = program_invocation_name; at < program_invocation_name + before.size(); at += std::strlen(at) + 1) {
    arguments.push_back(at);
  }
  NSUserDefaults::takeArguments(static_cast<int>(arguments.size()), arguments.data());
  std::string expected(program_invocation_name);
  expected.resize(before.size());
  _exit(arguments.size() > 1 && argumentArea() == expected ? 0 : 1);
}

TEST(NSUserDefaultsDeathTest, TheProcessListNoLongerShowsTheArguments) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // the child process is started with arguments of its own
  EXPECT_EXIT(takeRealArguments(), testing::ExitedWithCode(0), "");
}

TEST_F(NSUserDefaultsTest, LooksUpArgumentsThenTheApplicationThenRegisteredDefaults) {
  const auto key = "key"_ns;
  EXPECT_FALSE(defaults_->objectForKey(key));
  defaults_->registerDefaults(NSDictionary::dictionary({{key, "registered"_ns}, {"other"_ns, "x"_ns}}));
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey(key), "registered"_ns));
  defaults_->setObject_forKey("saved"_ns, key);
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey(key), "saved"_ns));
  takeArguments({"-key", "argument"});
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey(key), "argument"_ns));
  EXPECT_TRUE(NSEqualObjects(defaults_->dictionaryRepresentation(),
                             NSDictionary::dictionary({{key, "argument"_ns}, {"other"_ns, "x"_ns}})));
  takeArguments({});
  defaults_->removeObjectForKey(key);
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey(key), "registered"_ns));
}

TEST_F(NSUserDefaultsTest, OnlyTheApplicationsDomainIsWritten) {
  takeArguments({"-argument", "1"});
  defaults_->registerDefaults(NSDictionary::dictionary({{"registered"_ns, "1"_ns}}));
  defaults_->setObject_forKey("1"_ns, "saved"_ns);
  EXPECT_TRUE(NSEqualObjects(NSDictionary::dictionaryWithContentsOfFile(folder_.text(file_)),
                             NSDictionary::dictionary({{"saved"_ns, "1"_ns}})));
}

TEST_F(NSUserDefaultsTest, RegisteredDefaultsAddUpAndAreNeverSaved) {
  defaults_->registerDefaults(NSDictionary::dictionary({{"a"_ns, "1"_ns}, {"b"_ns, "1"_ns}}));
  defaults_->registerDefaults(NSDictionary::dictionary({{"b"_ns, "2"_ns}}));
  EXPECT_TRUE(NSEqualObjects(defaults_->volatileDomainForName(NSRegistrationDomain()),
                             NSDictionary::dictionary({{"a"_ns, "1"_ns}, {"b"_ns, "2"_ns}})));
  defaults_->synchronize();
  EXPECT_FALSE(folder_.has(file_));
  EXPECT_FALSE(defaults_->volatileDomainForName("unknown"_ns));
  EXPECT_FALSE(defaults_->volatileDomainForName(nil));
}

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

TEST_F(NSUserDefaultsTest, ValuesNestedAsDeepAsTheFileCanHoldAreAccepted) {
  const auto nested = [](int depth) {
    auto array = NSArray::array();
    for (int i = 1; i < depth; ++i) array = NSArray::arrayWithObject(array);
    return array;
  };
  defaults_->setObject_forKey(nested(511), "deep"_ns);
  EXPECT_THROW(defaults_->setObject_forKey(nested(512), "deeper"_ns), Ref<NSException>);
  defaults_->setObject_forKey("1"_ns, "a"_ns);
  EXPECT_TRUE(NSEqualObjects(other()->objectForKey("a"_ns), "1"_ns));
  EXPECT_NE(other()->objectForKey("deep"_ns), nil);
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

TEST_F(NSUserDefaultsTest, BooleansFollowThePlatformsRules) {
  for (const char* text : {"YES", "yes", "true", "TRUE", "y", "1", " 007"}) {
    takeArguments({"-debug", text});
    EXPECT_TRUE(defaults_->boolForKey("debug"_ns)) << text;
  }
  for (const char* text : {"NO", "no", "false", "0", "", "on", "x1"}) {
    takeArguments({"-debug", text});
    EXPECT_FALSE(defaults_->boolForKey("debug"_ns)) << text;
  }
  EXPECT_FALSE(defaults_->boolForKey("missing"_ns));
  defaults_->setInteger_forKey(2, "number"_ns);
  EXPECT_TRUE(defaults_->boolForKey("number"_ns));
  defaults_->setObject_forKey(NSArray::arrayWithObject("1"_ns), "array"_ns);
  EXPECT_FALSE(defaults_->boolForKey("array"_ns));
}

TEST_F(NSUserDefaultsTest, TypedValuesConvertTextsAndNumbersOnly) {
  defaults_->setObject_forKey("12.5 km"_ns, "text"_ns);
  defaults_->setDouble_forKey(2.5, "real"_ns);
  defaults_->setBool_forKey(true, "bool"_ns);
  defaults_->setObject_forKey(NSArray::array(), "array"_ns);
  EXPECT_EQ(defaults_->integerForKey("text"_ns), 12);
  EXPECT_EQ(defaults_->doubleForKey("text"_ns), 12.5);
  EXPECT_EQ(defaults_->integerForKey("real"_ns), 2);
  EXPECT_TRUE(NSEqualObjects(defaults_->stringForKey("real"_ns), "2.5"_ns));
  EXPECT_TRUE(NSEqualObjects(defaults_->stringForKey("bool"_ns), "1"_ns));
  EXPECT_FALSE(defaults_->stringForKey("array"_ns));
  EXPECT_TRUE(defaults_->arrayForKey("array"_ns));
  EXPECT_FALSE(defaults_->arrayForKey("text"_ns));
  EXPECT_FALSE(defaults_->dictionaryForKey("array"_ns));
  EXPECT_FALSE(defaults_->dataForKey("text"_ns));
  EXPECT_EQ(defaults_->integerForKey("array"_ns), 0);
  EXPECT_EQ(defaults_->doubleForKey("missing"_ns), 0.0);
  EXPECT_FALSE(defaults_->stringForKey("missing"_ns));
}

TEST_F(NSUserDefaultsTest, OnlyPropertyListsAreAccepted) {
  const auto key = "key"_ns;
  EXPECT_THROW(defaults_->setObject_forKey(NSNull::null(), key), Ref<NSException>);
  EXPECT_THROW(defaults_->setObject_forKey(NSArray::arrayWithObject(NSURL::URLWithString("a:b"_ns)), key),
               Ref<NSException>);
  EXPECT_THROW(defaults_->setObject_forKey(NSDictionary::dictionary({{number(1), "a"_ns}}), key), Ref<NSException>);
  EXPECT_THROW(defaults_->setObject_forKey("a"_ns, nil), Ref<NSException>);
  EXPECT_THROW(defaults_->removeObjectForKey(nil), Ref<NSException>);
  EXPECT_FALSE(defaults_->objectForKey(key));
  EXPECT_FALSE(defaults_->objectForKey(nil));
  EXPECT_FALSE(folder_.has(file_));
}

TEST_F(NSUserDefaultsTest, ValuesAreCopiedAndNilRemoves) {
  const auto array = NSMutableArray::arrayWithObjects({NSMutableString::stringWithString("a"_ns)});
  const auto key = NSMutableString::stringWithString("key"_ns);
  defaults_->setObject_forKey(array, key);
  as<NSMutableString>(array->objectAtIndex(0))->appendString("b"_ns);
  array->addObject("c"_ns);
  key->appendString("2"_ns);
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("key"_ns), NSArray::arrayWithObject("a"_ns)));
  EXPECT_FALSE(as<NSMutableArray>(defaults_->objectForKey("key"_ns)));
  defaults_->setObject_forKey(nil, "key"_ns);
  EXPECT_FALSE(defaults_->objectForKey("key"_ns));
  EXPECT_FALSE(other()->objectForKey("key"_ns));
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

TEST_F(NSUserDefaultsTest, ReadsTheDomainsOfOtherApplications) {
  make<NSUserDefaults>("com.example.other"_ns)->setObject_forKey("1"_ns, "a"_ns);
  EXPECT_TRUE(NSEqualObjects(defaults_->persistentDomainForName("com.example.other"_ns),
                             NSDictionary::dictionary({{"a"_ns, "1"_ns}})));
  EXPECT_FALSE(defaults_->objectForKey("a"_ns));
  EXPECT_FALSE(defaults_->persistentDomainForName("com.example.none"_ns));
  EXPECT_FALSE(defaults_->persistentDomainForName("com.example.app"_ns)) << "nothing saved yet";
  EXPECT_FALSE(defaults_->persistentDomainForName(nil));
}

TEST_F(NSUserDefaultsTest, AnIdentifierThatLeadsElsewhereHasNoFile) {
  folder_.write("outside.plist", "<plist><dict><key>a</key><string>1</string></dict></plist>");
  for (const auto& identifier : {"../outside"_ns, ""_ns, NSString::stringWithUnits(std::u16string(u"a\0b", 3))}) {
    EXPECT_FALSE(defaults_->persistentDomainForName(identifier));
    const auto homeless = make<NSUserDefaults>(identifier);
    homeless->setObject_forKey("2"_ns, "a"_ns);
    EXPECT_TRUE(NSEqualObjects(homeless->objectForKey("a"_ns), "2"_ns));
    EXPECT_FALSE(homeless->synchronize());
  }
  EXPECT_NE(folder_.read("outside.plist").find("<string>1"), std::string::npos);
}

TEST_F(NSUserDefaultsTest, WithoutAConfiguredFolderTheHomeFolderIsUsed) {
  const EnvironmentVariable home("HOME", folder_.path().c_str());
  for (const char* configured : {static_cast<const char*>(nullptr), "", "relative"}) {
    const EnvironmentVariable none("XDG_CONFIG_HOME", configured);
    other()->setObject_forKey("1"_ns, "a"_ns);
    EXPECT_TRUE(folder_.has(".config/" + file_));
    std::filesystem::remove_all(folder_ / ".config");
  }
}

TEST_F(NSUserDefaultsTest, TheStandardDefaultsAreTheProgramsOwn) {
  const auto& standard = NSUserDefaults::standardUserDefaults();
  EXPECT_EQ(standard.get(), NSUserDefaults::standardUserDefaults().get());
  standard->setObject_forKey("1"_ns, "a"_ns);
  EXPECT_TRUE(folder_.has("preferences/foundation_tests.plist"));
}

TEST_F(NSUserDefaultsTest, RegisteredDefaultsStayAsTheyWereRegistered) {
  const auto text = NSMutableString::stringWithString("as registered"_ns);
  const auto list = NSMutableArray::arrayWithObjects({text});
  const auto inner = NSMutableDictionary::dictionary({{"list"_ns, list}});
  const auto registered = NSMutableDictionary::dictionary({{"text"_ns, text}, {"inner"_ns, inner}});
  defaults_->registerDefaults(registered);
  text->setString("changed"_ns);
  list->addObject("more"_ns);
  inner->setObject_forKey("x"_ns, "new"_ns);
  registered->setObject_forKey("x"_ns, "another"_ns);
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("text"_ns), "as registered"_ns));
  EXPECT_TRUE(NSEqualObjects(defaults_->objectForKey("inner"_ns),
                             NSDictionary::dictionary({{"list"_ns, NSArray::arrayWithObject("as registered"_ns)}})));
  EXPECT_FALSE(defaults_->objectForKey("another"_ns));
  // What is handed out cannot be changed either.
  EXPECT_FALSE(as<NSMutableDictionary>(defaults_->objectForKey("inner"_ns)));
  EXPECT_FALSE(as<NSMutableDictionary>(defaults_->volatileDomainForName(NSRegistrationDomain())));
}

}  // namespace
