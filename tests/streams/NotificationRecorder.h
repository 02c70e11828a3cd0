#pragma once

#include <functional>
#include <string>
#include <vector>

#include "foundation/Foundation.h"
#include "streams/TelvoStreamData.h"

// Writes down every notification, and can act on one.
class NotificationRecorder : public NSObject {
  NS_OBJECT(NotificationRecorder, NSObject)

 public:
  void sent(const Ref<TelvoStreamData>& sender, const Ref<NSDictionary>& parameters) {
    const auto signature = as<NSString>(parameters->objectForKey("Signature"_ns))->UTF8String();
    signatures.push_back(signature);
    objects.push_back(parameters->objectForKey("Object"_ns));
    onMainThread = onMainThread && NSThread::isMainThread();
    if (react) react(signature, sender);
  }

  std::vector<std::string> signatures;
  std::vector<id> objects;
  std::function<void(const std::string&, const Ref<TelvoStreamData>&)> react;
  bool onMainThread = true;

  std::string textAt(std::size_t index) const { return objects.at(index)->description()->UTF8String(); }
};

inline Class NotificationRecorder::classObject() {
  static const NSClass object("NotificationRecorder", NSObject::classObject(),
                              {method("delegateData:sentDelegateMessage:"_sel, &NotificationRecorder::sent)});
  return &object;
}
