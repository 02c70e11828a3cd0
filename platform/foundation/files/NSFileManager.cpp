#include "foundation/files/NSFileManager.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSError.h"
#include "foundation/files/FileIO.h"
#include "foundation/files/FileTree.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

inline namespace telvo {

using foundation::permissionBits;
using foundation::systemPath;

namespace {

constexpr unsigned newFolderPermissions = 0777;

bool isAccessible(const Ref<NSString>& path, int mode) {
  const auto name = systemPath(path);
  return name && faccessat(AT_FDCWD, name->c_str(), mode, AT_EACCESS) == 0;
}

Ref<NSDate> dateFrom(const statx_timestamp& time) {
  // Cut to the microsecond: with all nine digits, the last moments of a second would round up to the next second.
  constexpr std::uint32_t nanosecondsPerMicrosecond = 1000;
  constexpr double microsecondsPerSecond = 1e6;
  const double fraction = (time.tv_nsec / nanosecondsPerMicrosecond) / microsecondsPerSecond;
  return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(time.tv_sec) + fraction);
}

const Ref<NSString>& typeFrom(unsigned mode) {
  switch (mode & S_IFMT) {
    case S_IFREG:
      return NSFileTypeRegular();
    case S_IFDIR:
      return NSFileTypeDirectory();
    case S_IFLNK:
      return NSFileTypeSymbolicLink();
    case S_IFSOCK:
      return NSFileTypeSocket();
    case S_IFCHR:
      return NSFileTypeCharacterSpecial();
    case S_IFBLK:
      return NSFileTypeBlockSpecial();
    default:
      return NSFileTypeUnknown();
  }
}

timespec timeFrom(const NSDate& date) {
  constexpr double farthest = 1e15;  // far outside of any file system's range and inside of time_t's
  constexpr double nanosecondsPerSecond = 1e9;
  const double seconds = std::min(std::max(date.timeIntervalSince1970(), -farthest), farthest);
  const double whole = std::floor(seconds);
  return {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * nanosecondsPerSecond)};
}

// errno, or 0.
int setAttributes(const std::string& path, const NSDictionary& attributes) {
  if (const auto permissions = as<NSNumber>(attributes.objectForKey(NSFilePosixPermissions()))) {
    const auto mode = static_cast<mode_t>(permissions->unsignedIntegerValue() & permissionBits);
    if (chmod(path.c_str(), mode) != 0) return errno;
  }
  if (const auto date = as<NSDate>(attributes.objectForKey(NSFileModificationDate()))) {
    const timespec times[] = {{0, UTIME_OMIT}, timeFrom(*date)};
    if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) return errno;
  }
  return 0;
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// errno, or 0. Folders that exist already, also because another process has just made them, are no failure.
int createFolderWithParents(const std::string& path) {
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    const std::string folder = path.substr(0, end);
    if (mkdir(folder.c_str(), newFolderPermissions) == 0) continue;
    const int reason = errno;
    if (!isFolder(folder)) return reason;
  }
  return 0;
}

Ref<NSString> pathOf(const Ref<NSURL>& url) { return url && url->isFileURL() ? url->path() : Ref<NSString>(); }

bool failed(Ref<NSError>* error, Ref<NSError> reason) {
  NSSetError(error, std::move(reason));
  return false;
}

bool failed(Ref<NSError>* error, const foundation::FileTreeFailure& failure) {
  const auto path = NSString::stringWithUTF8String(failure.path);
  return failed(
      error, failure.reading ? foundation::readError(failure.code, path) : foundation::writeError(failure.code, path));
}

}  // namespace

const Ref<NSString>& NSFileType() { return "NSFileType"_ns; }
const Ref<NSString>& NSFileSize() { return "NSFileSize"_ns; }
const Ref<NSString>& NSFileModificationDate() { return "NSFileModificationDate"_ns; }
const Ref<NSString>& NSFileCreationDate() { return "NSFileCreationDate"_ns; }
const Ref<NSString>& NSFilePosixPermissions() { return "NSFilePosixPermissions"_ns; }
const Ref<NSString>& NSFileReferenceCount() { return "NSFileReferenceCount"_ns; }
const Ref<NSString>& NSFileOwnerAccountID() { return "NSFileOwnerAccountID"_ns; }
const Ref<NSString>& NSFileGroupOwnerAccountID() { return "NSFileGroupOwnerAccountID"_ns; }

const Ref<NSString>& NSFileTypeRegular() { return "NSFileTypeRegular"_ns; }
const Ref<NSString>& NSFileTypeDirectory() { return "NSFileTypeDirectory"_ns; }
const Ref<NSString>& NSFileTypeSymbolicLink() { return "NSFileTypeSymbolicLink"_ns; }
const Ref<NSString>& NSFileTypeSocket() { return "NSFileTypeSocket"_ns; }
const Ref<NSString>& NSFileTypeCharacterSpecial() { return "NSFileTypeCharacterSpecial"_ns; }
const Ref<NSString>& NSFileTypeBlockSpecial() { return "NSFileTypeBlockSpecial"_ns; }
const Ref<NSString>& NSFileTypeUnknown() { return "NSFileTypeUnknown"_ns; }

