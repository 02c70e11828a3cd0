#include "foundation/collections/NSFastEnumeration.h"

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSEnumerator.h"
#include "foundation/collections/NSSet.h"

inline namespace telvo {

std::vector<id> NSFastEnumeration(const id& collection) {
  if (const auto array = as<NSArray>(collection)) return array->objects();
  if (const auto set = as<NSSet>(collection)) return {set->begin(), set->end()};
  if (const auto dictionary = as<NSDictionary>(collection)) return dictionary->allKeys()->objects();
  if (const auto enumerator = as<NSEnumerator>(collection)) return enumerator->allObjects()->objects();
  return {};
}

}  // namespace telvo
