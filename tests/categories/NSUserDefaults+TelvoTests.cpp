#include <algorithm>
#include <filesystem>
#include <limits>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "categories/NSUserDefaults+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/ChildProcess.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

Ref<NSNumber> number(NSInteger value) { return NSNumber::numberWithInteger(value); }

// Settings of an application in a folder of their own.
class NSUserDefaultsTelvo : public testing::Test {
 protected:
  static Ref<NSUserDefaults> application() { return make<NSUserDefaults>("com.example.app"_ns); }

  id value(const Ref<NSString>& key) const { return defaults_->objectForKey(key); }
  Ref<NSDictionary> saved() const { return defaults_->persistentDomainForName("com.example.app"_ns); }

  TemporaryDirectory folder_;
  EnvironmentVariable configuration_{"XDG_CONFIG_HOME", folder_.path().c_str()};
  Ref<NSUserDefaults> defaults_ = application();
};

TEST_F(NSUserDefaultsTelvo, ADefaultStandsForAMissingValue) {
  EXPECT_TRUE(NSEqualObjects(telvo_objectForKey_defaultValue(defaults_, "k"_ns, "default"_ns), "default"_ns));
  EXPECT_EQ(telvo_objectForKey_defaultValue(defaults_, "k"_ns, nil), nil);
  defaults_->registerDefaults(NSDictionary::dictionary({{"k"_ns, "registered"_ns}}));
  EXPECT_TRUE(NSEqualObjects(telvo_objectForKey_defaultValue(defaults_, "k"_ns, "default"_ns), "registered"_ns));
  defaults_->setObject_forKey("mine"_ns, "k"_ns);
  EXPECT_TRUE(NSEqualObjects(telvo_objectForKey_defaultValue(defaults_, "k"_ns, "default"_ns), "mine"_ns));
}

TEST_F(NSUserDefaultsTelvo, ANilObjectGivesWayToTheDefaultAndBothNilToTheOldValue) {
  telvo_setObject_forKey_defaultValue(defaults_, nil, "k"_ns, "default"_ns);
  EXPECT_TRUE(NSEqualObjects(value("k"_ns), "default"_ns));
  telvo_setObject_forKey_defaultValue(defaults_, "object"_ns, "k"_ns, "default"_ns);
  telvo_setObject_forKey_defaultValue(defaults_, nil, "k"_ns, nil);
  EXPECT_TRUE(NSEqualObjects(value("k"_ns), "object"_ns));
}

TEST_F(NSUserDefaultsTelvo, ANilObjectRemovesTheValueOnlyWhenAsked) {
  telvo_setObject_forKey_removeIfNil(defaults_, "object"_ns, "k"_ns, true);
  telvo_setObject_forKey_removeIfNil(defaults_, nil, "k"_ns, false);
  EXPECT_TRUE(NSEqualObjects(value("k"_ns), "object"_ns));
  telvo_setObject_forKey_removeIfNil(defaults_, nil, "k"_ns, true);
  telvo_setObject_forKey_removeIfNil(defaults_, nil, "absent"_ns, true);
  EXPECT_EQ(value("k"_ns), nil);
}

TEST_F(NSUserDefaultsTelvo, SanitizingKeepsWhatCanBeStoredAndDescribesTheRest) {
  const auto date = NSDate::dateWithTimeIntervalSince1970(0);
  const auto data = NSData::dataWithBytes("x");
  for (const id& object : {id("text"_ns), id(number(1)), id(date), id(data)}) {
    EXPECT_EQ(telvo_sanitizeObject(defaults_, object), object);
  }
  EXPECT_TRUE(NSEqualObjects(telvo_sanitizeObject(defaults_, NSNull::null()), "<null>"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_sanitizeObject(defaults_, NSSet::setWithObject("a"_ns)), "{(\n    a\n)}"_ns));
  EXPECT_EQ(telvo_sanitizeObject(defaults_, nil), nil);
}

