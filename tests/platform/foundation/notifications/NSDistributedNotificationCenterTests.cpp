#include <array>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/notifications/NSDistributedNotificationCenter.h"
#include "foundation/notifications/SessionBus.h"
#include "testing/BusPeer.h"
#include "testing/PrivateBus.h"

namespace {

class Ear : public NSObject {
  NS_OBJECT(Ear, NSObject)

 public:
  void heard(const Ref<NSNotification>& notification) {
    onMainThread = onMainThread && foundation::isMainThread();
    notifications.push_back(notification);
  }
  void fail(const Ref<NSNotification>&) { NSException::raise_format(NSGenericException(), "ouch"_ns); }

  bool onMainThread = true;
  std::vector<Ref<NSNotification>> notifications;
};

Class Ear::classObject() {
  static const NSClass object("Ear", NSObject::classObject(),
                              {method("heard:"_sel, &Ear::heard), method("fail:"_sel, &Ear::fail)});
  return &object;
}

void turn() {
  NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.05));
}

bool turnUntil(const std::function<bool()>& condition) {
  for (int turns = 0; turns < 200 && !condition(); ++turns) turn();
  return condition();
}

class NSDistributedNotificationCenterTest : public testing::Test {
 protected:
  void observe(const Ref<NSString>& name, const Ref<NSString>& object) {
    center->addObserver_selector_name_object(ear, "heard:"_sel, name, object);
  }
  void post(const Ref<NSString>& name, const Ref<NSString>& object, const Ref<NSDictionary>& userInfo = nil) {
    center->postNotificationName_object_userInfo_deliverImmediately(name, object, userInfo, true);
  }
  // Everything that was sent to this process before has been delivered when this returns.
  void settle() {
    const auto last = make<Ear>();
    center->addObserver_selector_name_object(last, "heard:"_sel, "Last"_ns, nil);
    peer.synchronize();
    post("Last"_ns, nil);
    EXPECT_TRUE(turnUntil([&] { return !last->notifications.empty(); }));
    center->removeObserver(last);
  }
  std::string heardByPeer() {
    settle();
    return peer.heard.empty() ? "" : peer.heard.front();
  }
  Ref<NSDictionary> userInfoFromPeer(const std::string& userInfo) {
    observe("Bell"_ns, nil);
    settle();
    peer.emit("('Bell', 'token', {'UserInfo': <" + userInfo + ">})");
    settle();
    return ear->notifications.size() == 1 ? ear->notifications[0]->userInfo() : nil;
  }

  PrivateBus& bus = PrivateBus::shared();
  BusPeer peer{bus.address()};
  const Ref<NSDistributedNotificationCenter> center = make<NSDistributedNotificationCenter>();
  const Ref<Ear> ear = make<Ear>();
};

TEST_F(NSDistributedNotificationCenterTest, PostsInTheWireFormat) {
  post("Bell"_ns, "token"_ns,
       NSDictionary::dictionary({{"Text"_ns, "t\u00e4xt"_ns},
                                 {"Bool"_ns, NSNumber::numberWithBool(true)},
                                 {"Signed"_ns, NSNumber::numberWithInteger(-1)},
                                 {"Unsigned"_ns, NSNumber::numberWithUnsignedInteger(1)},
                                 {"Real"_ns, NSNumber::numberWithDouble(0.5)},
                                 {"Date"_ns, NSDate::dateWithTimeIntervalSince1970(1.5)},
                                 {"Data"_ns, NSData::dataWithBytes("\x01\x02")},
                                 {"Array"_ns, NSArray::arrayWithObjects({"a"_ns, NSNumber::numberWithBool(false)})},
                                 {"Dictionary"_ns, NSDictionary::dictionary({{"k"_ns, "v"_ns}})}}));
  EXPECT_EQ(heardByPeer(),
            "('Bell', 'token', {'UserInfo': <{'Text': <'täxt'>, 'Bool': <true>, 'Signed': <int64 -1>, "
            "'Unsigned': <uint64 1>, 'Real': <0.5>, 'Date': <(1.5,)>, 'Data': <[byte 0x01, 0x02]>, "
            "'Array': <[<'a'>, <false>]>, 'Dictionary': <{'k': <'v'>}>}>, "
            "'HasObject': <true>, 'DeliverImmediately': <true>})");
}

