#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "foundation/notifications/NSNotification.h"
#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

// Hands what is posted to those who observe it, within the process. Neither observers nor the objects that they watch
// are owned; registrations of those that have gone are forgotten. Any thread.
class NSNotificationCenter : public NSObject {
  NS_OBJECT(NSNotificationCenter, NSObject)

 public:
  NSNotificationCenter();
  ~NSNotificationCenter() override;

  static Ref<NSNotificationCenter> defaultCenter();

  // The observer gets the selector with the notification as its argument. A nil name stands for every name, a nil
  // object for every object; an object is matched by identity. Observing twice is being told twice. A nil observer is
  // ignored.
  virtual void addObserver_selector_name_object(const id& observer, SEL selector, const Ref<NSString>& name,
                                                const id& object);
  // Takes back all that the observer registered, or what it registered for that name and object (nil: for any). A
  // delivery that is under way on this thread passes the observer over. May be called from the observer's destructor.
  virtual void removeObserver(const id& observer);
  virtual void removeObserver_name_object(const id& observer, const Ref<NSString>& name, const id& object);

  // Tells the observers, on the calling thread and in the order in which they registered, and returns when they have
  // returned. Those that are added meanwhile are not told. An observer's exception passes to the poster.
  virtual void postNotification(const Ref<NSNotification>& notification);
  void postNotificationName_object(const Ref<NSString>& name, const id& object);
  void postNotificationName_object_userInfo(const Ref<NSString>& name, const id& object,
                                            const Ref<NSDictionary>& userInfo);

 protected:
  // How the object that is observed is compared with the one that is posted.
  enum class Pairing { Identity, Equality };
  explicit NSNotificationCenter(Pairing pairing);

  // Tells those who registered under exactly that name (nil: under no name).
  void deliverToObserversOfName(const Ref<NSNotification>& notification, const Ref<NSString>& registeredName);
  // The names that living observers are registered under, nil among them for "every name"; a name may come twice.
  std::vector<Ref<NSString>> observedNames();

 private:
  struct Registration;
  using Registrations = std::vector<std::shared_ptr<Registration>>;

  template <class Predicate>
  Registrations registrationsWhere(const Predicate& predicate);
  template <class Predicate>
  void removeWhere(const Predicate& predicate);
  void deliver(const Ref<NSNotification>& notification, const Registrations& registrations);
  bool matchesObject(const Registration& registration, const id& object) const;

  const Pairing pairing_;
  std::mutex mutex_;
  Registrations registrations_;
};

TELVO_NAMESPACE_END