TEST_F(NSUserDefaultsTelvo, SanitizingReachesThroughCollections) {
  const auto url = NSURL::URLWithString("http://host/a"_ns);
  const auto list = NSArray::arrayWithObjects({url, number(2)});
  const auto object = NSDictionary::dictionary({{"list"_ns, list}, {"null"_ns, NSNull::null()}});
  const auto expected = NSDictionary::dictionary(
      {{"list"_ns, NSArray::arrayWithObjects({"http://host/a"_ns, number(2)})}, {"null"_ns, "<null>"_ns}});
  const id clean = telvo_sanitizeObject(defaults_, object);
  EXPECT_TRUE(NSEqualObjects(clean, expected));
  EXPECT_NE(as<NSMutableDictionary>(clean), nil);
  EXPECT_NE(as<NSMutableArray>(as<NSDictionary>(clean)->objectForKey("list"_ns)), nil);
  EXPECT_EQ(list->objectAtIndex(0), url);
}

TEST_F(NSUserDefaultsTelvo, SanitizingLeavesKeysAlone) {
  const auto object = NSDictionary::dictionary({{number(1), NSNull::null()}});
  EXPECT_TRUE(
      NSEqualObjects(telvo_sanitizeObject(defaults_, object), NSDictionary::dictionary({{number(1), "<null>"_ns}})));
  EXPECT_THROW(telvo_setArbitraryObject_forKey(defaults_, object, "k"_ns), Ref<NSException>);
}

TEST_F(NSUserDefaultsTelvo, SanitizingAnArrayThatHoldsItselfRaises) {
  const auto array = NSMutableArray::array();
  array->addObject(array);
  EXPECT_THROW(telvo_sanitizeObject(defaults_, array), Ref<NSException>);
  array->removeAllObjects();
}

TEST_F(NSUserDefaultsTelvo, AnyObjectCanBeStoredSanitized) {
  telvo_setArbitraryObject_forKey(defaults_, NSArray::arrayWithObject(NSURL::URLWithString("ftp://h/"_ns)), "k"_ns);
  EXPECT_TRUE(NSEqualObjects(value("k"_ns), NSArray::arrayWithObject("ftp://h/"_ns)));
  telvo_setArbitraryObject_forKey(defaults_, nil, "k"_ns);
  EXPECT_NE(value("k"_ns), nil);
  EXPECT_THROW(defaults_->setObject_forKey(NSURL::URLWithString("ftp://h/"_ns), "k"_ns), Ref<NSException>);
}

TEST_F(NSUserDefaultsTelvo, CountsUpFromWhatIsThere) {
  EXPECT_EQ(telvo_incrementIntegerForKey(defaults_, "n"_ns), 1);
  EXPECT_EQ(telvo_incrementIntegerForKey(defaults_, "n"_ns), 2);
  EXPECT_TRUE(NSEqualObjects(value("n"_ns), number(2)));
  defaults_->setObject_forKey("41 of them"_ns, "n"_ns);
  EXPECT_EQ(telvo_incrementIntegerForKey(defaults_, "n"_ns), 42);
  defaults_->registerDefaults(NSDictionary::dictionary({{"r"_ns, number(9)}}));
  EXPECT_EQ(telvo_incrementIntegerForKey(defaults_, "r"_ns), 10);
  defaults_->setInteger_forKey(NSIntegerMax, "n"_ns);
  EXPECT_EQ(telvo_incrementIntegerForKey(defaults_, "n"_ns), std::numeric_limits<NSInteger>::min());
}

TEST_F(NSUserDefaultsTelvo, TimeIntervalsAreRealNumbers) {
  EXPECT_EQ(telvo_timeIntervalForKey(defaults_, "t"_ns), 0.0);
  EXPECT_EQ(telvo_timeIntervalForKey_orDefaultTimeInterval(defaults_, "t"_ns, 30.5), 30.5);
  telvo_setTimeInterval_forKey(defaults_, 0.1, "t"_ns);
  EXPECT_TRUE(as<NSNumber>(value("t"_ns))->isReal());
  EXPECT_EQ(telvo_timeIntervalForKey(defaults_, "t"_ns), 0.1);
  EXPECT_EQ(telvo_timeIntervalForKey_orDefaultTimeInterval(defaults_, "t"_ns, 30.5), 0.1);
  defaults_->setObject_forKey("2.5 s"_ns, "t"_ns);
  EXPECT_EQ(telvo_timeIntervalForKey_orDefaultTimeInterval(defaults_, "t"_ns, 30.5), 2.5);
}

