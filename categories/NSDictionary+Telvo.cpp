#include "categories/NSDictionary+Telvo.h"
#include "foundation/NSString.h"

bool telvo_boolForKey(const Ref<NSDictionary>& dictionary, const id& key) {
  const auto text = dictionary ? NSDescription(dictionary->objectForKey(key)) : Ref<NSString>();
  if (!text) return false;
  return text->integerValue() != 0 || text->lowercaseString()->isEqualToString("yes"_ns);
}
