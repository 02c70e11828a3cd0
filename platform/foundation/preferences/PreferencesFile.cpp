#include "foundation/preferences/PreferencesFile.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/coding/NSPropertyList.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSLog.h"
#include "foundation/files/FileIO.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSPathUtilities.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

constexpr unsigned privateFile = 0600;

std::string preferencesFolder() {
  // The desktop convention is that a relative folder does not count.
  const char* configured = std::getenv("XDG_CONFIG_HOME");
  const bool usable = configured && *configured == '/';
  return (usable ? std::string(configured) : NSHomeDirectory()->fileSystemRepresentation() + "/.config") +
         "/preferences";
}

bool createFolder(const std::string& folder) {
  constexpr int privateFolder = 0700;
  const auto attributes =
      NSDictionary::dictionary({{NSFilePosixPermissions(), NSNumber::numberWithInteger(privateFolder)}});
  const auto path = NSString::stringWithUTF8String(folder);
  const auto& files = NSFileManager::defaultManager();
  return files->fileExistsAtPath(path) ||
         files->createDirectoryAtPath_withIntermediateDirectories_attributes_error(path, true, attributes, nullptr);
}

Ref<NSData> serialized(const Ref<NSDictionary>& content, NSPropertyListFormat format) {
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(content, format, 0, nullptr);
}

id propertyListFrom(const Ref<NSData>& data) {
  return NSPropertyListSerialization::propertyListWithData_options_format_error(data, NSPropertyListImmutable, nullptr,
                                                                                nullptr);
}

// XML, for people who look into the file; binary when it holds something that XML would lose, such as the fraction of a
// second or a control character.
Ref<NSData> fileFrom(const Ref<NSDictionary>& content) {
  auto xml = serialized(content, NSPropertyListXMLFormat_v1_0);
  return NSEqualObjects(propertyListFrom(xml), content) ? xml : serialized(content, NSPropertyListBinaryFormat_v1_0);
}

// The file that every process locks before it changes the preferences; beside them, since they are replaced.
std::string lockBeside(const std::string& path) {
  const std::size_t name = path.rfind('/') + 1;
  constexpr std::size_t extension = std::string_view(".plist").size();
  return path.substr(0, name) + "." + path.substr(name, path.size() - name - extension) + ".lock";
}

// Whether a value is kept already as it is, and not only as one that is equal: true is not 1.
bool isSame(const id& left, const id& right) {
  if (!left || !right) return left == right;
  const auto key = "value"_ns;
  const auto bytes = [&](const id& value) {
    return serialized(NSDictionary::dictionary({{key, value}}), NSPropertyListBinaryFormat_v1_0);
  };
  return NSEqualObjects(bytes(left), bytes(right));
}

}  // namespace