class NSUserDefaultsTelvoFactory : public NSUserDefaultsTelvo {
 protected:
  NSUserDefaultsTelvoFactory() {
    defaults_->registerDefaults(NSDictionary::dictionary({{"a"_ns, number(1)}, {"b"_ns, "two"_ns}}));
  }
};

TEST_F(NSUserDefaultsTelvoFactory, SettingsOfSeveralKeysHoldNullForMissingOnes) {
  defaults_->setInteger_forKey(5, "a"_ns);
  defaults_->setInteger_forKey(6, "c"_ns);
  const auto settings = telvo_factorySettingsForKeys(defaults_, NSArray::arrayWithObjects({"a"_ns, "c"_ns}));
  EXPECT_TRUE(NSEqualObjects(settings, NSDictionary::dictionary({{"a"_ns, number(1)}, {"c"_ns, NSNull::null()}})));
  EXPECT_EQ(telvo_factorySettingsForKeys(defaults_, nil)->count(), 0U);
}

TEST_F(NSUserDefaultsTelvoFactory, AValueThatDiffersFromTheRegisteredOneIsChanged) {
  EXPECT_FALSE(telvo_changedFromFactorySettingsForKey(defaults_, "a"_ns));
  defaults_->setDouble_forKey(1.0, "a"_ns);
  EXPECT_FALSE(telvo_changedFromFactorySettingsForKey(defaults_, "a"_ns)) << "an equal value is no change";
  defaults_->setInteger_forKey(2, "a"_ns);
  EXPECT_TRUE(telvo_changedFromFactorySettingsForKey(defaults_, "a"_ns));
}

TEST_F(NSUserDefaultsTelvoFactory, AKeyWithoutARegisteredValueCountsAsChanged) {
  EXPECT_TRUE(telvo_changedFromFactorySettingsForKey(defaults_, "c"_ns));
  defaults_->setInteger_forKey(1, "c"_ns);
  EXPECT_TRUE(telvo_changedFromFactorySettingsForKey(defaults_, "c"_ns));
  EXPECT_TRUE(telvo_changedFromFactorySettingsForKey(defaults_, nil));
  EXPECT_TRUE(telvo_changedFromFactorySettingsForKeys(defaults_, NSArray::arrayWithObjects({"a"_ns, "c"_ns})));
}

TEST_F(NSUserDefaultsTelvoFactory, OneChangedKeyOfSeveralIsEnough) {
  const auto keys = NSArray::arrayWithObjects({"a"_ns, "b"_ns});
  EXPECT_FALSE(telvo_changedFromFactorySettingsForKeys(defaults_, keys));
  EXPECT_FALSE(telvo_changedFromFactorySettingsForKeys(defaults_, NSArray::array()));
  EXPECT_FALSE(telvo_changedFromFactorySettingsForKeys(defaults_, nil));
  defaults_->setObject_forKey("three"_ns, "b"_ns);
  EXPECT_TRUE(telvo_changedFromFactorySettingsForKeys(defaults_, keys));
}

TEST_F(NSUserDefaultsTelvoFactory, RestoringLetsTheRegisteredValueShowAgain) {
  defaults_->setInteger_forKey(5, "a"_ns);
  defaults_->setObject_forKey("x"_ns, "b"_ns);
  defaults_->setObject_forKey("y"_ns, "c"_ns);
  telvo_restoreFactorySettingsForKey(defaults_, "a"_ns);
  EXPECT_TRUE(NSEqualObjects(value("a"_ns), number(1)));
  telvo_restoreFactorySettingsForKeys(defaults_, NSArray::arrayWithObjects({"b"_ns, "c"_ns, "absent"_ns}));
  EXPECT_TRUE(NSEqualObjects(value("b"_ns), "two"_ns));
  EXPECT_EQ(value("c"_ns), nil);
  defaults_->setInteger_forKey(5, "a"_ns);
  telvo_restoreFactorySettingsForKeys(defaults_, NSSet::setWithObject("a"_ns));
  EXPECT_TRUE(NSEqualObjects(value("a"_ns), number(1)));
  telvo_restoreFactorySettingsForKeys(defaults_, nil);
}

