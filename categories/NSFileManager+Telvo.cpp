#include <functional>
#include <string_view>

#include "categories/FileNames.h"
#include "categories/NSArray+Telvo.h"
#include "categories/NSFileManager+Telvo.h"
#include "categories/NSObject+Telvo.h"
#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSError.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"
#include "foundation/text/UTF16.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

namespace {

id attribute(const Ref<NSFileManager>& manager, const Ref<NSString>& path, const Ref<NSString>& key) {
  const auto attributes = manager ? manager->attributesOfItemAtPath_error(path, nullptr) : Ref<NSDictionary>();
  return attributes ? attributes->objectForKey(key) : id();
}

bool isPartOfName(const Ref<NSString>& text) {
  return text && text->length() > 0 && text->units().find(u'/') == std::u16string_view::npos;
}

bool isName(const Ref<NSString>& text) {
  return isPartOfName(text) && !text->isEqualToString("."_ns) && !text->isEqualToString(".."_ns);
}

bool refuse(Ref<NSError>* error, NSCocoaErrorCode code, const Ref<NSString>& path) {
  const auto userInfo = path ? NSDictionary::dictionary({{NSFilePathErrorKey(), path}}) : NSDictionary::dictionary();
  NSSetError(error, NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain(), code, userInfo));
  return false;
}

// Without its last character, which may be a surrogate pair.
Ref<NSString> withoutLastCharacter(const Ref<NSString>& text) {
  const std::u16string_view units = text->units();
  if (units.empty()) return text;
  const bool isPair = units.size() >= 2 && foundation::isSurrogatePairAt(units, units.size() - 2);
  return text->substringToIndex(units.size() - (isPair ? 2 : 1));
}

Ref<NSArray> arrayUnlessEmpty(const Ref<NSString>& text) {
  return telvo_containsSomething(text) ? NSArray::arrayWithObject(text) : Ref<NSArray>();
}

using RemoveExisting = std::function<void(const Ref<NSString>& destination)>;

// What both forms of the rename have in common; they differ in how they remove what is in the way.
bool rename(const Ref<NSFileManager>& manager, const Ref<NSString>& path, const Ref<NSString>& filename,
            const RemoveExisting& removeExisting, Ref<NSError>* error) {
  if (!path || !isName(filename)) return refuse(error, NSFileWriteInvalidFileNameError, filename);
  const auto folder = path->stringByDeletingLastPathComponent();
  const auto original = folder->stringByAppendingPathComponent(path->lastPathComponent());
  const auto destination = folder->stringByAppendingPathComponent(filename);
  auto item = original;
  const bool onlyCaseDiffers = telvo_isEquivalentTo(path->lastPathComponent(), filename);
  if (onlyCaseDiffers) {
    // The path form puts the time behind the whole path, the URL form behind the last component: both come to this.
    item = NSString::stringWithFormat("%@%.2f"_ns, original, NSDate::timeIntervalSinceReferenceDateNow());
    // An item that cannot be put aside may itself be what is found under the new name, and must not be removed.
    if (!manager->moveItemAtPath_toPath_error(original, item, error)) return false;
  }
  if (removeExisting && categories::itemExists(*manager, item)) removeExisting(destination);
  if (manager->moveItemAtPath_toPath_error(item, destination, error)) return true;
  if (onlyCaseDiffers) manager->moveItemAtPath_toPath_error(item, original, nullptr);
  return false;
}

