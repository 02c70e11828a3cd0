#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "foundation/events/Checkpoint.h"
#include "foundation/runtime/NSObject.h"
#include "foundation/text/NSString.h"

TELVO_INTERNAL_NAMESPACE_BEGIN

class NSArray;
class NSDictionary;
class NSMutableArray;

namespace foundation {
class PropertyListArrayFile;
}

namespace streams {

// What this run and earlier ones have really sent, by its place on the server, kept in a cached-information file. The
// file has the form it always has (UploadRecord.h), but only what has arrived is in it. Main thread only.
//
// What is not sure is not claimed: while an item is being replaced, what is on the server is not known, so that the
// next run sends it again whatever its date says.
class SentItems {
 public:
  SentItems();
  SentItems(SentItems&&) noexcept;
  SentItems& operator=(SentItems&&) noexcept;
  ~SentItems();
  // What was read from the file; nil is nothing.
  SentItems(const Ref<NSArray>& content, const foundation::Checkpoint& checkpoint);

  // The plan's records that have not arrived in the state that they are in now, in the plan's order; also those that
  // are in doubt.
  using Doubt = std::function<bool(const NSDictionary& record)>;
  Ref<NSMutableArray> missingOf(const NSArray& plan, const foundation::Checkpoint& checkpoint,
                                const Doubt& isInDoubt = nullptr);
  // After that: the records of what was sent earlier and has no item of its kind in the plan.
  std::vector<Ref<NSDictionary>> leftOvers() const;
  // Whether something was sent to the record's place before.
  bool knowsPlaceOf(const NSDictionary& record) const { return find(record) != nothing; }

  // The item's place on the server is about to be written to.
  void willReplace(const NSDictionary& record);
  void didSend(const Ref<NSDictionary>& record);
  void didRemove(const NSDictionary& record);

  // Where save() writes to; nowhere at first.
  void setPath(const Ref<NSString>& path) { path_ = path; }
  // Writes the file, replacing it in one step, when something has changed since it was read or written. A failure is
  // tried again with the next call.
  void save();
  // The same, but not before twenty times as long has passed as it took the last time, so that an upload of very many
  // items is not held up where the disk is slow.
  void saveIfDue();

 private:
  struct Position {
    NSUInteger hash = 0;  // of the place on the server
    std::size_t index = 0;
  };
  static constexpr std::size_t nothing = static_cast<std::size_t>(-1);

  std::size_t find(const NSDictionary& record) const;
  bool isAt(std::size_t index, const NSString& remotePath) const;
  void set(std::size_t index, const Ref<NSDictionary>& record);

  Ref<NSString> path_;
  std::unique_ptr<foundation::PropertyListArrayFile> file_;  // at the path
  std::vector<Ref<NSDictionary>> records_;                   // nil where something was removed
  std::vector<Position> positions_;                          // of what was read, by hash
  std::vector<bool> isPlanned_;                              // of what was read
  mutable std::size_t next_ = 0;                             // a tree is mostly listed in the same order again
  bool isChanged_ = true;
  std::chrono::steady_clock::time_point dueTime_;  // of the next saveIfDue()
};

}  // namespace streams

TELVO_INTERNAL_NAMESPACE_END