TEST_F(NSUserDefaultsTelvoFactory, AValueIsCopiedOntoAKeyAtItsFactorySetting) {
  defaults_->setObject_forKey("mine"_ns, "old"_ns);
  EXPECT_TRUE(telvo_copyObjectForKey_toKey_replace(defaults_, "old"_ns, "b"_ns, false));
  EXPECT_TRUE(NSEqualObjects(value("b"_ns), "mine"_ns));
  EXPECT_TRUE(NSEqualObjects(value("old"_ns), "mine"_ns));
}

TEST_F(NSUserDefaultsTelvoFactory, AValueIsCopiedOntoAChangedKeyOnlyWhenAskedToReplace) {
  defaults_->setObject_forKey("mine"_ns, "old"_ns);
  defaults_->setObject_forKey("changed"_ns, "b"_ns);
  EXPECT_FALSE(telvo_copyObjectForKey_toKey_replace(defaults_, "old"_ns, "b"_ns, false));
  EXPECT_FALSE(telvo_copyObjectForKey_toKey_replace(defaults_, "old"_ns, "unregistered"_ns, false));
  EXPECT_TRUE(NSEqualObjects(value("b"_ns), "changed"_ns));
  EXPECT_TRUE(telvo_copyObjectForKey_toKey_replace(defaults_, "old"_ns, "b"_ns, true));
  EXPECT_TRUE(telvo_copyObjectForKey_toKey_replace(defaults_, "old"_ns, "unregistered"_ns, true));
  EXPECT_TRUE(NSEqualObjects(value("b"_ns), "mine"_ns));
  EXPECT_FALSE(telvo_copyObjectForKey_toKey_replace(defaults_, "absent"_ns, "b"_ns, true));
  EXPECT_TRUE(NSEqualObjects(value("b"_ns), "mine"_ns));
}

TEST_F(NSUserDefaultsTelvoFactory, CopyingPairsOfKeysCopiesNothing) {
  defaults_->setObject_forKey("mine"_ns, "old"_ns);
  const auto before = defaults_->dictionaryRepresentation();
  for (const bool replace : {false, true}) {
    EXPECT_FALSE(telvo_copyObjectsForKeys_replace(
        defaults_, NSArray::arrayWithObjects({"old"_ns, "a"_ns, "a"_ns, "b"_ns, "odd"_ns}), replace));
    EXPECT_FALSE(telvo_copyObjectsForKeys_replace(defaults_, NSArray::array(), replace));
    EXPECT_FALSE(telvo_copyObjectsForKeys_replace(defaults_, nil, replace));
  }
  EXPECT_TRUE(NSEqualObjects(defaults_->dictionaryRepresentation(), before));
}

class NSUserDefaultsTelvoCopying : public NSUserDefaultsTelvo {
 protected:
  NSUserDefaultsTelvoCopying() {
    other_->setObject_forKey("theirs"_ns, "a"_ns);
    other_->setObject_forKey(NSArray::arrayWithObjects({number(1), "x"_ns}), "list"_ns);
  }
  ~NSUserDefaultsTelvoCopying() override {
    for (const auto& key : {"a"_ns, "b"_ns, "list"_ns}) standard_->removeObjectForKey(key);
  }

  void copy(const Ref<NSArray>& keys, const Ref<NSString>& identifier, bool removeIfMissing) {
    telvo_copyPreferencesWithKeys_fromBundleIdentifier_removeIfMissing(defaults_, keys, identifier, removeIfMissing);
  }

  const Ref<NSUserDefaults>& standard_ = NSUserDefaults::standardUserDefaults();
  Ref<NSUserDefaults> other_ = make<NSUserDefaults>("com.example.other"_ns);
  const Ref<NSArray> keys_ = NSArray::arrayWithObjects({"a"_ns, "b"_ns, "list"_ns});
};

