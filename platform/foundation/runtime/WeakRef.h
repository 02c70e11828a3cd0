#pragma once

#include <memory>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

namespace foundation {

struct WeakCell;

// The cell that follows the object's life; null for nil and for an object that is being destroyed.
std::shared_ptr<const WeakCell> weakCellOf(NSObject* object);
id objectOf(const std::shared_ptr<const WeakCell>& cell);
bool hasGone(const std::shared_ptr<const WeakCell>& cell);

}  // namespace foundation

// A reference that does not keep its object alive: nil from the moment on at which the object's destruction begins.
// May be read on any thread; one and the same WeakRef is not to be changed by two threads at once.
template <class T>
class WeakRef {
 public:
  WeakRef() = default;
  WeakRef(const Ref<T>& object) : cell_(foundation::weakCellOf(object.get())) {}

  // The object, kept alive by the answer, or nil.
  Ref<T> lock() const { return as<T>(foundation::objectOf(cell_)); }

  // Whether lock() will give nil from now on. Takes no reference, so nothing is destroyed by asking.
  bool expired() const { return foundation::hasGone(cell_); }

  // Made from the very same object, also when that has gone since.
  bool operator==(const WeakRef&) const = default;

 private:
  std::shared_ptr<const foundation::WeakCell> cell_;
};

TELVO_NAMESPACE_END
