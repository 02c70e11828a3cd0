#include <gtest/gtest.h>

#include "categories/NSObject+Telvo.h"
#include "foundation/Foundation.h"

namespace {

class Recorder : public NSObject {
  NS_OBJECT(Recorder, NSObject)

 public:
  void none() { calls.emplace_back("none"); }
  void one(const id& first) { calls.push_back("one " + first->description()->UTF8String()); }
  Ref<NSString> first_second(const id& first, const Ref<NSString>& second) {
    calls.push_back(first->description()->UTF8String() + " " + second->UTF8String());
    return second;
  }
  std::vector<std::string> calls;
};

Class Recorder::classObject() {
  static const NSClass object("Recorder", NSObject::classObject(),
                              {method("none"_sel, &Recorder::none), method("one:"_sel, &Recorder::one),
                               method("first:second:"_sel, &Recorder::first_second)});
  return &object;
}

class Nameless : public NSObject {
 public:
  Ref<NSString> description() const override { return ""_ns; }
};

TEST(NSObjectTelvo, EquivalenceComparesDescriptionsIgnoringCase) {
  for (auto* isEquivalent : {&telvo_isEquivalent, &telvo_isEquivalentTo}) {
    EXPECT_TRUE(isEquivalent("ABC"_ns, "abc"_ns));
    EXPECT_TRUE(isEquivalent(NSNumber::numberWithInteger(5), "5"_ns));
    EXPECT_TRUE(isEquivalent("5"_ns, NSNumber::numberWithDouble(5)));
    EXPECT_TRUE(isEquivalent("STRASSE"_ns, "straße"_ns));
    EXPECT_FALSE(isEquivalent("abc"_ns, "abcd"_ns));
    EXPECT_FALSE(isEquivalent("a"_ns, "á"_ns));
  }
}

TEST(NSObjectTelvo, NilIsEquivalentToNothingEvenToAnEmptyDescription) {
  EXPECT_FALSE(telvo_isEquivalentTo(make<Nameless>(), nil));
  EXPECT_FALSE(telvo_isEquivalentTo(nil, make<Nameless>()));
  EXPECT_FALSE(telvo_isEquivalent(nil, nil));
  EXPECT_TRUE(telvo_isEquivalentTo(make<Nameless>(), ""_ns));
}

TEST(NSObjectTelvo, PerformsWithAnyNumberOfArguments) {
  const auto recorder = make<Recorder>();
  telvo_performSelector_withArguments(recorder, "none"_sel, NSArray::array());
  telvo_performSelector_withArguments(recorder, "none"_sel, nil);
  telvo_performSelector_withArguments(recorder, "one:"_sel, NSArray::arrayWithObject("x"_ns));
  telvo_performSelector_withArguments(recorder, "first:second:"_sel, NSArray::arrayWithObjects({"a"_ns, "b"_ns}));
  EXPECT_EQ(recorder->calls, (std::vector<std::string>{"none", "none", "one x", "a b"}));
}

TEST(NSObjectTelvo, AnotherNumberOfArgumentsCallsNothingAndLogsALine) {
  const auto recorder = make<Recorder>();
  testing::internal::CaptureStderr();
  telvo_performSelector_withArguments(recorder, "first:second:"_sel, NSArray::arrayWithObject("a"_ns));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_TRUE(recorder->calls.empty());
  EXPECT_NE(log.find("performSelector:first:second: withObjects:(\n    a\n) has different number of arguments\n"),
            std::string::npos)
      << log;
}

TEST(NSObjectTelvo, TheEmptySelectorAndANilReceiverDoNothing) {
  const auto recorder = make<Recorder>();
  testing::internal::CaptureStderr();
  telvo_performSelector_withArguments(recorder, SEL(), NSArray::arrayWithObject("a"_ns));
  telvo_performSelector_withArguments(nil, "none"_sel, nil);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(recorder->calls.empty());
}

TEST(NSObjectTelvo, AnUnknownSelectorRaisesThePlatformsException) {
  EXPECT_THROW(telvo_performSelector_withArguments(make<Recorder>(), "unknown"_sel, nil), Ref<NSException>);
}

// A record with two properties and methods of every kind of result.
class Account : public NSObject {
  NS_OBJECT(Account, NSObject)

