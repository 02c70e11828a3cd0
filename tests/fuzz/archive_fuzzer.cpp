#include "categories/NSData+Telvo.h"
#include "foundation/coding/NSKeyedUnarchiver.h"
#include "foundation/text/NSAttributedString.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

Ref<NSData> archived(const id& object) {
  return NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(object, true, nullptr);
}

id unarchived(const Ref<NSData>& data) {
  return NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(NSObject::classObject(), data, nullptr);
}

}  // namespace

// The input is an archive, in binary or XML form. An object that it holds, and that can be archived, comes back of the
// same class. The two are not compared: an archive can hold what takes for ever to be compared.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto input = NSData::dataWithBytes_length(data, size);
  telvo_objectOfClass(input, NSAttributedString::classObject());
  const id object = unarchived(input);
  const auto again = object ? archived(object) : Ref<NSData>();
  if (!again) return 0;
  const id back = unarchived(again);
  require(back && back->isa() == object->isa());
  return 0;
}
