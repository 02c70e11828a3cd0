#include "foundation/notifications/NSNotificationCenter.h"

#include <utility>

#include "foundation/collections/NSDictionary.h"
#include "foundation/errors/NSException.h"
#include "foundation/runtime/WeakRef.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

struct NSNotificationCenter::Registration {
  WeakRef<NSObject> observer;
  const NSObject* observerAddress;  // tells an observer in its destructor, when the weak reference is nil already
  SEL selector;
  Ref<NSString> name;               // nil: every name
  bool hasObject;                   // false: every object
  WeakRef<NSObject> watchedObject;  // pairing by identity
  id equalObject;                   // pairing by equality
  bool removed = false;             // guarded by the centre's mutex; for deliveries that are under way
};

namespace {

bool isSameName(const Ref<NSString>& left, const Ref<NSString>& right) { return NSEqualObjects(left, right); }

}  // namespace

Class NSNotificationCenter::classObject() {
  static const NSClass object("NSNotificationCenter", NSObject::classObject(), {});
  return &object;
}

NSNotificationCenter::NSNotificationCenter() : NSNotificationCenter(Pairing::Identity) {}
NSNotificationCenter::NSNotificationCenter(Pairing pairing) : pairing_(pairing) {}
NSNotificationCenter::~NSNotificationCenter() = default;

Ref<NSNotificationCenter> NSNotificationCenter::defaultCenter() {
  static const Ref<NSNotificationCenter>& center = *new Ref<NSNotificationCenter>(make<NSNotificationCenter>());
  return center;
}

bool NSNotificationCenter::matchesObject(const Registration& registration, const id& object) const {
  if (!registration.hasObject) return true;
  if (!object) return false;
  if (pairing_ == Pairing::Equality) return NSEqualObjects(registration.equalObject, object);
  return registration.watchedObject == WeakRef<NSObject>(object);
}

template <class Predicate>
NSNotificationCenter::Registrations NSNotificationCenter::registrationsWhere(const Predicate& predicate) {
  Registrations found;
  const std::lock_guard lock(mutex_);
  for (const auto& registration : registrations_) {
    if (predicate(*registration)) found.push_back(registration);
  }
  return found;
}

template <class Predicate>
void NSNotificationCenter::removeWhere(const Predicate& predicate) {
  Registrations removed;  // dropped after the lock: what they held may come back here from its destructor
  const std::lock_guard lock(mutex_);
  Registrations kept;
  for (auto& registration : registrations_) {
    if (predicate(*registration)) {
      registration->removed = true;
      removed.push_back(std::move(registration));
    } else {
      kept.push_back(std::move(registration));
    }
  }
  registrations_ = std::move(kept);
}

void NSNotificationCenter::addObserver_selector_name_object(const id& observer, SEL selector, const Ref<NSString>& name,
                                                            const id& object) {
  if (!observer) return;
  removeWhere([](const Registration& each) { return each.observer.expired(); });
  const bool byIdentity = pairing_ == Pairing::Identity;
  const auto registration = std::make_shared<Registration>(
      Registration{observer, observer.get(), selector, name ? as<NSString>(name->copy()) : nil, object != nil,
                   byIdentity ? WeakRef<NSObject>(object) : WeakRef<NSObject>(), byIdentity ? id() : object});
  const std::lock_guard lock(mutex_);
  registrations_.push_back(registration);
}

void NSNotificationCenter::removeObserver(const id& observer) {
  removeWhere([&](const Registration& each) { return each.observerAddress == observer.get(); });
}

void NSNotificationCenter::removeObserver_name_object(const id& observer, const Ref<NSString>& name, const id& object) {
  removeWhere([&](const Registration& each) {
    if (each.observerAddress != observer.get()) return false;
    if (name && !isSameName(each.name, name)) return false;
    return !object || (each.hasObject && matchesObject(each, object));
  });
}

void NSNotificationCenter::postNotification(const Ref<NSNotification>& notification) {
  if (!notification) return;
  deliver(notification, registrationsWhere([&](const Registration& each) {
            return (!each.name || isSameName(each.name, notification->name())) &&
                   matchesObject(each, notification->object());
          }));
}

void NSNotificationCenter::deliverToObserversOfName(const Ref<NSNotification>& notification,
                                                    const Ref<NSString>& registeredName) {
  deliver(notification, registrationsWhere([&](const Registration& each) {
            return isSameName(each.name, registeredName) && matchesObject(each, notification->object());
          }));
}

void NSNotificationCenter::deliver(const Ref<NSNotification>& notification, const Registrations& registrations) {
  for (const auto& registration : registrations) {
    {
      const std::lock_guard lock(mutex_);
      if (registration->removed) continue;
    }
    const id observer = registration->observer.lock();
    if (observer) observer->performSelector_withObject(registration->selector, notification);
  }
}

std::vector<Ref<NSString>> NSNotificationCenter::observedNames() {
  std::vector<Ref<NSString>> names;
  for (const auto& registration :
       registrationsWhere([](const Registration& each) { return !each.observer.expired(); })) {
    names.push_back(registration->name);
  }
  return names;
}

void NSNotificationCenter::postNotificationName_object(const Ref<NSString>& name, const id& object) {
  postNotificationName_object_userInfo(name, object, nil);
}

void NSNotificationCenter::postNotificationName_object_userInfo(const Ref<NSString>& name, const id& object,
                                                                const Ref<NSDictionary>& userInfo) {
  postNotification(NSNotification::notificationWithName_object_userInfo(name, object, userInfo));
}

}  // namespace telvo