TEST_F(NSUserDefaultsTelvoCopying, AnotherApplicationsValuesGoToTheStandardDefaultsWhateverTheReceiver) {
  standard_->setObject_forKey("ours"_ns, "b"_ns);
  copy(keys_, "com.example.other"_ns, false);
  EXPECT_TRUE(NSEqualObjects(standard_->objectForKey("a"_ns), "theirs"_ns));
  EXPECT_TRUE(NSEqualObjects(standard_->objectForKey("list"_ns), NSArray::arrayWithObjects({number(1), "x"_ns})));
  EXPECT_TRUE(NSEqualObjects(standard_->objectForKey("b"_ns), "ours"_ns)) << "a missing value is left alone";
  EXPECT_EQ(saved(), nil) << "the receiver's own domain is not touched";
}

TEST_F(NSUserDefaultsTelvoCopying, KeysThatTheOtherApplicationLacksAreRemovedWhenAsked) {
  standard_->setObject_forKey("ours"_ns, "b"_ns);
  copy(keys_, "com.example.other"_ns, true);
  EXPECT_TRUE(NSEqualObjects(standard_->objectForKey("a"_ns), "theirs"_ns));
  EXPECT_EQ(standard_->objectForKey("b"_ns), nil);
}

TEST_F(NSUserDefaultsTelvoCopying, AnApplicationWithoutPreferencesHasNoValues) {
  standard_->setObject_forKey("ours"_ns, "a"_ns);
  copy(keys_, "com.example.none"_ns, false);
  copy(keys_, nil, false);
  copy(nil, "com.example.other"_ns, true);
  EXPECT_TRUE(NSEqualObjects(standard_->objectForKey("a"_ns), "ours"_ns));
  copy(keys_, "com.example.none"_ns, true);
  EXPECT_EQ(standard_->objectForKey("a"_ns), nil);
}

TEST_F(NSUserDefaultsTelvoCopying, OneKeyIsCopiedTheSameWay) {
  const auto copyOne = [&](const Ref<NSString>& key, bool removeIfMissing) {
    telvo_copyPreferenceWithKey_fromBundleIdentifier_removeIfMissing(defaults_, key, "com.example.other"_ns,
                                                                     removeIfMissing);
  };
  copyOne("a"_ns, false);
  EXPECT_TRUE(NSEqualObjects(standard_->objectForKey("a"_ns), "theirs"_ns));
  EXPECT_EQ(standard_->objectForKey("list"_ns), nil);
  standard_->setObject_forKey("ours"_ns, "b"_ns);
  copyOne("b"_ns, true);
  EXPECT_EQ(standard_->objectForKey("b"_ns), nil);
  copyOne(nil, true);
}

TEST_F(NSUserDefaultsTelvoCopying, WhatCouldNotBeWrittenBeforeIsWrittenEvenForAnEmptyList) {
  const TemporaryDirectory folder;
  const EnvironmentVariable configuration("XDG_CONFIG_HOME", folder.path().c_str());
  folder.write("preferences", "a file where the folder should be");
  standard_->setObject_forKey("kept"_ns, "a"_ns);
  std::filesystem::remove(folder / "preferences");
  copy(NSArray::array(), "com.example.other"_ns, false);
  const auto written = std::filesystem::directory_iterator(folder / "preferences");
  EXPECT_NE(std::find_if(begin(written), end(written),
                         [](const auto& entry) { return entry.path().extension() == ".plist"; }),
            end(written));
}

TEST_F(NSUserDefaultsTelvo, ProcessesThatCountAtTheSameTimeKeepEachOthersKeys) {
  constexpr int processes = 3;
  constexpr int steps = 20;
  std::vector<pid_t> children;
  for (int process = 0; process < processes; ++process) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      const auto own = application();
      const auto key = NSString::stringWithFormat("count %d"_ns, process);
      for (int step = 0; step < steps; ++step) telvo_incrementIntegerForKey(own, key);
      telvo_setArbitraryObject_forKey(own, NSNull::null(), NSString::stringWithFormat("done %d"_ns, process));
      // On a slow disk another process may have kept the lock for longer than one waits; what is kept then is written
      // now.
      while (!own->synchronize()) continue;
      _exit(0);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  for (int process = 0; process < processes; ++process) {
    EXPECT_EQ(defaults_->integerForKey(NSString::stringWithFormat("count %d"_ns, process)), steps);
    EXPECT_NE(value(NSString::stringWithFormat("done %d"_ns, process)), nil);
  }
}

