#include "foundation/coding/PropertyListCoding.h"

#include <algorithm>

#include "foundation/coding/NSPropertyList.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace foundation {

void requirePropertyListDepth(std::size_t depth) {
  if (depth >= propertyListMaximumDepth) throw PropertyListFailure("containers are nested too deeply");
}

void passCheckpoint(const Checkpoint& checkpoint) {
  if (checkpoint && !checkpoint()) throw PropertyListFailure("the work was given up");
}

void PropertyListFactory::countForDescription(std::size_t depth, std::uint64_t textLength) const {
  // A line of its own, indented, with the marks between its parts.
  const std::uint64_t length = textLength + 4 * depth + 8;
  if (length > descriptionLeft_) throw PropertyListFailure("a property list that unfolds without end");
  descriptionLeft_ -= length;
}

id PropertyListFactory::array(std::vector<id> objects) const {
  passCheckpoint(checkpoint_);
  if (options_ == NSPropertyListImmutable) return make<NSArray>(std::move(objects));
  return make<NSMutableArray>(std::move(objects));
}

id PropertyListFactory::dictionary(std::vector<NSDictionary::Entry> entries) const {
  passCheckpoint(checkpoint_);
  if (options_ == NSPropertyListImmutable) return make<NSDictionary>(std::move(entries));
  return make<NSMutableDictionary>(std::move(entries));
}

id PropertyListFactory::string(std::u16string units) const {
  if (sharesLeaves()) return make<NSString>(std::move(units));
  return make<NSMutableString>(std::move(units));
}

id PropertyListFactory::data(std::string bytes) const {
  if (sharesLeaves()) return make<NSData>(std::move(bytes));
  return make<NSMutableData>(std::move(bytes));
}

bool PropertyListFactory::sharesLeaves() const { return options_ != NSPropertyListMutableContainersAndLeaves; }

std::vector<const NSDictionary::Entry*> entriesInKeyOrder(const NSDictionary& dictionary) {
  std::vector<const NSDictionary::Entry*> entries;
  entries.reserve(dictionary.count());
  for (const NSDictionary::Entry& entry : dictionary) {
    if (!dynamic_cast<const NSString*>(entry.first.get())) throw PropertyListFailure("a key is no text");
    entries.push_back(&entry);
  }
  std::ranges::sort(entries, {}, [](const NSDictionary::Entry* entry) {
    return static_cast<const NSString*>(entry->first.get())->units();
  });
  return entries;
}

}  // namespace foundation

}  // namespace telvo