TEST_F(NSDistributedNotificationCenterTest, PostsNoObjectAndNoUserInfo) {
  center->postNotificationName_object("Bell"_ns, nil);
  EXPECT_EQ(heardByPeer(), "('Bell', '', {'HasObject': <false>, 'DeliverImmediately': <false>})");
}

TEST_F(NSDistributedNotificationCenterTest, AnEmptyObjectIsAnObject) {
  post("Bell"_ns, ""_ns);
  EXPECT_EQ(heardByPeer(), "('Bell', '', {'HasObject': <true>, 'DeliverImmediately': <true>})");
}

TEST_F(NSDistributedNotificationCenterTest, PostsEmptyCollectionsAsSuch) {
  post("Bell"_ns, nil,
       NSDictionary::dictionary(
           {{"a"_ns, NSArray::array()}, {"d"_ns, NSDictionary::dictionary()}, {"b"_ns, NSData::data()}}));
  EXPECT_EQ(heardByPeer(),
            "('Bell', '', {'UserInfo': <{'a': <@av []>, 'd': <@a{sv} {}>, 'b': <@ay []>}>, 'HasObject': <false>, "
            "'DeliverImmediately': <true>})");
}

TEST_F(NSDistributedNotificationCenterTest, ReplacesWhatTheBusCannotCarry) {
  post("Bell"_ns, NSString::stringWithUTF8String(std::string_view("a\0b\xff", 4)),
       NSDictionary::dictionary({{"null"_ns, NSNull::null()},
                                 {NSNumber::numberWithInt(1), "key"_ns},
                                 {"kept"_ns, NSString::stringWithUnits(u"\U0001F514\xD83D")}}));
  EXPECT_EQ(heardByPeer(),
            "('Bell', 'a\uFFFDb\uFFFD', {'UserInfo': <{'kept': <'\U0001F514\uFFFD'>}>, 'HasObject': <true>, "
            "'DeliverImmediately': <true>})");
}

TEST_F(NSDistributedNotificationCenterTest, DropsWhatIsTooDeepOrTooLargeAndStaysConnected) {
  Ref<NSDictionary> deep = NSDictionary::dictionary();
  for (int i = 0; i < 1000; ++i) deep = NSDictionary::dictionaryWithObject_forKey(deep, "d"_ns);
  post("Bell"_ns, nil, deep);
  post("Bell"_ns, nil,
       NSDictionary::dictionaryWithObject_forKey(NSData::dataWithBytes(std::string(3 << 20, 'x')), "large"_ns));
  post("Gong"_ns, nil);
  EXPECT_EQ(heardByPeer(), "('Gong', '', {'HasObject': <false>, 'DeliverImmediately': <true>})");
}

TEST_F(NSDistributedNotificationCenterTest, SendsWhatIsAlmostTooDeep) {
  Ref<NSDictionary> deep = NSDictionary::dictionary();
  for (int i = 0; i < 16; ++i) deep = NSDictionary::dictionaryWithObject_forKey(deep, "d"_ns);
  observe("Bell"_ns, nil);
  post("Bell"_ns, nil, deep);
  settle();
  ASSERT_EQ(ear->notifications.size(), 1U);
  EXPECT_TRUE(NSEqualObjects(ear->notifications[0]->userInfo(), deep));
}

TEST_F(NSDistributedNotificationCenterTest, HearsOtherProgramsOnTheMainThread) {
  observe("Bell"_ns, "token"_ns);
  settle();
  peer.emit("('Bell', 'token', {'UserInfo': <{'Percent': <uint64 33>}>, 'HasObject': <true>})");
  settle();
  ASSERT_EQ(ear->notifications.size(), 1U);
  const auto& notification = ear->notifications[0];
  EXPECT_EQ(notification->name()->UTF8String(), "Bell");
  EXPECT_TRUE(NSEqualObjects(notification->object(), "token"_ns));
  EXPECT_EQ(as<NSNumber>(notification->userInfo()->objectForKey("Percent"_ns))->integerValue(), 33);
  EXPECT_TRUE(ear->onMainThread);
}

TEST_F(NSDistributedNotificationCenterTest, HearsWhatIsPostedAsSoonAsTheObserverHasBeenAdded) {
  constexpr int rounds = 300;
  for (int i = 0; i < rounds; ++i) {
    const std::string name = "Bell " + std::to_string(i);
    observe(NSString::stringWithUTF8String(name), nil);
    peer.emit("('" + name + "', '', @a{sv} {})");
  }
  EXPECT_TRUE(turnUntil([&] { return ear->notifications.size() == rounds; })) << ear->notifications.size();
}