 public:
  Ref<NSString> owner() const { return owner_; }
  void setOwner(const id& owner) { owner_ = owner ? owner->description() : Ref<NSString>(); }
  NSInteger balance() const { return balance_; }
  void setBalance(NSInteger balance) { balance_ = balance; }
  id marker() const { return NSNull::null(); }
  bool yes() const { return true; }
  NSInteger identity(NSInteger value) const { return value; }
  NSInteger sum(const Ref<NSNumber>& left, const Ref<NSNumber>& right) const {
    return (left ? left->integerValue() : 100) + (right ? right->integerValue() : 200);
  }
  double half() const { return 2.5; }
  void collect(const id& object) { collected.push_back(object->description()->UTF8String()); }

  std::vector<std::string> collected;

 private:
  Ref<NSString> owner_;
  NSInteger balance_ = 0;
};

Class Account::classObject() {
  static const NSClass object(
      "Account", NSObject::classObject(),
      {method("owner"_sel, &Account::owner), method("setOwner:"_sel, &Account::setOwner),
       method("balance"_sel, &Account::balance), method("setBalance:"_sel, &Account::setBalance),
       method("marker"_sel, &Account::marker), method("yes"_sel, &Account::yes),
       method("identity:"_sel, &Account::identity), method("sum:with:"_sel, &Account::sum),
       method("half"_sel, &Account::half), method("collect:"_sel, &Account::collect)});
  return &object;
}

class SavingsAccount : public Account {
  NS_OBJECT(SavingsAccount, Account)
};

Class SavingsAccount::classObject() {
  static const NSClass object("SavingsAccount", Account::classObject());
  return &object;
}

Ref<NSNumber> number(NSInteger value) { return NSNumber::numberWithInteger(value); }

TEST(NSObjectTelvo, AValueByKeyPathIsReadThroughTheObjectsOnTheWay) {
  const auto account = make<Account>();
  account->setOwner("Ann"_ns);
  EXPECT_TRUE(NSEqualObjects(telvo_valueForKeyPath_defaultValue(account, "owner.length"_ns, nil), number(3)));
  EXPECT_TRUE(NSEqualObjects(telvo_valueForKeyPath_defaultValue(account, "owner"_ns, "x"_ns), "Ann"_ns));
}

TEST(NSObjectTelvo, TheDefaultStandsForNilNullAndUnknownKeys) {
  const auto account = make<Account>();
  const id standIn = "default"_ns;
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, "owner"_ns, standIn), standIn);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, "owner.length"_ns, standIn), standIn);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, "marker"_ns, standIn), standIn);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, "colour"_ns, standIn), standIn);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, "owner.colour.red"_ns, standIn), standIn);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, nil, standIn), standIn);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, ""_ns, standIn), standIn);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(account, "colour"_ns, nil), nil);
  EXPECT_EQ(telvo_valueForKeyPath_defaultValue(nil, "owner"_ns, standIn), nil);
}

TEST(NSObjectTelvo, APropertyIsSetFromADictionaryThatHasTheKey) {
  const auto account = make<Account>();
  const auto dictionary = NSDictionary::dictionary({{"owner"_ns, "Ann"_ns}, {"balance"_ns, "12"_ns}});
  telvo_setValueForKey_withDictionary(account, "owner"_ns, dictionary);
  telvo_setValueForKey_withDictionary(account, "balance"_ns, dictionary);
  EXPECT_EQ(account->owner()->UTF8String(), "Ann");
  EXPECT_EQ(account->balance(), 12);
  telvo_setValueForKey_withDictionary(account, "owner"_ns, NSDictionary::dictionary());
  telvo_setValueForKey_withDictionary(account, "owner"_ns, nil);
  EXPECT_EQ(account->owner()->UTF8String(), "Ann");
}

