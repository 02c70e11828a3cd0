#include "streams/RemovalPlan.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include <sys/stat.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "streams/ExcludePatterns.h"
#include "streams/UploadRecord.h"

inline namespace telvo {

namespace streams {

namespace {

bool isGoneAsWhatItWas(const NSDictionary& record) {
  const auto path = localPathOf(record);
  struct stat status {};
  if (::lstat(path->fileSystemRepresentation().c_str(), &status) != 0) return streams::isGone(path);
  return isDirectory(record) ? S_ISREG(status.st_mode) : S_ISDIR(status.st_mode);
}

Ref<NSString> withSlash(const Ref<NSString>& path) {
  return path->hasSuffix("/"_ns) ? path : path->stringByAppendingString("/"_ns);
}

}  // namespace

std::vector<Ref<NSDictionary>> removals(const std::vector<Ref<NSDictionary>>& leftOvers,
                                        const Ref<NSString>& sourcePath, const ExcludePatterns& excluded) {
  const auto root = withSlash(sourcePath);
  std::vector<Ref<NSDictionary>> result;
  for (const Ref<NSDictionary>& record : leftOvers) {
    const auto path = localPathOf(*record);
    const bool isSource = withSlash(path)->isEqualToString(root);
    if (!isSource && !path->hasPrefix(root)) continue;
    if (!isSource && excluded.exclude(path->substringFromIndex(root->length()), isDirectory(*record))) continue;
    if (isGoneAsWhatItWas(*record)) result.push_back(removalOf(record));
  }
  // A folder's path is the beginning of those of its contents, which come first this way.
  std::stable_sort(result.begin(), result.end(), [](const Ref<NSDictionary>& left, const Ref<NSDictionary>& right) {
    return remotePathOf(*left)->compare(remotePathOf(*right)) == NSOrderedDescending;
  });
  return result;
}

bool isGone(const Ref<NSString>& path) {
  struct stat status {};
  return ::lstat(path->fileSystemRepresentation().c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

bool hasContents(const Ref<NSString>& sourcePath) {
  const auto& files = NSFileManager::defaultManager();
  if (!telvo_isDirectoryAtPath(files, sourcePath)) return files->fileExistsAtPath(sourcePath);
  const auto names = files->contentsOfDirectoryAtPath_error(sourcePath, nullptr);
  return names && names->count() > 0;
}

}  // namespace streams

}  // namespace telvo
