#pragma once

#include <functional>
#include <string>
#include <vector>

#include "foundation/Foundation.h"
#include "streams/TelvoFTPData.h"

// Collects what a job posts, and does something about each record when told to.
class ProgressObserver : public NSObject {
  NS_OBJECT(ProgressObserver, NSObject)

 public:
  static Ref<ProgressObserver> of(const Ref<TelvoFTPData>& job) {
    const auto observer = make<ProgressObserver>();
    NSNotificationCenter::defaultCenter()->addObserver_selector_name_object(observer, "progress:"_sel,
                                                                            "TelvoFTPDataProgressNotification"_ns, job);
    return observer;
  }

  void progress(const Ref<NSNotification>& notification) {
    records.push_back(notification->userInfo());
    if (then) then();
  }

  // The texts of one entry of all records.
  std::vector<std::string> all(const Ref<NSString>& key) const {
    std::vector<std::string> result;
    for (const auto& record : records) result.push_back(record ? textAt(*record, key) : "(no record)");
    return result;
  }

  std::vector<Ref<NSDictionary>> records;
  std::function<void()> then;

 private:
  static std::string textAt(const NSDictionary& record, const Ref<NSString>& key) {
    const id value = record.objectForKey(key);
    return value ? value->description()->UTF8String() : "(nil)";
  }
};

inline Class ProgressObserver::classObject() {
  static const NSClass object("ProgressObserver", NSObject::classObject(),
                              {method("progress:"_sel, &ProgressObserver::progress)});
  return &object;
}
