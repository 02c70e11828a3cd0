#pragma once

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

// How one element is copied for telvo_deepCopy and telvo_deepMutableCopy of the collection that holds it. In one unit
// for arrays and dictionaries: a program that copies either answers both selectors for both.
namespace categories {

id deepCopyOfElement(const id& element);
id deepMutableCopyOfElement(const id& element);

}  // namespace categories

}  // namespace telvo
