#include "foundation/collections/NSEnumerator.h"

#include "foundation/collections/NSArray.h"

inline namespace telvo {

Class NSEnumerator::classObject() {
  static const NSClass object("NSEnumerator", NSObject::classObject(),
                              {
                                  method("nextObject"_sel, &NSEnumerator::nextObject),
                                  method("allObjects"_sel, &NSEnumerator::allObjects),
                              });
  return &object;
}

Ref<NSArray> NSEnumerator::allObjects() {
  std::vector<id> objects;
  while (id object = nextObject()) objects.push_back(std::move(object));
  return NSArray::arrayWithVector(std::move(objects));
}

}  // namespace telvo