TEST_F(NSDistributedNotificationCenterTest, HearsItsOwnPosts) {
  observe("Bell"_ns, "token"_ns);
  post("Bell"_ns, "token"_ns);
  settle();
  ASSERT_EQ(ear->notifications.size(), 1U);
  EXPECT_EQ(ear->notifications[0]->userInfo(), nil);
}

TEST_F(NSDistributedNotificationCenterTest, PairsObjectsByEqualText) {
  observe("Bell"_ns, "token"_ns);
  settle();
  peer.emit("('Bell', 'Token', {'HasObject': <true>})");
  peer.emit("('Bell', '', {'HasObject': <false>})");
  peer.emit("('Bell', 'token', {'HasObject': <false>})");
  peer.emit("('Gong', 'token', {'HasObject': <true>})");
  settle();
  EXPECT_TRUE(ear->notifications.empty());
}

TEST_F(NSDistributedNotificationCenterTest, ObserverWithoutObjectHearsEverySender) {
  observe("Bell"_ns, nil);
  settle();
  peer.emit("('Bell', 'token', {'HasObject': <true>})");
  peer.emit("('Bell', '', {'HasObject': <false>})");
  settle();
  ASSERT_EQ(ear->notifications.size(), 2U);
  EXPECT_EQ(ear->notifications[1]->object(), nil);
}

TEST_F(NSDistributedNotificationCenterTest, WithoutHasObjectAnEmptyObjectCountsAsNone) {
  observe("Bell"_ns, nil);
  settle();
  peer.emit("('Bell', '', @a{sv} {})");
  peer.emit("('Bell', 'token', @a{sv} {})");
  settle();
  ASSERT_EQ(ear->notifications.size(), 2U);
  EXPECT_EQ(ear->notifications[0]->object(), nil);
  EXPECT_TRUE(NSEqualObjects(ear->notifications[1]->object(), "token"_ns));
}

TEST_F(NSDistributedNotificationCenterTest, TextTheBusCannotCarryStillFindsItsPartner) {
  observe("Bell"_ns, NSString::stringWithUTF8String("token\xff"));
  post("Bell"_ns, NSString::stringWithUTF8String("token\xff"));
  settle();
  EXPECT_EQ(ear->notifications.size(), 1U);
}

TEST_F(NSDistributedNotificationCenterTest, NilNameHearsEveryNotificationOnce) {
  observe(nil, nil);
  observe("Bell"_ns, nil);
  settle();
  ear->notifications.clear();
  peer.emit("('Bell', '', @a{sv} {})");
  peer.emit("('Gong', '', @a{sv} {})");
  settle();
  std::string names;
  for (const auto& notification : ear->notifications) names += notification->name()->UTF8String() + " ";
  EXPECT_EQ(names, "Bell Bell Gong Last ");
}

TEST_F(NSDistributedNotificationCenterTest, RemovedObserversHearNothing) {
  observe("Bell"_ns, nil);
  observe("Gong"_ns, nil);
  settle();
  center->removeObserver_name_object(ear, "Gong"_ns, nil);
  peer.emit("('Bell', '', @a{sv} {})");
  peer.emit("('Gong', '', @a{sv} {})");
  settle();
  EXPECT_EQ(ear->notifications.size(), 1U);
  center->removeObserver(ear);
  peer.emit("('Bell', '', @a{sv} {})");
  settle();
  EXPECT_EQ(ear->notifications.size(), 1U);
}

