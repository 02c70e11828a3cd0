#include "tests/platform/foundation/coding/Archives.h"

Class Shelf::classObject() {
  static const NSClass object("Shelf", NSObject::classObject(), {}, NSCoding::secure<Shelf>());
  return &object;
}

Class Crate::classObject() {
  static const NSClass object("Crate", Shelf::classObject(), {});
  return &object;
}

Class Raising::classObject() {
  static const NSClass object("Raising", NSObject::classObject(), {}, NSCoding::secure<Raising>());
  return &object;
}

Class Insecure::classObject() {
  static const NSClass object(
      "Insecure", NSObject::classObject(), {},
      NSCoding{[](const NSObject&, NSCoder&) {}, [](NSCoder&) -> id { return make<Insecure>(); }, false});
  return &object;
}
