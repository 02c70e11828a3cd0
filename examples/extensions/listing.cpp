// SPDX-License-Identifier: MIT
// What is in a folder, in the order of a file browser, with sizes and ages. Written as programs for the platform are:
// objects in references, nil for "there is none", and extension functions that begin with telvo_.

#include <iostream>

#include <telvo/Telvo.h>
#include <telvo/foundation/Foundation.h>

namespace {

enum class SpanStyle : NSInteger { brief = 5 };

Ref<NSString> sizeOf(const Ref<NSString>& path) {
  const Ref<NSFileManager> files = NSFileManager::defaultManager();
  if (telvo_isDirectoryAtPath(files, path)) return "folder"_ns;
  return telvo_stringAsBytesWithInteger(telvo_fileSizeAtPath(files, path));
}

// In the two largest units; what changed within this second has no age yet.
Ref<NSString> ageOf(const Ref<NSString>& path) {
  const Ref<NSDate> changed = telvo_fileModificationDateAtPath(NSFileManager::defaultManager(), path);
  const Ref<NSString> age = telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(
      changed, static_cast<NSInteger>(SpanStyle::brief), 2, false, "years"_ns);
  return telvo_containsSomething(age) ? age : "now"_ns;
}

// A column of at least that width; numbers and spans of time stand at its right.
Ref<NSString> column(const Ref<NSString>& text, NSInteger width) {
  return telvo_stringWithMinimumLength_paddedWith_padLeft(text, width, nil, true);
}

bool list(const Ref<NSString>& folder) {
  const Ref<NSArray> paths = telvo_pathsAtPath_deepScan(NSFileManager::defaultManager(), folder, false);
  if (!paths) return false;
  for (const id& element : *paths) {
    const Ref<NSString> path = as<NSString>(element);
    const Ref<NSString> line = NSString::stringWithFormat("%@  %@  %@"_ns, column(sizeOf(path), 10),
                                                          column(ageOf(path), 14), path->lastPathComponent());
    std::cout << line->UTF8String() << '\n';
  }
  return true;
}

}  // namespace

int main(int argc, char* argv[]) {
  const Ref<NSString> folder = NSString::stringWithUTF8String(argc > 1 ? argv[1] : ".");
  if (list(folder)) return 0;
  std::cerr << "listing: " << folder->UTF8String() << " is no folder\n";
  return 1;
}
