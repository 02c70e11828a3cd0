#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/collections/NSDictionary.h"
#include "foundation/files/FileIO.h"

inline namespace telvo {

class NSString;

namespace foundation {

// The saved settings of one application: a dictionary in a file that several processes read and change. Any thread.
class PreferencesFile {
 public:
  // The file is looked for anew whenever it is used, since the environment says where. An identifier that is empty or
  // could lead out of the folder has no file: it reads as nothing, and changes stay in memory.
  explicit PreferencesFile(const Ref<NSString>& identifier);

  // The content of the file with the changes of this object that it could not take; nil when there is neither.
  Ref<NSDictionary> content();

  // Sets a key, or removes it with nil, and writes the file unless it holds that value already. That it cannot be
  // written is logged, once until it can. Another process that keeps the file locked is waited for, half a second in
  // all until it gives the lock up.
  void change(const Ref<NSString>& key, const id& value);
  // Writes the changes that the file could not take. False when it cannot take them now.
  bool writeChanges();

 private:
  // What tells one state of the file from another.
  struct Version {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    bool operator==(const Version&) const = default;
  };
  enum class State { Missing, Good, Damaged, Unreadable };

  std::optional<std::string> path() const;
  State read(const std::string& path);
  bool writeChangesTo(const std::string& path);
  std::string problemOfWriting(const std::string& path);
  FileDescriptor lockedFor(const std::string& path);
  bool setAside(const std::string& path) const;
  static std::optional<Version> versionOf(const std::string& path);
  static bool isSettled(const Version& version);
  Ref<NSDictionary> changed(const Ref<NSDictionary>& dictionary) const;

  struct Change {
    Ref<NSString> key;
    id value;  // nil: removed
  };

  static constexpr std::chrono::milliseconds fullPatience{500};

  const Ref<NSString> identifier_;
  std::mutex mutex_;
  std::vector<Change> changes_;     // that are not in the file
  Ref<NSDictionary> saved_;         // what the file held at that version
  std::optional<Version> version_;  // nothing when the file is to be read again
  State state_ = State::Missing;
  std::optional<Version> reported_;                    // as damaged
  std::chrono::milliseconds patience_ = fullPatience;  // that is left for whoever keeps the lock
  bool isReportedUnwritable_ = false;
  bool hasTidiedUp_ = false;  // removed what processes have left that were killed while they wrote
};

}  // namespace foundation

}  // namespace telvo
