#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "foundation/Foundation.h"

// Arrays of letters, and elements that can be asked.
namespace elements {

inline Ref<NSNumber> number(NSInteger value) { return NSNumber::numberWithInteger(value); }

// "abc" for an array of the texts "a", "b" and "c".
inline Ref<NSMutableArray> letters(std::string_view text) {
  const auto array = NSMutableArray::array();
  for (const char letter : text) array->addObject(NSString::stringWithUTF8String({&letter, 1}));
  return array;
}

inline std::string text(const Ref<NSArray>& array) { return array->componentsJoinedByString(""_ns)->UTF8String(); }

// An element that answers the selectors of these tests.
class Item : public NSObject {
  NS_OBJECT(Item, NSObject)

 public:
  explicit Item(Ref<NSString> name, Ref<NSMutableArray> list = nil) : name_(std::move(name)), list_(std::move(list)) {}
  Ref<NSString> name() const { return name_; }
  void leave() {
    if (list_) list_->removeObject(self());
  }
  Ref<NSString> description() const override { return name_ ? name_ : "nameless"_ns; }

 private:
  Ref<NSString> name_;
  Ref<NSMutableArray> list_;
};

inline Class Item::classObject() {
  static const NSClass object("Item", NSObject::classObject(),
                              {method("name"_sel, &Item::name), method("leave"_sel, &Item::leave)});
  return &object;
}

inline std::string name(const id& element) {
  const auto item = as<Item>(element);
  return item ? item->name()->UTF8String() : "(nil)";
}

inline Ref<NSArray> people() {
  const auto entry = [](const Ref<NSString>& name, NSInteger age) {
    return NSDictionary::dictionary({{"name"_ns, name}, {"age"_ns, number(age)}});
  };
  return NSArray::arrayWithObjects({"no dictionary"_ns, entry("Ann"_ns, 30), number(4), entry("Bob"_ns, 9),
                                    NSDictionary::dictionary(), entry("Cid"_ns, 30)});
}

}  // namespace elements
