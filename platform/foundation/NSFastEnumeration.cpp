#include "foundation/NSFastEnumeration.h"

#include "foundation/NSArray.h"
#include "foundation/NSDictionary.h"
#include "foundation/NSEnumerator.h"
#include "foundation/NSSet.h"

std::vector<id> NSFastEnumeration(const id& collection) {
  if (const auto array = as<NSArray>(collection)) return array->objects();
  if (const auto set = as<NSSet>(collection)) return {set->begin(), set->end()};
  if (const auto dictionary = as<NSDictionary>(collection)) return dictionary->allKeys()->objects();
  if (const auto enumerator = as<NSEnumerator>(collection)) return enumerator->allObjects()->objects();
  return {};
}
