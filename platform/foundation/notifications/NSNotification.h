#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;
class NSString;

// What observers are handed: a name, the object it is about and user information; the latter two may be nil.
// Immutable, any thread.
class NSNotification : public NSObject {
  NS_OBJECT(NSNotification, NSObject)

 public:
  NSNotification(Ref<NSString> name, id object, Ref<NSDictionary> userInfo);
  ~NSNotification() override;

  static Ref<NSNotification> notificationWithName_object_userInfo(const Ref<NSString>& name, const id& object,
                                                                  const Ref<NSDictionary>& userInfo);

  const Ref<NSString>& name() const { return name_; }
  const id& object() const { return object_; }
  const Ref<NSDictionary>& userInfo() const { return userInfo_; }

  Ref<NSString> description() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  Ref<NSString> name_;
  id object_;
  Ref<NSDictionary> userInfo_;
};

TELVO_NAMESPACE_END
