#pragma once

#include <map>
#include <optional>
#include <string>

#include "foundation/notifications/NSNotificationCenter.h"

TELVO_NAMESPACE_BEGIN

// Notifications between the programs of one user, through the session bus. The object is a text, and observer and
// poster are paired by equal texts. Without a session bus nothing is posted or observed, and nothing fails. Observers
// are told from the main run loop, a poster's own process included. Any thread may post and observe. What is posted
// once the main thread has added an observer reaches it; what another thread adds begins to observe in a turn of the
// main run loop.
//
// On the bus a notification is a signal that any program can send and receive:
//   object path  /com/telvo/DistributedNotificationCenter
//   interface    com.telvo.DistributedNotificationCenter
//   signal       Posted (s name, s object, a{sv} details)
//   details      "UserInfo" a{sv}: only when there is user information (BusValue.h tells the types in it)
//                "HasObject" b: false when there is no object, which is "" then; when the key is absent, an empty
//                object counts as none
//                "DeliverImmediately" b
// A signal of another form, or of more than a mebibyte, is dropped.
class NSDistributedNotificationCenter : public NSNotificationCenter {
  NS_OBJECT(NSDistributedNotificationCenter, NSNotificationCenter)

 public:
  NSDistributedNotificationCenter();
  ~NSDistributedNotificationCenter() override;

  static Ref<NSDistributedNotificationCenter> defaultCenter();

  // Objects that are no text count as none.
  void addObserver_selector_name_object(const id& observer, SEL selector, const Ref<NSString>& name,
                                        const id& object) override;
  void removeObserver(const id& observer) override;
  void removeObserver_name_object(const id& observer, const Ref<NSString>& name, const id& object) override;

  // Sends without waiting; user information that is no property list, is nested more than 16 deep or is larger than a
  // mebibyte is not sent, in the latter two cases with the whole notification.
  void postNotification(const Ref<NSNotification>& notification) override;
  void postNotificationName_object_userInfo_deliverImmediately(const Ref<NSString>& name, const Ref<NSString>& object,
                                                               const Ref<NSDictionary>& userInfo,
                                                               bool deliverImmediately);

 private:
  void followObservers();
  void updateSubscriptions();

  // By name, none for observers of every name; on the main thread only.
  std::map<std::optional<std::string>, unsigned> subscriptions_;
};

TELVO_NAMESPACE_END