TEST_F(NSDistributedNotificationCenterTest, ReadsEveryTypeOfTheWireFormat) {
  const auto userInfo = userInfoFromPeer(
      "{'s': <'text'>, 'b': <true>, 'x': <int64 -3>, 't': <uint64 18446744073709551615>, 'd': <0.25>, "
      "'ay': <[byte 0x41]>, '(d)': <(2.5,)>, 'av': <[<'a'>, <int64 1>]>, 'a{sv}': <{'k': <'v'>}>}");
  ASSERT_NE(userInfo, nil);
  const auto at = [&](const char* key) { return userInfo->objectForKey(NSString::stringWithUTF8String(key)); };
  EXPECT_TRUE(NSEqualObjects(at("s"), "text"_ns));
  EXPECT_TRUE(as<NSNumber>(at("b"))->isBool());
  EXPECT_EQ(as<NSNumber>(at("x"))->integerValue(), -3);
  EXPECT_EQ(as<NSNumber>(at("t"))->unsignedIntegerValue(), NSUIntegerMax);
  EXPECT_EQ(as<NSNumber>(at("d"))->doubleValue(), 0.25);
  EXPECT_TRUE(NSEqualObjects(at("ay"), NSData::dataWithBytes("A")));
  EXPECT_TRUE(NSEqualObjects(at("(d)"), NSDate::dateWithTimeIntervalSince1970(2.5)));
  EXPECT_TRUE(NSEqualObjects(at("av"), NSArray::arrayWithObjects({"a"_ns, NSNumber::numberWithInt(1)})));
  EXPECT_TRUE(NSEqualObjects(at("a{sv}"), NSDictionary::dictionary({{"k"_ns, "v"_ns}})));
}

TEST_F(NSDistributedNotificationCenterTest, ReadsOtherIntegersAndLeavesForeignTypesOut) {
  const auto userInfo = userInfoFromPeer(
      "{'y': <byte 0x07>, 'n': <int16 -1>, 'q': <uint16 2>, 'i': <-3>, 'u': <uint32 4>, 'o': <objectpath '/o'>, "
      "'as': <['a']>, 'mixed': <[<'a'>, <objectpath '/o'>]>}");
  ASSERT_NE(userInfo, nil);
  EXPECT_TRUE(NSEqualObjects(userInfo, NSDictionary::dictionary({{"y"_ns, NSNumber::numberWithInt(7)},
                                                                 {"n"_ns, NSNumber::numberWithInt(-1)},
                                                                 {"q"_ns, NSNumber::numberWithInt(2)},
                                                                 {"i"_ns, NSNumber::numberWithInt(-3)},
                                                                 {"u"_ns, NSNumber::numberWithInt(4)},
                                                                 {"mixed"_ns, NSArray::arrayWithObject("a"_ns)}})));
}

TEST_F(NSDistributedNotificationCenterTest, DropsSignalsOfAnotherForm) {
  observe("Bell"_ns, nil);
  settle();
  peer.emit("('Bell',)");
  peer.emit("('Bell', 'token')");
  peer.emit("('Bell', 'token', 'details')");
  peer.emit("('Bell', 'token', {'UserInfo': 'x'})");
  peer.emit("('Bell', 7, @a{sv} {})");
  peer.emit("('Bell', 'token', @a{sv} {}, 'more')");
  peer.emit("('Bell', 'token', @a{sv} {})", "Sent");
  peer.emit(static_cast<GVariant*>(nullptr));
  settle();
  EXPECT_TRUE(ear->notifications.empty());
}

TEST_F(NSDistributedNotificationCenterTest, IgnoresDetailsOfAnotherType) {
  observe("Bell"_ns, nil);
  settle();
  peer.emit("('Bell', 'token', {'UserInfo': <'no dictionary'>, 'HasObject': <'no boolean'>})");
  settle();
  ASSERT_EQ(ear->notifications.size(), 1U);
  EXPECT_EQ(ear->notifications[0]->userInfo(), nil);
  EXPECT_TRUE(NSEqualObjects(ear->notifications[0]->object(), "token"_ns));
}

TEST_F(NSDistributedNotificationCenterTest, DropsEnormousSignals) {
  observe("Bell"_ns, nil);
  settle();
  peer.emit("('Bell', 'token', {'UserInfo': <{'s': <'" + std::string(8 << 20, 'x') + "'>}>})");
  settle();
  EXPECT_TRUE(ear->notifications.empty());
}

TEST_F(NSDistributedNotificationCenterTest, ReadsTheDeepestNestingTheBusAllows) {
  observe("Bell"_ns, nil);
  settle();
  std::string value = "<'x'>";
  for (int i = 0; i < 18; ++i) value = "<{'d': " + value + "}>";
  peer.emit("('Bell', 'token', {'UserInfo': " + value + "})");
  settle();
  EXPECT_EQ(ear->notifications.size(), 1U);
}

TEST_F(NSDistributedNotificationCenterTest, ExceptionOfAnObserverPassesOutOfTheRunLoop) {
  center->addObserver_selector_name_object(ear, "fail:"_sel, "Bell"_ns, nil);
  post("Bell"_ns, nil);
  EXPECT_THROW(turnUntil([] { return false; }), Ref<NSException>);
  center->removeObserver(ear);
}

