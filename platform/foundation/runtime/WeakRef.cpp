#include "foundation/runtime/WeakRef.h"

#include <mutex>
#include <unordered_map>

inline namespace telvo {

struct foundation::WeakCell {
  NSObject* object;  // null once it has gone; guarded by the table's mutex
};

namespace {

// The cells of all objects that weak references were made of, so that objects without any pay nothing for them.
struct WeakTable {
  std::mutex mutex;
  std::unordered_map<NSObject*, std::shared_ptr<foundation::WeakCell>> cells;
};

WeakTable& weakTable() {
  static WeakTable& table = *new WeakTable;
  return table;
}

}  // namespace

std::shared_ptr<const foundation::WeakCell> foundation::weakCellOf(NSObject* object) {
  if (!object) return nullptr;
  WeakTable& table = weakTable();
  const std::lock_guard lock(table.mutex);
  if (!markWeaklyReferenced(object)) return nullptr;
  std::shared_ptr<WeakCell>& cell = table.cells[object];
  if (!cell) cell = std::make_shared<WeakCell>(WeakCell{object});
  return cell;
}

id foundation::objectOf(const std::shared_ptr<const WeakCell>& cell) {
  if (!cell) return nil;
  const std::lock_guard lock(weakTable().mutex);
  // An object that nobody holds any more is on its way to forgetWeakReferences() and is not brought back.
  if (!cell->object || !retainIfAlive(cell->object)) return nil;
  return id::adopting(cell->object);
}

bool foundation::hasGone(const std::shared_ptr<const WeakCell>& cell) {
  if (!cell) return true;
  const std::lock_guard lock(weakTable().mutex);
  return !cell->object;
}

void foundation::forgetWeakReferences(NSObject* object) noexcept {
  WeakTable& table = weakTable();
  const std::lock_guard lock(table.mutex);
  const auto found = table.cells.find(object);
  if (found == table.cells.end()) return;
  found->second->object = nullptr;
  table.cells.erase(found);
}

}  // namespace telvo
