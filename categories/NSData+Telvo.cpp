#include "appkit/NSColor.h"
#include "appkit/NSFont.h"
#include "appkit/NSParagraphStyle.h"
#include "categories/NSData+Telvo.h"
#include "foundation/coding/NSKeyedUnarchiver.h"

inline namespace telvo {

namespace {

// Archives of styled text hold objects of these classes, whether the program uses them itself or not.
const NSRegisteredClass fontClass(NSFont::classObject());
const NSRegisteredClass colorClass(NSColor::classObject());
const NSRegisteredClass paragraphStyleClass(NSParagraphStyle::classObject());
const NSRegisteredClass mutableParagraphStyleClass(NSMutableParagraphStyle::classObject());

// The class is not checked here: deliberately, for the archives that this is for.
id objectOfAnyClass(const Ref<NSData>& data) {
  const auto unarchiver = NSKeyedUnarchiver::unarchiverForReadingFromData_error(data, nullptr);
  if (!unarchiver) return nil;
  unarchiver->setRequiresSecureCoding(false);
  id object = unarchiver->decodeObjectForKey(NSKeyedArchiveRootObjectKey());
  unarchiver->finishDecoding();
  return object;
}

}  // namespace

Ref<NSData> telvo_dataWithObject(const id& object) {
  if (!object) return nil;
  return NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(object, true, nullptr);
}

id telvo_objectOfClass(const Ref<NSData>& data, Class type) {
  if (!data) return nil;
  const id object = NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(type, data, nullptr);
  return object ? object : objectOfAnyClass(data);
}

}  // namespace telvo