Class NSFileManager::classObject() {
  static const NSClass object(
      "NSFileManager", NSObject::classObject(),
      {
          method("fileExistsAtPath:"_sel, &NSFileManager::fileExistsAtPath),
          method("isReadableFileAtPath:"_sel, &NSFileManager::isReadableFileAtPath),
          method("isWritableFileAtPath:"_sel, &NSFileManager::isWritableFileAtPath),
          method("isExecutableFileAtPath:"_sel, &NSFileManager::isExecutableFileAtPath),
          method("subpathsAtPath:"_sel, &NSFileManager::subpathsAtPath),
          method("contentsAtPath:"_sel, &NSFileManager::contentsAtPath),
          method("createFileAtPath:contents:attributes:"_sel, &NSFileManager::createFileAtPath_contents_attributes),
      });
  return &object;
}

const Ref<NSFileManager>& NSFileManager::defaultManager() {
  static const Ref<NSFileManager>& manager = *new Ref<NSFileManager>(make<NSFileManager>());
  return manager;
}

bool NSFileManager::fileExistsAtPath(const Ref<NSString>& path) const {
  return fileExistsAtPath_isDirectory(path, nullptr);
}

bool NSFileManager::fileExistsAtPath_isDirectory(const Ref<NSString>& path, bool* isDirectory) const {
  if (isDirectory) *isDirectory = false;
  struct stat status {};
  const auto name = systemPath(path);
  if (!name || stat(name->c_str(), &status) != 0) return false;
  if (isDirectory) *isDirectory = S_ISDIR(status.st_mode);
  return true;
}

bool NSFileManager::isReadableFileAtPath(const Ref<NSString>& path) const { return isAccessible(path, R_OK); }
bool NSFileManager::isWritableFileAtPath(const Ref<NSString>& path) const { return isAccessible(path, W_OK); }
bool NSFileManager::isExecutableFileAtPath(const Ref<NSString>& path) const { return isAccessible(path, X_OK); }

Ref<NSDictionary> NSFileManager::attributesOfItemAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const {
  struct statx status {};
  const auto name = systemPath(path);
  const unsigned wanted = STATX_BASIC_STATS | STATX_BTIME;
  if (!name || statx(AT_FDCWD, name->c_str(), AT_SYMLINK_NOFOLLOW, wanted, &status) != 0) {
    NSSetError(error, foundation::readError(errno, path));
    return nil;
  }
  std::vector<NSDictionary::Entry> attributes{
      {NSFileType(), typeFrom(status.stx_mode)},
      {NSFileSize(), NSNumber::numberWithUnsignedInteger(status.stx_size)},
      {NSFileModificationDate(), dateFrom(status.stx_mtime)},
      {NSFilePosixPermissions(), NSNumber::numberWithUnsignedInteger(status.stx_mode & permissionBits)},
      {NSFileReferenceCount(), NSNumber::numberWithUnsignedInteger(status.stx_nlink)},
      {NSFileOwnerAccountID(), NSNumber::numberWithUnsignedInteger(status.stx_uid)},
      {NSFileGroupOwnerAccountID(), NSNumber::numberWithUnsignedInteger(status.stx_gid)},
  };
  if (status.stx_mask & STATX_BTIME) attributes.emplace_back(NSFileCreationDate(), dateFrom(status.stx_btime));
  return NSDictionary::dictionaryWithEntries(std::move(attributes));
}

bool NSFileManager::setAttributes_ofItemAtPath_error(const Ref<NSDictionary>& attributes, const Ref<NSString>& path,
                                                     Ref<NSError>* error) const {
  const auto name = systemPath(path);
  if (!name) return failed(error, foundation::writeError(errno, path));
  const int reason = attributes ? setAttributes(*name, *attributes) : 0;
  return reason == 0 || failed(error, foundation::writeError(reason, path));
}

Ref<NSArray> NSFileManager::contentsOfDirectoryAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const {
  const auto contents = foundation::contentsOfDirectory(path, nullptr);
  if (!contents) NSSetError(error, foundation::readError(errno, path));
  return contents;
}

Ref<NSArray> foundation::contentsOfDirectory(const Ref<NSString>& path, const Checkpoint& checkpoint) {
  const auto folder = systemPath(path);
  const auto names = folder ? namesInDirectory(*folder, checkpoint) : std::nullopt;
  if (!names) return nil;
  std::vector<id> contents;
  contents.reserve(names->size());
  for (const std::string& name : *names) {
    if (checkpoint && !checkpoint()) return nil;
    contents.push_back(NSString::stringWithUTF8String(name));
  }
  return NSArray::arrayWithVector(std::move(contents));
}