TEST(NSObjectTelvo, OnlyAValueThatTheDictionaryHasMeetsAnUnknownKey) {
  const auto account = make<Account>();
  const auto dictionary = NSDictionary::dictionary({{"colour"_ns, "red"_ns}});
  EXPECT_THROW(telvo_setValueForKey_withDictionary(account, "colour"_ns, dictionary), Ref<NSException>);
  EXPECT_NO_THROW(telvo_setValueForKey_withDictionary(account, "taste"_ns, dictionary));
}

TEST(NSObjectTelvo, AFallbackKeysValueIsStoredUnderTheFirstKey) {
  const auto account = make<Account>();
  const auto dictionary = NSDictionary::dictionary({{"name"_ns, "Bob"_ns}, {"title"_ns, "Dr"_ns}});
  telvo_setValueForKey_orDictKey_withDictionary(account, "owner"_ns, "name"_ns, dictionary);
  EXPECT_EQ(account->owner()->UTF8String(), "Bob");
  const auto both = NSDictionary::dictionary({{"owner"_ns, "Ann"_ns}, {"name"_ns, "Bob"_ns}});
  telvo_setValueForKey_orDictKey_withDictionary(account, "owner"_ns, "name"_ns, both);
  EXPECT_EQ(account->owner()->UTF8String(), "Ann");
  telvo_setValueForKey_orDictKey_withDictionary(account, "owner"_ns, nil, dictionary);
  telvo_setValueForKey_orDictKey_withDictionary(account, "owner"_ns, "missing"_ns, dictionary);
  EXPECT_EQ(account->owner()->UTF8String(), "Ann");
}

TEST(NSObjectTelvo, OfSeveralFallbackKeysTheFirstThatGivesAValueWins) {
  const auto account = make<Account>();
  const auto dictionary = NSDictionary::dictionary({{"name"_ns, "Bob"_ns}, {"title"_ns, "Dr"_ns}});
  const auto keys = NSArray::arrayWithObjects({"missing"_ns, "title"_ns, "name"_ns});
  telvo_setValueForKey_orDictKeys_withDictionary(account, "owner"_ns, keys, dictionary);
  EXPECT_EQ(account->owner()->UTF8String(), "Dr");
  telvo_setValueForKey_orDictKeys_withDictionary(account, "owner"_ns, NSSet::setWithObject("name"_ns), dictionary);
  EXPECT_EQ(account->owner()->UTF8String(), "Bob");
  telvo_setValueForKey_orDictKeys_withDictionary(account, "owner"_ns, NSArray::array(), dictionary);
  telvo_setValueForKey_orDictKeys_withDictionary(account, "owner"_ns, nil, dictionary);
  EXPECT_EQ(account->owner()->UTF8String(), "Bob");
}

TEST(NSObjectTelvo, APropertyIsCopiedIntoADictionary) {
  const auto account = make<Account>();
  account->setOwner("Ann"_ns);
  const auto dictionary = NSMutableDictionary::dictionary();
  telvo_setValueInDictionary_forKey(account, dictionary, "owner"_ns);
  telvo_setValueInDictionary_forKey_removeIfNil(account, dictionary, "balance"_ns, true);
  EXPECT_TRUE(dictionary->isEqual(NSDictionary::dictionary({{"owner"_ns, "Ann"_ns}, {"balance"_ns, number(0)}})));
  EXPECT_THROW(telvo_setValueInDictionary_forKey(account, dictionary, "colour"_ns), Ref<NSException>);
}

TEST(NSObjectTelvo, ANilPropertyLeavesTheDictionaryOrTakesTheKeyOut) {
  const auto account = make<Account>();
  const auto dictionary = NSMutableDictionary::dictionary({{"owner"_ns, "old"_ns}});
  telvo_setValueInDictionary_forKey(account, dictionary, "owner"_ns);
  telvo_setValueInDictionary_forKey_removeIfNil(account, dictionary, "owner"_ns, false);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("owner"_ns), "old"_ns));
  telvo_setValueInDictionary_forKey_removeIfNil(account, dictionary, "owner"_ns, true);
  EXPECT_EQ(dictionary->count(), 0U);
  telvo_setValueInDictionary_forKey_removeIfNil(account, nil, "owner"_ns, true);
}

