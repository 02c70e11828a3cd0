#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

// The marker that stands for "no value" inside collections, which cannot hold nil. One object per process.
class NSNull : public NSObject {
  NS_OBJECT(NSNull, NSObject)

 public:
  static const Ref<NSNull>& null();

  Ref<NSString> description() const override;  // "<null>"
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override { return 0; }
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }
};

TELVO_NAMESPACE_END
