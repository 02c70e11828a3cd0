#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/NSURL.h"

bool telvo_isDirectoryAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path) {
  bool isDirectory = false;
  return manager && manager->fileExistsAtPath_isDirectory(path, &isDirectory) && isDirectory;
}

bool telvo_isDirectoryAtURL(const Ref<NSFileManager>& manager, const Ref<NSURL>& url) {
  return url && telvo_isDirectoryAtPath(manager, url->path());
}

Ref<NSDate> telvo_fileModificationDateAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path) {
  const auto attributes = manager ? manager->attributesOfItemAtPath_error(path, nullptr) : Ref<NSDictionary>();
  return attributes ? as<NSDate>(attributes->objectForKey(NSFileModificationDate())) : Ref<NSDate>();
}