TEST(NSObjectTelvo, AReallySubclassIsAProperOne) {
  EXPECT_TRUE(telvo_isReallySubclassOfClass(make<SavingsAccount>(), Account::classObject()));
  EXPECT_TRUE(telvo_isReallySubclassOfClass(make<SavingsAccount>(), NSObject::classObject()));
  EXPECT_FALSE(telvo_isReallySubclassOfClass(make<Account>(), Account::classObject()));
  EXPECT_FALSE(telvo_isReallySubclassOfClass(make<Account>(), SavingsAccount::classObject()));
  EXPECT_FALSE(telvo_isReallySubclassOfClass(make<Account>(), nullptr));
  EXPECT_FALSE(telvo_isReallySubclassOfClass(nil, NSObject::classObject()));
}

TEST(NSObjectTelvo, IntegerSelectorsTakeNoneOneOrTwoArguments) {
  const auto account = make<Account>();
  account->setBalance(-7);
  EXPECT_EQ(telvo_performIntegerSelector(account, "balance"_sel), -7);
  EXPECT_EQ(telvo_performIntegerSelector_withObject(account, "identity:"_sel, number(41)), 41);
  EXPECT_EQ(telvo_performIntegerSelector_withObject_withObject(account, "sum:with:"_sel, number(1), number(2)), 3);
}

TEST(NSObjectTelvo, TheNullMarkerStandsForAMissingArgument) {
  const auto account = make<Account>();
  const id null = NSNull::null();
  EXPECT_EQ(telvo_performIntegerSelector_withObject_withObject(account, "balance"_sel, null, null), 0);
  EXPECT_EQ(telvo_performIntegerSelector_withObject_withObject(account, "sum:with:"_sel, null, number(2)), 102);
  EXPECT_EQ(telvo_performIntegerSelector_withObject(account, "sum:with:"_sel, number(1)), 201);
  // Nil is an argument, and one that the method has no place for is refused.
  EXPECT_THROW(telvo_performIntegerSelector_withObject(account, "balance"_sel, nil), Ref<NSException>);
  EXPECT_THROW(telvo_performIntegerSelector_withObject_withObject(account, "identity:"_sel, null, "x"_ns),
               Ref<NSException>);
}

TEST(NSObjectTelvo, WithoutAResultOrAMethodTheIntegerIsZero) {
  const auto account = make<Account>();
  EXPECT_EQ(telvo_performIntegerSelector_withObject(account, "collect:"_sel, "x"_ns), 0);
  EXPECT_EQ(account->collected.size(), 1U);
  EXPECT_EQ(telvo_performIntegerSelector(account, "unknown"_sel), 0);
  EXPECT_EQ(telvo_performIntegerSelector(account, SEL()), 0);
  EXPECT_EQ(telvo_performIntegerSelector(nil, "balance"_sel), 0);
  EXPECT_EQ(telvo_performIntegerSelector(account, "half"_sel), 2);
}

TEST(NSObjectTelvo, ABoolIsTheLowestByteOfTheInteger) {
  const auto account = make<Account>();
  const auto boolOf = [&](NSInteger value) {
    return telvo_performBoolSelector_withObject(account, "identity:"_sel, number(value));
  };
  EXPECT_TRUE(boolOf(1));
  EXPECT_TRUE(boolOf(255));
  EXPECT_TRUE(boolOf(-1));
  EXPECT_TRUE(boolOf(257));
  EXPECT_FALSE(boolOf(0));
  EXPECT_FALSE(boolOf(256));
  EXPECT_FALSE(boolOf(-512));
  EXPECT_TRUE(telvo_performBoolSelector(account, "yes"_sel));
  EXPECT_FALSE(telvo_performBoolSelector(account, "unknown"_sel));
  EXPECT_FALSE(telvo_performBoolSelector(nil, "yes"_sel));
  EXPECT_TRUE(telvo_performBoolSelector_withObject_withObject(account, "sum:with:"_sel, number(1), number(2)));
  EXPECT_FALSE(telvo_performBoolSelector_withObject_withObject(account, "sum:with:"_sel, number(1), number(-1)));
}

