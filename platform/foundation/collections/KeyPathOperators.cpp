#include "foundation/collections/KeyPathOperators.h"

#include <array>
#include <functional>
#include <string_view>
#include <vector>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSFastEnumeration.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/collections/NestingLevel.h"
#include "foundation/runtime/NSNull.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

std::vector<id> valuesFor(const id& collection, std::u16string_view path) {
  std::vector<id> values;
  for (const id& element : NSFastEnumeration(collection)) {
    const id value = foundation::valueAtPath(element, path);
    if (value && !NSEqualObjects(value, NSNull::null())) values.push_back(value);
  }
  return values;
}

// The values of the elements' own elements: the operators on arrays of arrays and sets of sets.
std::vector<id> valuesOneLevelDownFor(const id& collection, std::u16string_view path) {
  std::vector<id> values;
  for (const id& inner : NSFastEnumeration(collection)) {
    const std::vector<id> some = valuesFor(inner, path);
    values.insert(values.end(), some.begin(), some.end());
  }
  return values;
}

bool isWhole(const id& value) {
  const auto number = as<NSNumber>(value);
  return number && !number->isReal();
}

// Whole as long as all values are and their sum fits.
Ref<NSNumber> sumOf(const std::vector<id>& values) {
  NSInteger whole = 0;
  double real = 0.0;
  bool isReal = false;
  for (const id& value : values) {
    real += foundation::doubleFromObject(value);
    isReal = isReal || !isWhole(value) || __builtin_add_overflow(whole, foundation::integerFromObject(value), &whole);
  }
  return isReal ? NSNumber::numberWithDouble(real) : NSNumber::numberWithInteger(whole);
}

id sum(const id& collection, std::u16string_view path) { return sumOf(valuesFor(collection, path)); }

id average(const id& collection, std::u16string_view path) {
  const std::size_t count = NSFastEnumeration(collection).size();
  const double total = sumOf(valuesFor(collection, path))->doubleValue();
  return NSNumber::numberWithDouble(count == 0 ? 0.0 : total / static_cast<double>(count));
}

id extreme(const id& collection, std::u16string_view path, NSComparisonResult wanted) {
  const NSComparator compare = NSComparatorWithSelector("compare:"_sel);
  id found;
  for (const id& value : valuesFor(collection, path)) {
    if (!found || compare(value, found) == wanted) found = value;
  }
  return found;
}

id smallest(const id& collection, std::u16string_view path) { return extreme(collection, path, NSOrderedAscending); }
id largest(const id& collection, std::u16string_view path) { return extreme(collection, path, NSOrderedDescending); }

Ref<NSArray> arrayOf(std::vector<id> values) { return NSArray::arrayWithVector(std::move(values)); }
Ref<NSSet> setOf(const std::vector<id>& values) { return make<NSSet>(values); }

id all(const id& collection, std::u16string_view path) { return arrayOf(valuesFor(collection, path)); }
id allOneLevelDown(const id& collection, std::u16string_view path) {
  return arrayOf(valuesOneLevelDownFor(collection, path));
}
id eachOnce(const id& collection, std::u16string_view path) { return setOf(valuesFor(collection, path))->allObjects(); }
id eachOnceOneLevelDown(const id& collection, std::u16string_view path) {
  return setOf(valuesOneLevelDownFor(collection, path))->allObjects();
}
id setOneLevelDown(const id& collection, std::u16string_view path) {
  return setOf(valuesOneLevelDownFor(collection, path));
}

struct Operator {
  std::u16string_view key;
  id (*value)(const id& collection, std::u16string_view path);
};
constexpr std::array operators{
    Operator{u"@sum", &sum},
    Operator{u"@avg", &average},
    Operator{u"@min", &smallest},
    Operator{u"@max", &largest},
    Operator{u"@unionOfObjects", &all},
    Operator{u"@unionOfArrays", &allOneLevelDown},
    Operator{u"@distinctUnionOfObjects", &eachOnce},
    Operator{u"@distinctUnionOfArrays", &eachOnceOneLevelDown},
    Operator{u"@distinctUnionOfSets", &setOneLevelDown},
};

const Operator* operatorOf(const Ref<NSString>& key) {
  for (const Operator& each : operators) {
    if (each.key == key->units()) return &each;
  }
  return nullptr;
}

}  // namespace

bool foundation::isKeyPathOperator(const id& object, const Ref<NSString>& key) {
  return operatorOf(key) && (as<NSArray>(object) || as<NSSet>(object));
}

id foundation::valueOfKeyPathOperator(const id& collection, const Ref<NSString>& key, std::u16string_view path) {
  // An array that holds itself takes as many operators as the path has.
  const NestingLevel level;
  return operatorOf(key)->value(collection, path);
}

}  // namespace telvo
