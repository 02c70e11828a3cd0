#include "foundation/notifications/NSDistributedNotificationCenter.h"

#include <utility>

#include "foundation/collections/NSDictionary.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/events/NSThread.h"
#include "foundation/notifications/BusValue.h"
#include "foundation/notifications/NotificationSignal.h"
#include "foundation/notifications/SessionBus.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

constexpr const char* objectPath = "/com/telvo/DistributedNotificationCenter";
constexpr const char* interfaceName = "com.telvo.DistributedNotificationCenter";
constexpr const char* signalName = "Posted";

void send(const NSNotification& notification, bool deliverImmediately) {
  GVariant* const parameters = foundation::signalFromNotification(notification, deliverImmediately);
  if (parameters) foundation::emitOnSessionBus(objectPath, interfaceName, signalName, parameters);
}

}  // namespace

Class NSDistributedNotificationCenter::classObject() {
  static const NSClass object("NSDistributedNotificationCenter", NSNotificationCenter::classObject(), {});
  return &object;
}

NSDistributedNotificationCenter::NSDistributedNotificationCenter() : NSNotificationCenter(Pairing::Equality) {}
NSDistributedNotificationCenter::~NSDistributedNotificationCenter() {
  for (const auto& [name, subscription] : subscriptions_) foundation::unsubscribeOnSessionBus(subscription);
}

Ref<NSDistributedNotificationCenter> NSDistributedNotificationCenter::defaultCenter() {
  static const Ref<NSDistributedNotificationCenter>& center =
      *new Ref<NSDistributedNotificationCenter>(make<NSDistributedNotificationCenter>());
  return center;
}

void NSDistributedNotificationCenter::addObserver_selector_name_object(const id& observer, SEL selector,
                                                                       const Ref<NSString>& name, const id& object) {
  // Compared as the bus carries it, so that a text which the bus cannot carry unchanged still finds its partner.
  Super::addObserver_selector_name_object(observer, selector, foundation::textForBus(name),
                                          foundation::textForBus(as<NSString>(object)));
  followObservers();
}

void NSDistributedNotificationCenter::removeObserver(const id& observer) {
  Super::removeObserver(observer);
  followObservers();
}

void NSDistributedNotificationCenter::removeObserver_name_object(const id& observer, const Ref<NSString>& name,
                                                                 const id& object) {
  Super::removeObserver_name_object(observer, foundation::textForBus(name),
                                    foundation::textForBus(as<NSString>(object)));
  followObservers();
}

void NSDistributedNotificationCenter::followObservers() {
  if (foundation::isMainThread()) return updateSubscriptions();
  NSRunLoop::mainRunLoop()->performBlock(
      [center = Ref<NSDistributedNotificationCenter>(this)] { center->updateSubscriptions(); });
}

// One subscription for each name that is observed, so that other programs' notifications do not wake this one.
void NSDistributedNotificationCenter::updateSubscriptions() {
  std::map<std::optional<std::string>, unsigned> needed;
  for (const Ref<NSString>& name : observedNames()) {
    const auto key = name ? std::optional(foundation::UTF8ForBus(name)) : std::nullopt;
    const auto existing = subscriptions_.find(key);
    if (existing != subscriptions_.end()) {
      needed.insert(subscriptions_.extract(existing));
    } else if (!needed.contains(key)) {
      needed[key] = foundation::subscribeOnSessionBus(
          {std::nullopt, objectPath, interfaceName, signalName, key}, [this, name](GVariant* parameters) {
            if (const auto notification = foundation::notificationFromSignal(parameters))
              deliverToObserversOfName(notification, name);
          });
    }
  }
  subscriptions_.swap(needed);
  for (const auto& [name, subscription] : needed) foundation::unsubscribeOnSessionBus(subscription);
}

void NSDistributedNotificationCenter::postNotification(const Ref<NSNotification>& notification) {
  if (notification) send(*notification, false);
}

void NSDistributedNotificationCenter::postNotificationName_object_userInfo_deliverImmediately(
    const Ref<NSString>& name, const Ref<NSString>& object, const Ref<NSDictionary>& userInfo,
    bool deliverImmediately) {
  send(*NSNotification::notificationWithName_object_userInfo(name, object, userInfo), deliverImmediately);
}

}  // namespace telvo