const NSCategory category(
    NSFileManager::classObject(),
    {
        method("telvo_isDirectoryAtPath:"_sel, &telvo_isDirectoryAtPath),
        method("telvo_isDirectoryAtURL:"_sel, &telvo_isDirectoryAtURL),
        method("telvo_fileSizeAtPath:"_sel, &telvo_fileSizeAtPath),
        method("telvo_fileCreationDateAtPath:"_sel, &telvo_fileCreationDateAtPath),
        method("telvo_fileModificationDateAtPath:"_sel, &telvo_fileModificationDateAtPath),
        method("telvo_removeFileIfExistsAtPath:"_sel, &telvo_removeFileIfExistsAtPath),
        method("telvo_pathsWithFragments:isExtension:atPath:deepScan:"_sel,
               &telvo_pathsWithFragments_isExtension_atPath_deepScan),
        method("telvo_pathsAtPath:deepScan:"_sel, &telvo_pathsAtPath_deepScan),
        method("telvo_pathsWithExtensions:atPath:deepScan:"_sel, &telvo_pathsWithExtensions_atPath_deepScan),
        method("telvo_pathsWithExtension:atPath:deepScan:"_sel, &telvo_pathsWithExtension_atPath_deepScan),
        method("telvo_pathsWithFilenames:atPath:deepScan:"_sel, &telvo_pathsWithFilenames_atPath_deepScan),
        method("telvo_pathsWithFilename:atPath:deepScan:"_sel, &telvo_pathsWithFilename_atPath_deepScan),
    });

}  // namespace

bool telvo_isDirectoryAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path) {
  bool isDirectory = false;
  return manager && manager->fileExistsAtPath_isDirectory(path, &isDirectory) && isDirectory;
}

bool telvo_isDirectoryAtURL(const Ref<NSFileManager>& manager, const Ref<NSURL>& url) {
  return url && telvo_isDirectoryAtPath(manager, url->path());
}

NSInteger telvo_fileSizeAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path) {
  return foundation::integerFromObject(attribute(manager, path, NSFileSize()));
}

Ref<NSDate> telvo_fileCreationDateAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path) {
  return as<NSDate>(attribute(manager, path, NSFileCreationDate()));
}

Ref<NSDate> telvo_fileModificationDateAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path) {
  return as<NSDate>(attribute(manager, path, NSFileModificationDate()));
}

bool telvo_renameItemAtPath_toFilename_deleteExisting_error(const Ref<NSFileManager>& manager,
                                                            const Ref<NSString>& path, const Ref<NSString>& filename,
                                                            bool deleteExisting, Ref<NSError>* error) {
  if (!manager) return false;
  const RemoveExisting remove = [&](const Ref<NSString>& destination) {
    if (manager->fileExistsAtPath(destination)) manager->removeItemAtPath_error(destination, error);
  };
  return rename(manager, path, filename, deleteExisting ? remove : nullptr, error);
}

bool telvo_renameItemAtURL_toFilename_deleteExisting_error(const Ref<NSFileManager>& manager, const Ref<NSURL>& url,
                                                           const Ref<NSString>& filename, bool deleteExisting,
                                                           Ref<NSError>* error) {
  if (!manager) return false;
  const RemoveExisting remove = [&](const Ref<NSString>& destination) {
    manager->removeItemAtPath_error(destination, nullptr);
  };
  const auto path = url && url->isFileURL() ? url->path() : Ref<NSString>();
  return rename(manager, path, filename, deleteExisting ? remove : nullptr, error);
}

bool telvo_renameWorkingFile_forSuccess_error(const Ref<NSFileManager>& manager, const Ref<NSString>& path,
                                              bool success, Ref<NSError>* error) {
  if (!manager) return false;
  if (!success) return manager->removeItemAtPath_error(path, error);
  if (!path) return refuse(error, NSFileNoSuchFileError, path);
  const auto folder = path->stringByDeletingLastPathComponent();
  const auto workName = path->lastPathComponent();
  const auto extension = workName->pathExtension();
  const auto base = workName->stringByDeletingPathExtension();
  const auto finalName = categories::withExtension(withoutLastCharacter(base), extension);
  const auto temporaryName = categories::withExtension(base->stringByAppendingString("~"_ns), extension);
  // "~" without an extension has no final name: the item would take the place of its own folder.
  if (!isName(finalName)) return refuse(error, NSFileWriteInvalidFileNameError, path);

  constexpr auto rename = &telvo_renameItemAtPath_toFilename_deleteExisting_error;
  if (!rename(manager, path, temporaryName, true, error)) return false;
  const auto earlier = folder->stringByAppendingPathComponent(finalName);
  if (manager->fileExistsAtPath(earlier) && !rename(manager, earlier, workName, false, error)) return false;
  return rename(manager, folder->stringByAppendingPathComponent(temporaryName), finalName, false, error);
}