TEST_F(NSUserDefaultsTelvo, ADamagedFileIsKeptAsideWhenTheExtensionsWrite) {
  const std::string file = "preferences/com.example.app.plist";
  folder_.write(file, "<plist><dict><key>cut short");
  testing::internal::CaptureStderr();
  EXPECT_EQ(telvo_incrementIntegerForKey(defaults_, "n"_ns), 1);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("damaged"), std::string::npos);
  EXPECT_EQ(folder_.read("preferences/com.example.app damaged 1.plist"), "<plist><dict><key>cut short");
  EXPECT_EQ(application()->integerForKey("n"_ns), 1);
}

TEST_F(NSUserDefaultsTelvo, EveryPropertyListTypeSurvivesASecondProcess) {
  const auto everything = NSDictionary::dictionary(
      {{"text"_ns, "ä\n<&>"_ns},
       {"integer"_ns, number(-5)},
       {"real"_ns, NSNumber::numberWithDouble(0.1)},
       {"bool"_ns, NSNumber::numberWithBool(true)},
       {"date"_ns, NSDate::dateWithTimeIntervalSince1970(1234567890)},
       {"data"_ns, NSData::dataWithBytes(std::string("\0\xff", 2))},
       {"list"_ns, NSArray::arrayWithObjects({"a"_ns, NSDictionary::dictionary({{"k"_ns, "v"_ns}})})}});
  const std::string stored = inChild([&]() -> std::string {
    telvo_setArbitraryObject_forKey(application(), everything, "all"_ns);
    return "stored";
  });
  EXPECT_EQ(stored, "stored");
  EXPECT_TRUE(NSEqualObjects(value("all"_ns), everything));
}

TEST_F(NSUserDefaultsTelvo, NilDefaultsAndNilKeysDoNothing) {
  const Ref<NSUserDefaults> none;
  EXPECT_EQ(telvo_objectForKey_defaultValue(none, "k"_ns, "x"_ns), nil);
  EXPECT_EQ(telvo_sanitizeObject(none, "x"_ns), nil);
  EXPECT_EQ(telvo_incrementIntegerForKey(none, "k"_ns), 0);
  EXPECT_EQ(telvo_timeIntervalForKey_orDefaultTimeInterval(none, "k"_ns, 2.0), 0.0);
  EXPECT_EQ(telvo_factorySettingsForKeys(none, NSArray::array()), nil);
  EXPECT_FALSE(telvo_changedFromFactorySettingsForKey(none, "k"_ns));
  EXPECT_FALSE(telvo_copyObjectForKey_toKey_replace(none, "a"_ns, "b"_ns, true));
  telvo_copyPreferenceWithKey_fromBundleIdentifier_removeIfMissing(none, "a"_ns, "com.example.other"_ns, true);
  telvo_setObject_forKey_removeIfNil(defaults_, "x"_ns, nil, true);
  telvo_setTimeInterval_forKey(defaults_, 1.0, nil);
  telvo_restoreFactorySettingsForKey(defaults_, nil);
  EXPECT_EQ(telvo_incrementIntegerForKey(defaults_, nil), 0);
  EXPECT_FALSE(telvo_copyObjectForKey_toKey_replace(defaults_, nil, "b"_ns, true));
  EXPECT_EQ(saved(), nil);
}

TEST_F(NSUserDefaultsTelvo, ExtensionsAreCalledByName) {
  const id count = defaults_->performSelector_withObject("telvo_incrementIntegerForKey:"_sel, "n"_ns);
  EXPECT_EQ(as<NSNumber>(count)->integerValue(), 1);
}

}  // namespace