TEST_F(NSDistributedNotificationCenterTest, OtherThreadsMayObserveAndPost) {
  std::thread([&] { observe("Bell"_ns, nil); }).join();
  settle();
  std::thread([&] { post("Bell"_ns, "token"_ns); }).join();
  EXPECT_TRUE(turnUntil([&] { return !ear->notifications.empty(); }));
  EXPECT_TRUE(ear->onMainThread);
}

// What a process does with its bus for good is tried in a process of its own.
class NSDistributedNotificationCenterDeathTest : public NSDistributedNotificationCenterTest {
 protected:
  NSDistributedNotificationCenterDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void observeAndPost() {
    observe("Bell"_ns, nil);
    post("Bell"_ns, "token"_ns);
    turn();
    center->removeObserver(ear);
  }
};

TEST_F(NSDistributedNotificationCenterDeathTest, WithoutABusNothingHappensAndNothingIsSaid) {
  EXPECT_EXIT(
      {
        leaveBus();
        observeAndPost();
        exit(ear->notifications.empty() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST_F(NSDistributedNotificationCenterDeathTest, ABusThatDiesTakesNobodyWithIt) {
  EXPECT_EXIT(
      {
        PrivateBus ownBus;
        post("Bell"_ns, nil);
        ownBus.stop();
        for (int turns = 0; turns < 5; ++turns) turn();
        observeAndPost();
        exit(ear->notifications.empty() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "^$");
}

// GIO's modules for the desktop's settings use a bus, too, when a proxy is looked for.
TEST_F(NSDistributedNotificationCenterDeathTest, ABusThatDiesTakesNobodyWithItWhoseModulesAreOnItAsWell) {
  EXPECT_EXIT(
      {
        PrivateBus ownBus;
        post("Bell"_ns, nil);
        GDBusConnection* const ofAModule = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
        if (!g_dbus_connection_get_exit_on_close(ofAModule)) exit(1);
        bool isOver = false;
        // Once everybody else has handled it, GIO itself included.
        g_signal_connect_after(ofAModule, "closed",
                               G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, bool* over) { *over = true; }),
                               &isOver);
        ownBus.stop();
        exit(turnUntil([&] { return isOver; }) ? 0 : 2);
      },
      testing::ExitedWithCode(0), "^$");
}

// Posts a hundred notifications and exits, once something can be read from the descriptor.
[[noreturn]] void postAndExit(int descriptor) {
  char byte = 0;
  if (read(descriptor, &byte, 1) != 1) exit(1);
  for (int i = 0; i < 100; ++i) {
    NSDistributedNotificationCenter::defaultCenter()->postNotificationName_object("Bell"_ns, nil);
  }
  exit(0);
}

// Whether another process hears all that a process posted just before it exited.
bool leavesBeforeExit() {
  const PrivateBus bus;
  std::array<int, 2> ready{};
  if (pipe(ready.data()) != 0) return false;
  if (fork() == 0) postAndExit(ready[0]);
  const BusPeer listener(bus.address());
  if (write(ready[1], "x", 1) != 1) return false;
  return turnUntil([&] { return listener.heard.size() == 100; });
}

TEST(NSDistributedNotificationCenterExitDeathTest, WhatWasPostedLeavesBeforeTheProcessExits) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exit(leavesBeforeExit() ? 0 : 1), testing::ExitedWithCode(0), "^$");
}

TEST_F(NSDistributedNotificationCenterDeathTest, ABusThatIsStuckDoesNotKeepAnObserverFromBeingAdded) {
  EXPECT_EXIT(
      {
        PrivateBus ownBus;
        post("Bell"_ns, nil);
        ownBus.signal(SIGSTOP);
        observe("Bell"_ns, nil);
        exit(0);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST_F(NSDistributedNotificationCenterDeathTest, ABusThatIsStuckDoesNotKeepTheProcess) {
  EXPECT_EXIT(
      {
        PrivateBus ownBus;
        post("Bell"_ns, nil);
        ownBus.signal(SIGSTOP);
        for (int i = 0; i < 10000; ++i) post("Bell"_ns, NSString::stringWithUTF8String(std::string(1000, 'x')));
        exit(0);
      },
      testing::ExitedWithCode(0), "^$");
}

}  // namespace
