#include "categories/DeepCopy.h"

#include "categories/NSArray+Telvo.h"
#include "categories/NSDictionary+Telvo.h"
#include "foundation/collections/NestingLevel.h"

inline namespace telvo {

namespace {

const NSCategory arrayCategory(NSArray::classObject(),
                               {
                                   method<NSArray>("telvo_deepCopy"_sel, &telvo_deepCopy),
                                   method<NSArray>("telvo_deepMutableCopy"_sel, &telvo_deepMutableCopy),
                               });

const NSCategory dictionaryCategory(NSDictionary::classObject(),
                                    {
                                        method<NSDictionary>("telvo_deepCopy"_sel, &telvo_deepCopy),
                                        method<NSDictionary>("telvo_deepMutableCopy"_sel, &telvo_deepMutableCopy),
                                    });

}  // namespace

id categories::deepCopyOfElement(const id& element) {
  const foundation::NestingLevel level;
  if (element->respondsToSelector("telvo_deepCopy"_sel)) return element->performSelector("telvo_deepCopy"_sel);
  return element->copy();
}

id categories::deepMutableCopyOfElement(const id& element) {
  const foundation::NestingLevel level;
  if (element->respondsToSelector("telvo_deepMutableCopy"_sel)) {
    return element->performSelector("telvo_deepMutableCopy"_sel);
  }
  return element->conformsToMutableCopying() ? element->mutableCopy() : element->copy();
}

}  // namespace telvo
