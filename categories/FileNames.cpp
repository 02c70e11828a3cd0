#include "categories/FileNames.h"

#include "foundation/collections/NSDictionary.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

Ref<NSString> categories::withExtension(const Ref<NSString>& base, const Ref<NSString>& extension) {
  return extension->length() == 0 ? base : base->stringByAppendingFormat(".%@"_ns, extension);
}

bool categories::itemExists(const NSFileManager& manager, const Ref<NSString>& path) {
  return manager.attributesOfItemAtPath_error(path, nullptr) != nil;
}

}  // namespace telvo