void foundation::waitForLease(const Ref<NSString>& path, const Checkpoint& checkpoint) {
  if (const auto name = systemPath(path)) openRegularFile(*name, O_RDONLY, 0, checkpoint);
}

Ref<NSArray> NSFileManager::subpathsOfDirectoryAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const {
  const auto folder = systemPath(path);
  const auto found = folder ? foundation::pathsBelow(*folder) : std::nullopt;
  if (!found) {
    NSSetError(error, foundation::readError(errno, path));
    return nil;
  }
  std::vector<id> paths;
  paths.reserve(found->size());
  for (const std::string& each : *found) paths.push_back(NSString::stringWithUTF8String(each));
  return NSArray::arrayWithVector(std::move(paths));
}

Ref<NSArray> NSFileManager::subpathsAtPath(const Ref<NSString>& path) const {
  return subpathsOfDirectoryAtPath_error(path, nullptr);
}

bool NSFileManager::createDirectoryAtPath_withIntermediateDirectories_attributes_error(
    const Ref<NSString>& path, bool intermediates, const Ref<NSDictionary>& attributes, Ref<NSError>* error) const {
  const auto name = systemPath(path);
  if (!name) return failed(error, foundation::writeError(errno, path));
  int reason = 0;
  if (intermediates) {
    reason = createFolderWithParents(*name);
  } else if (mkdir(name->c_str(), newFolderPermissions) != 0) {
    reason = errno;
  }
  if (reason == 0 && attributes) reason = setAttributes(*name, *attributes);
  return reason == 0 || failed(error, foundation::writeError(reason, path));
}

bool NSFileManager::createFileAtPath_contents_attributes(const Ref<NSString>& path, const Ref<NSData>& contents,
                                                         const Ref<NSDictionary>& attributes) const {
  const auto name = systemPath(path);
  if (!name || !foundation::writeFile(*name, contents ? contents->view() : std::string_view(), false)) return false;
  return !attributes || setAttributes(*name, *attributes) == 0;
}

Ref<NSData> NSFileManager::contentsAtPath(const Ref<NSString>& path) const {
  return NSData::dataWithContentsOfFile(path);
}

bool NSFileManager::removeItemAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const {
  const auto name = systemPath(path);
  if (!name) return failed(error, foundation::writeError(errno, path));
  const auto failure = foundation::removeTree(*name);
  return !failure || failed(error, *failure);
}

bool NSFileManager::moveItemAtPath_toPath_error(const Ref<NSString>& source, const Ref<NSString>& destination,
                                                Ref<NSError>* error) const {
  const auto from = systemPath(source);
  if (!from) return failed(error, foundation::writeError(errno, source));
  const auto to = systemPath(destination);
  if (!to) return failed(error, foundation::writeError(errno, destination));
  const auto failure = foundation::moveTree(*from, *to);
  return !failure || failed(error, *failure);
}

bool NSFileManager::copyItemAtPath_toPath_error(const Ref<NSString>& source, const Ref<NSString>& destination,
                                                Ref<NSError>* error) const {
  const auto from = systemPath(source);
  if (!from) return failed(error, foundation::writeError(errno, source));
  const auto to = systemPath(destination);
  if (!to) return failed(error, foundation::writeError(errno, destination));
  const auto failure = foundation::copyTree(*from, *to);
  return !failure || failed(error, *failure);
}

Ref<NSArray> NSFileManager::contentsOfDirectoryAtURL_error(const Ref<NSURL>& url, Ref<NSError>* error) const {
  const auto names = contentsOfDirectoryAtPath_error(pathOf(url), error);
  if (!names) return nil;
  std::vector<id> urls;
  urls.reserve(names->count());
  for (const id& name : *names) {
    urls.push_back(NSURL::fileURLWithPath(pathOf(url)->stringByAppendingPathComponent(as<NSString>(name))));
  }
  return NSArray::arrayWithVector(std::move(urls));
}

bool NSFileManager::createDirectoryAtURL_withIntermediateDirectories_attributes_error(
    const Ref<NSURL>& url, bool intermediates, const Ref<NSDictionary>& attributes, Ref<NSError>* error) const {
  return createDirectoryAtPath_withIntermediateDirectories_attributes_error(pathOf(url), intermediates, attributes,
                                                                            error);
}

bool NSFileManager::removeItemAtURL_error(const Ref<NSURL>& url, Ref<NSError>* error) const {
  return removeItemAtPath_error(pathOf(url), error);
}

bool NSFileManager::moveItemAtURL_toURL_error(const Ref<NSURL>& source, const Ref<NSURL>& destination,
                                              Ref<NSError>* error) const {
  return moveItemAtPath_toPath_error(pathOf(source), pathOf(destination), error);
}

bool NSFileManager::copyItemAtURL_toURL_error(const Ref<NSURL>& source, const Ref<NSURL>& destination,
                                              Ref<NSError>* error) const {
  return copyItemAtPath_toPath_error(pathOf(source), pathOf(destination), error);
}

}  // namespace telvo
