#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;

// Hands out objects one after another, once. Keeps what it enumerates alive. One thread at a time.
class NSEnumerator : public NSObject {
  NS_OBJECT(NSEnumerator, NSObject)

 public:
  // Nil when there is no further object, from then on always.
  virtual id nextObject() = 0;
  // The objects that were not yet handed out; none are left afterwards.
  Ref<NSArray> allObjects();
};

TELVO_NAMESPACE_END