TEST(NSObjectTelvo, PerformsOnceForEachObjectOfACollection) {
  const auto account = make<Account>();
  const auto array = NSArray::arrayWithObjects({"a"_ns, "b"_ns, "a"_ns});
  telvo_performSelector_withEachObjectInArray(account, "collect:"_sel, array);
  EXPECT_EQ(account->collected, (std::vector<std::string>{"a", "b", "a"}));
  account->collected.clear();
  const auto dictionary = NSDictionary::dictionary({{"k1"_ns, "v1"_ns}, {"k2"_ns, "v2"_ns}});
  telvo_performSelector_withEachObjectInDictionary(account, "collect:"_sel, dictionary);
  EXPECT_EQ(account->collected, (std::vector<std::string>{"v1", "v2"}));
  account->collected.clear();
  telvo_performSelector_withEachObjectInSet(account, "collect:"_sel, NSSet::setWithArray(array));
  EXPECT_EQ(account->collected, (std::vector<std::string>{"a", "b"}));
}

TEST(NSObjectTelvo, PerformingWithEachObjectOfNothingDoesNothing) {
  const auto account = make<Account>();
  telvo_performSelector_withEachObjectInArray(account, "collect:"_sel, nil);
  telvo_performSelector_withEachObjectInDictionary(account, "collect:"_sel, nil);
  telvo_performSelector_withEachObjectInSet(account, "collect:"_sel, nil);
  telvo_performSelector_withEachObjectInArray(account, "unknown:"_sel, NSArray::array());
  telvo_performSelector_withEachObjectInArray(account, SEL(), NSArray::arrayWithObject("a"_ns));
  telvo_performSelector_withEachObjectInArray(nil, "collect:"_sel, NSArray::arrayWithObject("a"_ns));
  EXPECT_TRUE(account->collected.empty());
  EXPECT_THROW(telvo_performSelector_withEachObjectInArray(account, "unknown:"_sel, NSArray::arrayWithObject("a"_ns)),
               Ref<NSException>);
}

TEST(NSObjectTelvo, ExtensionsAreCalledByNameOnAnyObject) {
  const id answer = "ABC"_ns->performSelector_withObject("telvo_isEquivalentTo:"_sel, "abc"_ns);
  EXPECT_TRUE(as<NSNumber>(answer)->boolValue());
  EXPECT_TRUE(NSEqualObjects(make<Account>()->performSelector_withObject_withObject(
                                 "telvo_valueForKeyPath:defaultValue:"_sel, "colour"_ns, "red"_ns),
                             "red"_ns));
}

TEST(NSObjectTelvo, EquivalenceTakesARealForTheIntegerOfItsValue) {
  EXPECT_TRUE(telvo_isEquivalentTo(NSNumber::numberWithInteger(100000), NSNumber::numberWithDouble(100000.0)));
  EXPECT_TRUE(telvo_isEquivalentTo("2500000000"_ns, NSNumber::numberWithDouble(2.5e9)));
}

TEST(NSObjectTelvo, EquivalenceIsThatOfUnicode) {
  EXPECT_TRUE(telvo_isEquivalentTo("Caf\u00E9"_ns, "cafe\u0301"_ns));
  EXPECT_TRUE(telvo_isEquivalentTo("CAFE\u0301"_ns, "caf\u00E9"_ns));
  EXPECT_FALSE(telvo_isEquivalentTo("cafe"_ns, "caf\u00E9"_ns));
}

class Undescribed : public NSObject {
 public:
  Ref<NSString> description() const override { return nil; }
};

