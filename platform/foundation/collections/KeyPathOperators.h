#pragma once

#include <string_view>

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

// What key paths compute over the elements of arrays and sets: "@sum.size" is the sum of the elements' sizes.
namespace foundation {

// Whether the object is an array or a set, and the key an operator that takes the rest of the key path.
bool isKeyPathOperator(const id& object, const Ref<NSString>& key);

// What the operator gives for the values that the elements have for that path. Elements without a value, and NSNull,
// are passed over; the average counts them. Raises what the elements raise, and NSInvalidArgumentException for
// operators within operators endlessly.
id valueOfKeyPathOperator(const id& collection, const Ref<NSString>& key, std::u16string_view path);

// What NSObject::valueForKeyPath() gives. The path must not change meanwhile.
id valueAtPath(const id& object, std::u16string_view path);

}  // namespace foundation

}  // namespace telvo
