#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/notifications/NSNotificationCenter.h"

namespace {

class Listener : public NSObject {
  NS_OBJECT(Listener, NSObject)

 public:
  explicit Listener(std::function<void(const Ref<NSNotification>&)> reaction = {}) : reaction_(std::move(reaction)) {}

  void heard(const Ref<NSNotification>& notification) {
    notifications.push_back(notification);
    if (reaction_) reaction_(notification);
  }

  std::vector<Ref<NSNotification>> notifications;

 private:
  std::function<void(const Ref<NSNotification>&)> reaction_;
};

Class Listener::classObject() {
  static const NSClass object("Listener", NSObject::classObject(), {method("heard:"_sel, &Listener::heard)});
  return &object;
}

class NSNotificationCenterTest : public testing::Test {
 protected:
  void observe(const Ref<Listener>& listener, const Ref<NSString>& name, const id& object) {
    center->addObserver_selector_name_object(listener, "heard:"_sel, name, object);
  }
  const Ref<NSNotificationCenter> center = make<NSNotificationCenter>();
};

TEST_F(NSNotificationCenterTest, TellsObserversOfTheNameWhatWasPosted) {
  const auto listener = make<Listener>();
  observe(listener, "Bell"_ns, nil);
  const auto userInfo = NSDictionary::dictionaryWithObject_forKey("loud"_ns, "How"_ns);
  center->postNotificationName_object_userInfo("Bell"_ns, listener, userInfo);
  center->postNotificationName_object("Gong"_ns, nil);
  ASSERT_EQ(listener->notifications.size(), 1U);
  const auto& notification = listener->notifications[0];
  EXPECT_EQ(notification->name()->UTF8String(), "Bell");
  EXPECT_EQ(notification->object(), listener);
  EXPECT_EQ(notification->userInfo(), userInfo);
  listener->notifications.clear();
}

TEST_F(NSNotificationCenterTest, MatchesObjectsByIdentity) {
  const auto listener = make<Listener>();
  const auto watched = NSString::stringWithUTF8String("same");
  observe(listener, "Bell"_ns, watched);
  center->postNotificationName_object("Bell"_ns, NSString::stringWithUTF8String("same"));
  center->postNotificationName_object("Bell"_ns, nil);
  EXPECT_TRUE(listener->notifications.empty());
  center->postNotificationName_object("Bell"_ns, watched);
  EXPECT_EQ(listener->notifications.size(), 1U);
}

TEST_F(NSNotificationCenterTest, ObjectAtTheAddressOfOneThatHasGoneIsAnotherObject) {
  const auto listener = make<Listener>();
  auto watched = make<NSObject>();
  observe(listener, "Bell"_ns, watched);
  watched = nil;
  for (int i = 0; i < 100; ++i) center->postNotificationName_object("Bell"_ns, make<NSObject>());
  EXPECT_TRUE(listener->notifications.empty());
}

TEST_F(NSNotificationCenterTest, NilNameObservesEveryName) {
  const auto listener = make<Listener>();
  observe(listener, nil, nil);
  center->postNotificationName_object("Bell"_ns, nil);
  center->postNotificationName_object("Gong"_ns, nil);
  EXPECT_EQ(listener->notifications.size(), 2U);
}

TEST_F(NSNotificationCenterTest, ObservesInOrderAndTwiceWhenAskedTwice) {
  std::string order;
  const auto first = make<Listener>([&](const auto&) { order += "1"; });
  const auto second = make<Listener>([&](const auto&) { order += "2"; });
  observe(first, "Bell"_ns, nil);
  observe(second, "Bell"_ns, nil);
  observe(first, "Bell"_ns, nil);
  center->postNotificationName_object("Bell"_ns, nil);
  EXPECT_EQ(order, "121");
}

TEST_F(NSNotificationCenterTest, NeitherKeepsObserversNorTellsThoseThatHaveGone) {
  auto listener = make<Listener>();
  const WeakRef<Listener> weak(listener);
  observe(listener, "Bell"_ns, nil);
  listener = nil;
  EXPECT_TRUE(weak.expired());
  center->postNotificationName_object("Bell"_ns, nil);
}

TEST_F(NSNotificationCenterTest, RemovesAllOrOnlyTheNameAndObjectGiven) {
  const auto listener = make<Listener>();
  const auto object = make<NSObject>();
  observe(listener, "Bell"_ns, object);
  observe(listener, "Bell"_ns, nil);
  observe(listener, "Gong"_ns, nil);
  center->removeObserver_name_object(listener, "Bell"_ns, object);
  center->postNotificationName_object("Bell"_ns, object);
  EXPECT_EQ(listener->notifications.size(), 1U);
  center->removeObserver_name_object(listener, "Bell"_ns, nil);
  center->postNotificationName_object("Bell"_ns, object);
  center->postNotificationName_object("Gong"_ns, nil);
  EXPECT_EQ(listener->notifications.size(), 2U);
  center->removeObserver(listener);
  center->postNotificationName_object("Gong"_ns, nil);
  EXPECT_EQ(listener->notifications.size(), 2U);
}

TEST_F(NSNotificationCenterTest, ObserversMayComeAndGoDuringADelivery) {
  const auto late = make<Listener>();
  const auto leaving = make<Listener>();
  const auto first = make<Listener>([&](const auto&) {
    center->removeObserver(leaving);
    observe(late, "Bell"_ns, nil);
  });
  observe(first, "Bell"_ns, nil);
  observe(leaving, "Bell"_ns, nil);
  center->postNotificationName_object("Bell"_ns, nil);
  EXPECT_TRUE(leaving->notifications.empty());
  EXPECT_TRUE(late->notifications.empty());
  center->postNotificationName_object("Bell"_ns, nil);
  EXPECT_EQ(late->notifications.size(), 1U);
}

TEST_F(NSNotificationCenterTest, MayBePostedToFromInsideADelivery) {
  const auto inner = make<Listener>();
  const auto outer = make<Listener>([&](const auto&) { center->postNotificationName_object("Gong"_ns, nil); });
  observe(outer, "Bell"_ns, nil);
  observe(inner, "Gong"_ns, nil);
  center->postNotificationName_object("Bell"_ns, nil);
  EXPECT_EQ(inner->notifications.size(), 1U);
}

TEST_F(NSNotificationCenterTest, ExceptionOfAnObserverPassesToThePoster) {
  const auto failing = make<Listener>([](const auto&) { NSException::raise_format(NSGenericException(), "no"_ns); });
  observe(failing, "Bell"_ns, nil);
  EXPECT_THROW(center->postNotificationName_object("Bell"_ns, nil), Ref<NSException>);
}

TEST_F(NSNotificationCenterTest, NilObserversAndNotificationsAreIgnored) {
  center->addObserver_selector_name_object(nil, "heard:"_sel, nil, nil);
  center->postNotification(nil);
  center->removeObserver(nil);
}

TEST_F(NSNotificationCenterTest, ServesSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      const auto listener = make<Listener>();
      for (int round = 1; round <= 100; ++round) {
        observe(listener, "Bell"_ns, listener);
        center->postNotificationName_object("Bell"_ns, listener);
        EXPECT_EQ(listener->notifications.size(), static_cast<std::size_t>(round));
        center->removeObserver(listener);
      }
      listener->notifications.clear();
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(NSNotificationCenter, HasADefaultOne) {
  EXPECT_EQ(NSNotificationCenter::defaultCenter(), NSNotificationCenter::defaultCenter());
}

}  // namespace