TEST(NSObjectTelvo, WhatHasNoDescriptionIsEquivalentToNothing) {
  const auto undescribed = make<Undescribed>();
  EXPECT_FALSE(telvo_isEquivalentTo(undescribed, "a"_ns));
  EXPECT_FALSE(telvo_isEquivalentTo("a"_ns, undescribed));
  EXPECT_FALSE(telvo_isEquivalentTo(""_ns, undescribed));
  EXPECT_FALSE(telvo_isEquivalent(undescribed, make<Undescribed>()));
}

TEST(NSObjectTelvo, SelectorsAndClassesTravelAsTheirNamesWhereMethodsAreCalledByName) {
  const auto recorder = make<Recorder>();
  for (const SEL selector :
       {"telvo_performSelector:withArguments:"_sel, "telvo_performSelector:withEachObjectInArray:"_sel,
        "telvo_performSelector:withEachObjectInDictionary:"_sel, "telvo_performSelector:withEachObjectInSet:"_sel,
        "telvo_performIntegerSelector:"_sel, "telvo_performIntegerSelector:withObject:"_sel,
        "telvo_performIntegerSelector:withObject:withObject:"_sel, "telvo_performBoolSelector:"_sel,
        "telvo_performBoolSelector:withObject:"_sel, "telvo_performBoolSelector:withObject:withObject:"_sel,
        "telvo_isReallySubclassOfClass:"_sel}) {
    EXPECT_TRUE(recorder->respondsToSelector(selector)) << selector.text();
  }
  recorder->performSelector_withObject_withObject("telvo_performSelector:withArguments:"_sel, "first:second:"_ns,
                                                  NSArray::arrayWithObjects({"a"_ns, "b"_ns}));
  recorder->performSelector_withObject_withObject("telvo_performSelector:withEachObjectInArray:"_sel, "one:"_ns,
                                                  NSArray::arrayWithObjects({"x"_ns, "y"_ns}));
  EXPECT_EQ(recorder->calls, (std::vector<std::string>{"a b", "one x", "one y"}));
  const auto isReally = [&](const Ref<NSString>& name) {
    return foundation::boolFromObject(recorder->performSelector_withObject("telvo_isReallySubclassOfClass:"_sel, name));
  };
  EXPECT_TRUE(isReally("NSObject"_ns));
  EXPECT_FALSE(isReally("Recorder"_ns));
  EXPECT_FALSE(isReally("NoSuchClass"_ns));
}

// Its method drops the last reference to it, then goes on using it.
class Suicidal : public NSObject {
  NS_OBJECT(Suicidal, NSObject)

 public:
  NSInteger go() {
    *holder = nil;
    return value_;
  }
  void goWith(const id& argument) {
    *holder = nil;
    seen->appendString(argument->description());
  }
  id* holder = nullptr;
  Ref<NSMutableString> seen = NSMutableString::string();

 private:
  NSInteger value_ = 7;
};

Class Suicidal::classObject() {
  static const NSClass object("Suicidal", NSObject::classObject(),
                              {method("go"_sel, &Suicidal::go), method("goWith:"_sel, &Suicidal::goWith)});
  return &object;
}

TEST(NSObjectTelvo, AReceiverLivesUntilItsMethodReturns) {
  id receiver;
  Ref<NSMutableString> seen;
  const auto fresh = [&]() -> const id& {
    const auto object = make<Suicidal>();
    object->holder = &receiver;
    seen = object->seen;
    receiver = object;
    return receiver;
  };
  telvo_performSelector_withArguments(fresh(), "goWith:"_sel, NSArray::arrayWithObject("a"_ns));
  EXPECT_EQ(seen->UTF8String(), "a");
  telvo_performSelector_withEachObjectInArray(fresh(), "goWith:"_sel, NSArray::arrayWithObjects({"a"_ns, "b"_ns}));
  EXPECT_EQ(seen->UTF8String(), "ab");
  EXPECT_EQ(telvo_performIntegerSelector(fresh(), "go"_sel), 7);
  EXPECT_TRUE(NSEqualObjects(fresh()->valueForKey("go"_ns), NSNumber::numberWithInteger(7)));
  EXPECT_EQ(receiver, nil);
}

}  // namespace
