#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "foundation/Foundation.h"
#include "foundation/preferences/NSUserDefaults.h"
#include "testing/EnvironmentVariable.h"
#include "tests/platform/foundation/preferences/Settings.h"

namespace {

using namespace settings;

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
