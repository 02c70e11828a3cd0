#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "appkit/NSWorkspace.h"
#include "foundation/Foundation.h"
#include "foundation/notifications/NSDistributedNotificationCenter.h"
#include "testing/BusPeer.h"
#include "testing/PrivateBus.h"

namespace {

class QuitWatcher : public NSObject {
  NS_OBJECT(QuitWatcher, NSObject)

 public:
  void someAppTerminated(const Ref<NSNotification>& notification) {
    const auto identifier = as<NSString>(notification->userInfo()->objectForKey("NSApplicationBundleIdentifier"_ns));
    quits.push_back(identifier->UTF8String());
  }
  void sessionEnded(const Ref<NSNotification>&) { ++sessionsEnded; }
  std::vector<std::string> quits;
  int sessionsEnded = 0;
};

Class QuitWatcher::classObject() {
  static const NSClass object("QuitWatcher", NSObject::classObject(),
                              {
                                  method("someAppTerminated:"_sel, &QuitWatcher::someAppTerminated),
                                  method("sessionEnded:"_sel, &QuitWatcher::sessionEnded),
                              });
  return &object;
}

class NSWorkspaceTest : public testing::Test {
 protected:
  NSWorkspaceTest() {
    NSWorkspace::sharedWorkspace()->notificationCenter()->addObserver_selector_name_object(
        watcher, "someAppTerminated:"_sel, NSWorkspaceDidTerminateApplicationNotification(), nil);
    // The watch has reached the bus once a quit is heard.
    for (int attempt = 0; attempt < 100 && watcher->quits.empty(); ++attempt) quitAndTurn("com.example.First");
    settle();
    watcher->quits.clear();
  }

  void quitAndTurn(const char* name) {
    peer.own(name);
    peer.disown(name);
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.05));
  }
  // Everything that has happened on the bus so far has been told when this returns.
  void settle() {
    std::erase(watcher->quits, "com.example.Last");
    for (int turns = 0; turns < 100 && (watcher->quits.empty() || watcher->quits.back() != "com.example.Last");
         ++turns) {
      quitAndTurn("com.example.Last");
    }
  }
  // The names that have quit, apart from those that settle() makes quit.
  std::vector<std::string> quits() {
    settle();
    std::vector<std::string> names = watcher->quits;
    std::erase(names, "com.example.Last");
    return names;
  }

  PrivateBus& bus = PrivateBus::shared();
  BusPeer peer{bus.address()};
  const Ref<QuitWatcher> watcher = make<QuitWatcher>();
};

using Names = std::vector<std::string>;

TEST_F(NSWorkspaceTest, AnApplicationThatGivesItsNameBackHasQuit) {
  peer.own("com.example.Owner");
  EXPECT_EQ(quits(), Names{});
  peer.disown("com.example.Owner");
  EXPECT_EQ(quits(), Names{"com.example.Owner"});
}

TEST_F(NSWorkspaceTest, AnApplicationThatLeavesTheBusHasQuit) {
  {
    BusPeer owner(bus.address());
    owner.own("com.example.Owner");
  }
  EXPECT_EQ(quits(), Names{"com.example.Owner"});
}

TEST_F(NSWorkspaceTest, AProgramWithoutANameIsNoApplication) {
  { const BusPeer nobody(bus.address()); }
  EXPECT_EQ(quits(), Names{});
}

TEST_F(NSWorkspaceTest, AnApplicationHasQuitAlsoWhenItsNamePassesToAnotherProgram) {
  BusPeer heir(bus.address());
  {
    BusPeer owner(bus.address());
    owner.own("com.example.Owner");
    heir.waitForName("com.example.Owner");
  }
  EXPECT_EQ(quits(), Names{"com.example.Owner"});
  heir.disown("com.example.Owner");
  EXPECT_EQ(quits(), (Names{"com.example.Owner", "com.example.Owner"}));
}

TEST_F(NSWorkspaceTest, OtherProgramsCannotSayThatAnApplicationHasQuit) {
  peer.own("com.example.Owner");
  g_dbus_connection_emit_signal(peer.connection(), nullptr, "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                "NameOwnerChanged", g_variant_new("(sss)", "com.example.Owner", ":1.1", ""), nullptr);
  EXPECT_EQ(quits(), Names{});
}

[[noreturn]] void exitAtTheEndOfTheSession(bool busGoesFirst) {
  PrivateBus bus;
  const auto watcher = make<QuitWatcher>();
  BusPeer(bus.address()).synchronize();
  // The distributed centre is on the bus before the workspace asks for it.
  NSDistributedNotificationCenter::defaultCenter()->postNotificationName_object("Bell"_ns, nil);
  if (busGoesFirst) bus.stop();
  const auto turn = [] {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.05));
  };
  for (int turns = 0; busGoesFirst && turns < 10; ++turns) turn();
  NSWorkspace::sharedWorkspace()->notificationCenter()->addObserver_selector_name_object(
      watcher, "sessionEnded:"_sel, NSWorkspaceWillPowerOffNotification(), nil);
  turn();
  if (watcher->sessionsEnded != (busGoesFirst ? 1 : 0)) exit(1);
  bus.stop();
  for (int turns = 0; turns < 200 && watcher->sessionsEnded == 0; ++turns) turn();
  exit(watcher->sessionsEnded == 1 && watcher->quits.empty() ? 0 : 2);
}

TEST(NSWorkspaceDeathTest, TheEndOfTheBusIsTheEndOfTheSession) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitAtTheEndOfTheSession(false), testing::ExitedWithCode(0), "^$");
  EXPECT_EXIT(exitAtTheEndOfTheSession(true), testing::ExitedWithCode(0), "^$");
}

TEST(NSWorkspaceDeathTest, WithoutABusNobodyQuitsAndNothingIsSaid) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        leaveBus();
        NSWorkspace::sharedWorkspace()->notificationCenter();
        NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), nil);
        exit(0);
      },
      testing::ExitedWithCode(0), "^$");
}

}  // namespace
