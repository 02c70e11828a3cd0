#include "foundation/notifications/NSNotification.h"

#include <utility>

#include "foundation/collections/NSDictionary.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

Class NSNotification::classObject() {
  static const NSClass object("NSNotification", NSObject::classObject(),
                              {
                                  method("name"_sel, &NSNotification::name),
                                  method("object"_sel, &NSNotification::object),
                                  method("userInfo"_sel, &NSNotification::userInfo),
                              });
  return &object;
}

NSNotification::NSNotification(Ref<NSString> name, id object, Ref<NSDictionary> userInfo)
    : name_(std::move(name)), object_(std::move(object)), userInfo_(std::move(userInfo)) {}

NSNotification::~NSNotification() = default;

Ref<NSNotification> NSNotification::notificationWithName_object_userInfo(const Ref<NSString>& name, const id& object,
                                                                         const Ref<NSDictionary>& userInfo) {
  return make<NSNotification>(name, object, userInfo);
}

Ref<NSString> NSNotification::description() const {
  return NSString::stringWithFormat("%@ {name = %@; object = %@; userInfo = %@}"_ns, className(), name_, object_,
                                    userInfo_);
}

}  // namespace telvo