namespace foundation {

PreferencesFile::PreferencesFile(const Ref<NSString>& identifier) : identifier_(identifier) {}

Ref<NSDictionary> PreferencesFile::content() {
  const std::lock_guard guard(mutex_);
  if (const auto file = path()) read(*file);
  return changed(saved_);
}

void PreferencesFile::change(const Ref<NSString>& key, const id& value) {
  const std::lock_guard guard(mutex_);
  const auto file = path();
  if (file) read(*file);
  if (changes_.empty() && isSame(saved_ ? saved_->objectForKey(key) : nil, value)) return;
  std::erase_if(changes_, [&](const Change& change) { return change.key->isEqualToString(key); });
  changes_.push_back({key, value});
  if (file) writeChangesTo(*file);
}

bool PreferencesFile::writeChanges() {
  const std::lock_guard guard(mutex_);
  if (changes_.empty()) return true;
  const auto file = path();
  return file && writeChangesTo(*file);
}

std::optional<std::string> PreferencesFile::path() const {
  const auto name = systemPath(identifier_);
  if (!name || name->empty() || name->find('/') != std::string::npos) return std::nullopt;
  return preferencesFolder() + "/" + *name + ".plist";
}

std::optional<PreferencesFile::Version> PreferencesFile::versionOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return Version{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

// File systems take the time from a clock of some milliseconds, and give the number of a replaced file to the next new
// one: what has just changed may change again and look the same.
bool PreferencesFile::isSettled(const Version& version) {
  constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
  constexpr std::int64_t longestTick = nanosecondsPerSecond / 10;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t seconds = std::clamp<std::int64_t>(now.tv_sec - version.seconds, -2, 2);
  return seconds * nanosecondsPerSecond + now.tv_nsec - version.nanoseconds > longestTick;
}

PreferencesFile::State PreferencesFile::read(const std::string& path) {
  const auto version = versionOf(path);
  if (version && version == version_) return state_;
  version_ = version && isSettled(*version) ? version : std::nullopt;
  saved_ = nil;
  const auto bytes = contentsOfFile(path);
  if (!bytes) return state_ = errno == ENOENT || errno == ENOTDIR ? State::Missing : State::Unreadable;
  saved_ = as<NSDictionary>(propertyListFrom(NSData::dataWithBytes(*bytes)));
  if (saved_) return state_ = State::Good;
  if (!version || version != reported_) {
    NSLog("The preferences in %@ are damaged and are not used."_ns, NSString::stringWithUTF8String(path));
  }
  reported_ = version;
  return state_ = State::Damaged;
}

bool PreferencesFile::writeChangesTo(const std::string& path) {
  const std::string problem = problemOfWriting(path);
  if (problem.empty()) {
    changes_.clear();
    isReportedUnwritable_ = false;
    return true;
  }
  if (!isReportedUnwritable_) {
    NSLog("The preferences in %@ cannot be written: %@."_ns, NSString::stringWithUTF8String(path),
          NSString::stringWithUTF8String(problem));
  }
  isReportedUnwritable_ = true;
  return false;
}

// Empty when everything is in the file.
std::string PreferencesFile::problemOfWriting(const std::string& path) {
  const std::string folder = preferencesFolder();
  if (!createFolder(folder)) return "their folder cannot be made";
  const FileDescriptor lock = lockedFor(path);
  if (!lock) return errno == EWOULDBLOCK ? "another process keeps them locked" : std::strerror(errno);
  if (!std::exchange(hasTidiedUp_, true)) removeStaleTemporaryFiles(folder);
  version_.reset();  // whatever it looks like from outside, the file is read again before it is replaced
  const State state = read(path);
  if (state == State::Unreadable) return std::strerror(errno);
  if (state == State::Damaged && !setAside(path)) return "they are damaged and cannot be moved";
  const Ref<NSDictionary> content = changed(saved_);
  const auto file = fileFrom(content);
  if (!file) return "they are no property list";
  if (!writeFile(path, file->view(), true, privateFile)) return std::strerror(errno);
  saved_ = content;
  state_ = State::Good;
  return {};
}

// Free again when it is closed. Nothing, with errno set, when somebody else keeps it: a process that was halted must
// not halt the others, neither for long nor for each key anew.
FileDescriptor PreferencesFile::lockedFor(const std::string& path) {
  constexpr auto pause = std::chrono::milliseconds(5);
  FileDescriptor lock = openFile(lockBeside(path), O_RDWR | O_CREAT, privateFile);
  auto seen = versionOf(path);
  while (lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK || patience_ <= patience_.zero()) return FileDescriptor();
    // Many who write are not one who is halted.
    if (const auto now = versionOf(path); now != seen) {
      seen = now;
      patience_ = fullPatience;
    }
    const auto begin = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(pause);
    patience_ -= std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
  }
  if (lock) patience_ = fullPatience;
  return lock;
}

bool PreferencesFile::setAside(const std::string& path) const {
  const auto damaged = NSString::stringWithUTF8String(path);
  const auto name = damaged->stringByDeletingPathExtension();
  constexpr int attempts = 1000;
  for (int number = 1; number <= attempts; ++number) {
    const auto other = name->stringByAppendingFormat(" damaged %d.plist"_ns, number);
    if (!NSFileManager::defaultManager()->moveItemAtPath_toPath_error(damaged, other, nullptr)) continue;
    NSLog("The damaged preferences %@ were kept as %@."_ns, damaged, other);
    return true;
  }
  return false;
}

Ref<NSDictionary> PreferencesFile::changed(const Ref<NSDictionary>& dictionary) const {
  if (changes_.empty()) return dictionary;
  const auto result = NSMutableDictionary::dictionaryWithDictionary(dictionary);
  for (const Change& change : changes_) {
    if (change.value) {
      result->setObject_forKey(change.value, change.key);
    } else {
      result->removeObjectForKey(change.key);
    }
  }
  return as<NSDictionary>(result->copy());
}

}  // namespace foundation

}  // namespace telvo
