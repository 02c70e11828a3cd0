#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// A reference from one part of a property list to another by number, as archives of objects use them. Binary property
// lists have a type for it; in XML it is a dictionary with the one key "CF$UID". Immutable, any thread.
class NSPropertyListUID : public NSObject {
  NS_OBJECT(NSPropertyListUID, NSObject)

 public:
  explicit NSPropertyListUID(NSUInteger value) : value_(value) {}

  static Ref<NSPropertyListUID> uidWithValue(NSUInteger value);

  NSUInteger value() const { return value_; }

  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override { return value_; }
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  NSUInteger value_;
};

TELVO_NAMESPACE_END
