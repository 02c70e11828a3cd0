// NSString(TelvoFilePath) and NSString(TelvoPropertyList): file paths, and a boolean as text.

#include <algorithm>

#include "categories/FileNames.h"
#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/files/NSBundle.h"
#include "foundation/files/NSFileManager.h"

inline namespace telvo {

namespace {

const Ref<NSString>& bundleToken() { return "<APP>"_ns; }

bool isTaken(const Ref<NSString>& path) { return categories::itemExists(*NSFileManager::defaultManager(), path); }

// True also for a file of that name.
bool isOrBecomesFolder(const Ref<NSString>& path) {
  const Ref<NSFileManager>& manager = NSFileManager::defaultManager();
  // Asked once more at the end, for a folder that another program has made in the meantime.
  return manager->fileExistsAtPath(path) ||
         manager->createDirectoryAtPath_withIntermediateDirectories_attributes_error(path, false, nil, nullptr) ||
         manager->fileExistsAtPath(path);
}

const NSCategory category(
    NSString::classObject(),
    {
        method("telvo_stringByCleaningFilenameWithDefault:"_sel, &telvo_stringByCleaningFilenameWithDefault),
        method("telvo_stringByAppendingPathComponent:cleanWithDefault:"_sel,
               &telvo_stringByAppendingPathComponent_cleanWithDefault),
        method("telvo_lastPathComponentWithoutExtension"_sel, &telvo_lastPathComponentWithoutExtension),
        method("telvo_backupFilePath"_sel, &telvo_backupFilePath),
        method("telvo_uniquePath"_sel, &telvo_uniquePath),
        method("telvo_uniquePathWithPrefix:"_sel, &telvo_uniquePathWithPrefix),
        method("telvo_validatedDirectoryPath"_sel, &telvo_validatedDirectoryPath),
        method("telvo_validatedFilePath"_sel, &telvo_validatedFilePath),
        method("telvo_expandedPath"_sel, &telvo_expandedPath),
        method("telvo_abbreviatedPath"_sel, &telvo_abbreviatedPath),
    });

}  // namespace

Ref<NSString> telvo_stringByCleaningFilenameWithDefault(const Ref<NSString>& text, const Ref<NSString>& defaultName) {
  if (!text) return nil;
  std::u16string name(telvo_stringByDeletingLeadingSpaces_trailingSpaces(text, true, true)->units());
  std::ranges::replace_if(
      name, [](char16_t unit) { return unit == u'/' || unit == u':'; }, u'-');
  name.erase(0, name.find_first_not_of(u'.'));
  return name.empty() ? defaultName : NSString::stringWithUnits(std::move(name));
}

Ref<NSString> telvo_stringByAppendingPathComponent_cleanWithDefault(const Ref<NSString>& path,
                                                                    const Ref<NSString>& component,
                                                                    const Ref<NSString>& defaultName) {
  if (!path) return nil;
  const Ref<NSString> name = telvo_stringByCleaningFilenameWithDefault(component ? component : ""_ns, defaultName);
  return name ? path->stringByAppendingPathComponent(name) : path;
}

Ref<NSString> telvo_lastPathComponentWithoutExtension(const Ref<NSString>& path) {
  return path ? path->lastPathComponent()->stringByDeletingPathExtension() : nil;
}

Ref<NSString> telvo_backupFilePath(const Ref<NSString>& path) {
  if (!path) return nil;
  const Ref<NSString> base = path->stringByDeletingPathExtension()->stringByAppendingString("~"_ns);
  return categories::withExtension(base, path->pathExtension());
}

Ref<NSString> telvo_uniquePath(const Ref<NSString>& path) { return telvo_uniquePathWithPrefix(path, nil); }

Ref<NSString> telvo_uniquePathWithPrefix(const Ref<NSString>& path, const Ref<NSString>& prefix) {
  if (!path || !isTaken(path)) return path;
  Ref<NSString> base = path->stringByDeletingPathExtension();
  if (telvo_containsSomething(prefix)) base = base->stringByAppendingFormat(" %@"_ns, prefix);
  for (NSInteger count = telvo_containsSomething(prefix) ? 1 : 2;; ++count) {
    const Ref<NSString> numbered = count < 2 ? base : base->stringByAppendingFormat(" %ld"_ns, count);
    const Ref<NSString> candidate = categories::withExtension(numbered, path->pathExtension());
    if (!isTaken(candidate)) return candidate;
  }
}

Ref<NSString> telvo_validatedDirectoryPath(const Ref<NSString>& path) {
  if (!path) return nil;
  // Appending takes out slashes that mean nothing: every other one ends a component.
  const Ref<NSString> folder = ""_ns->stringByAppendingPathComponent(telvo_expandedPath(path));
  for (NSUInteger end = 0; end < folder->length();) {
    end = std::min(folder->units().find(u'/', end + 1), folder->length());
    // Below a folder that cannot be made none can.
    if (!isOrBecomesFolder(folder->substringToIndex(end))) break;
  }
  return folder;
}

Ref<NSString> telvo_validatedFilePath(const Ref<NSString>& path) {
  if (!path) return nil;
  const Ref<NSString> folder = telvo_validatedDirectoryPath(path->stringByDeletingLastPathComponent());
  return folder->stringByAppendingPathComponent(path->lastPathComponent());
}

Ref<NSString> telvo_expandedPath(const Ref<NSString>& path) {
  if (!path) return nil;
  if (!path->hasPrefix(bundleToken())) return path->stringByStandardizingPath();
  return path->stringByReplacingOccurrencesOfString_withString(bundleToken(), NSBundle::mainBundle()->bundlePath());
}

Ref<NSString> telvo_abbreviatedPath(const Ref<NSString>& path) {
  if (!path) return nil;
  const Ref<NSString>& bundlePath = NSBundle::mainBundle()->bundlePath();
  if (!path->hasPrefix(bundlePath)) return path->stringByAbbreviatingWithTildeInPath();
  return path->stringByReplacingOccurrencesOfString_withString(bundlePath, bundleToken());
}

Ref<NSString> telvo_stringWithBoolValue(bool value) { return NSString::stringWithFormat("%d"_ns, value ? 1 : 0); }

}  // namespace telvo