bool telvo_removeFileIfExistsAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path) {
  if (!manager) return false;
  return !categories::itemExists(*manager, path) || manager->removeItemAtPath_error(path, nullptr);
}

bool telvo_copyPath_withSuffix_replaceExisting_error(const Ref<NSFileManager>& manager, const Ref<NSString>& path,
                                                     const Ref<NSString>& suffix, bool replaceExisting,
                                                     Ref<NSError>* error) {
  if (!manager) return false;
  if (!manager->fileExistsAtPath(path)) return refuse(error, NSFileReadNoSuchFileError, path);
  // A suffix that leads to another folder could name the source itself as the copy to be replaced.
  if (!isPartOfName(suffix)) return refuse(error, NSFileWriteInvalidFileNameError, path);
  const auto base = path->stringByDeletingPathExtension()->stringByAppendingString(suffix);
  const auto destination = categories::withExtension(base, path->pathExtension());
  // First, and lost should the copy fail: its room may be what the new one needs.
  if (replaceExisting) telvo_removeFileIfExistsAtPath(manager, destination);
  return manager->copyItemAtPath_toPath_error(path, destination, error);
}

bool telvo_backupPath(const Ref<NSString>& path) {
  return telvo_copyPath_withSuffix_replaceExisting_error(NSFileManager::defaultManager(), path, " backup"_ns, true,
                                                         nullptr);
}

Ref<NSMutableArray> telvo_pathsWithFragments_isExtension_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                                         const Ref<NSArray>& fragments,
                                                                         bool isExtension, const Ref<NSString>& path,
                                                                         bool deepScan) {
  const auto folder = telvo_expandedPath(path);
  if (!telvo_isDirectoryAtPath(manager, folder)) return nil;
  const auto entries =
      deepScan ? manager->subpathsAtPath(folder) : manager->contentsOfDirectoryAtPath_error(folder, nullptr);
  const auto paths = NSMutableArray::array();
  if (!entries) return paths;
  const auto sorted = telvo_sortedArrayUsingFinderOrder(entries);
  for (const id& each : *sorted) {
    const auto entry = as<NSString>(each);
    const auto key = isExtension ? entry->pathExtension() : telvo_lastPathComponentWithoutExtension(entry);
    if (fragments && !telvo_containsObjectEquivalentTo(fragments, key)) continue;
    paths->addObject(folder->stringByAppendingPathComponent(entry));
  }
  return paths;
}

Ref<NSMutableArray> telvo_pathsAtPath_deepScan(const Ref<NSFileManager>& manager, const Ref<NSString>& path,
                                               bool deepScan) {
  return telvo_pathsWithFragments_isExtension_atPath_deepScan(manager, nil, false, path, deepScan);
}

Ref<NSMutableArray> telvo_pathsWithExtensions_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                              const Ref<NSArray>& extensions, const Ref<NSString>& path,
                                                              bool deepScan) {
  return telvo_pathsWithFragments_isExtension_atPath_deepScan(manager, extensions, true, path, deepScan);
}

Ref<NSMutableArray> telvo_pathsWithFilenames_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                             const Ref<NSArray>& filenames, const Ref<NSString>& path,
                                                             bool deepScan) {
  return telvo_pathsWithFragments_isExtension_atPath_deepScan(manager, filenames, false, path, deepScan);
}

Ref<NSMutableArray> telvo_pathsWithExtension_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                             const Ref<NSString>& extension, const Ref<NSString>& path,
                                                             bool deepScan) {
  return telvo_pathsWithExtensions_atPath_deepScan(manager, arrayUnlessEmpty(extension), path, deepScan);
}

Ref<NSMutableArray> telvo_pathsWithFilename_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                            const Ref<NSString>& filename, const Ref<NSString>& path,
                                                            bool deepScan) {
  return telvo_pathsWithFilenames_atPath_deepScan(manager, arrayUnlessEmpty(filename), path, deepScan);
}

}  // namespace telvo
