#include "streams/TelvoFTPData.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/events/Checkpoint.h"
#include "foundation/notifications/NSNotificationCenter.h"
#include "streams/TelvoFTPStreamData.h"

inline namespace telvo {

namespace {

// Making the plan of a large tree takes seconds, in which the run loop gets its turn each time after so long.
constexpr std::chrono::milliseconds longestWork(20);

Ref<NSString> textOrEmpty(const Ref<NSString>& text) { return text ? text : ""_ns; }

bool isEmpty(const Ref<NSString>& text) { return !text || text->length() == 0; }

// Finds equivalent objects (telvo_isEquivalentTo) without comparing each with each: two are equivalent when their
// folded descriptions are equal. The descriptions of a large cache are not kept, only their hashes.
class EquivalenceIndex {
 public:
  EquivalenceIndex(const Ref<NSArray>& objects, foundation::Checkpoint checkpoint)
      : objects_(objects), checkpoint_(std::move(checkpoint)) {}

  bool containsObjectEquivalentTo(const id& object) {
    const Ref<NSString> text = foldedDescription(object);
    // A tree is mostly listed in the same order again, so the one behind the last that was found comes first.
    if (next_ < objects_->count() && textAtNext()->isEqualToString(text)) {
      moveTo(next_ + 1);
      return true;
    }
    if (positions_.empty()) hashAll();
    const auto [first, last] =
        std::equal_range(positions_.begin(), positions_.end(), Position{text->hash(), 0}, hasLowerHash);
    const auto found = std::find_if(first, last, [&](const Position& each) { return matches(each.index, text); });
    if (found == last) return false;
    moveTo(found->index + 1);
    return true;
  }

 private:
  struct Position {
    NSUInteger hash = 0;
    NSUInteger index = 0;
  };

  static bool hasLowerHash(const Position& left, const Position& right) { return left.hash < right.hash; }
  static Ref<NSString> foldedDescription(const id& object) { return object->description()->foldedString(); }

  bool matches(NSUInteger index, const Ref<NSString>& text) const {
    return foldedDescription(objects_->objectAtIndex(index))->isEqualToString(text);
  }

  // Made once, however many objects are looked for until it is found.
  const Ref<NSString>& textAtNext() {
    if (!textAtNext_) textAtNext_ = foldedDescription(objects_->objectAtIndex(next_));
    return textAtNext_;
  }

  void moveTo(NSUInteger index) {
    next_ = index;
    textAtNext_ = nil;
  }

  // Put off until the order has changed for the first time.
  void hashAll() {
    positions_.reserve(objects_->count());
    for (NSUInteger index = 0; index < objects_->count() && checkpoint_(); ++index) {
      positions_.push_back({foldedDescription(objects_->objectAtIndex(index))->hash(), index});
    }
    std::sort(positions_.begin(), positions_.end(), hasLowerHash);
  }

  const Ref<NSArray> objects_;
  const foundation::Checkpoint checkpoint_;
  NSUInteger next_ = 0;
  Ref<NSString> textAtNext_;         // folded; nil when it has not been made yet
  std::vector<Position> positions_;  // by hash
};

}  // namespace

const Ref<NSString>& TelvoFTPDataProgressNotification() { return "TelvoFTPDataProgressNotification"_ns; }

Class TelvoFTPData::classObject() {
  static const NSClass object("TelvoFTPData", NSObject::classObject(),
                              {
                                  method("streamDataEnded:"_sel, &TelvoFTPData::streamDataEnded),
                                  method("stop"_sel, &TelvoFTPData::stop),
                                  method("currentInfo"_sel, &TelvoFTPData::currentInfo),
                                  method("count"_sel, &TelvoFTPData::count),
                                  method("isMore"_sel, &TelvoFTPData::isMore),
                                  method("index"_sel, &TelvoFTPData::index),
                                  method("isWorking"_sel, &TelvoFTPData::isWorking),
                                  method("setWorking:"_sel, &TelvoFTPData::setWorking),
                                  method("cachedInfo"_sel, &TelvoFTPData::cachedInfo),
                                  method("setCachedInfo:"_sel, &TelvoFTPData::setCachedInfo),
                              });
  return &object;
}

TelvoFTPData::TelvoFTPData() = default;
TelvoFTPData::~TelvoFTPData() = default;

Ref<TelvoFTPData> TelvoFTPData::ftpData() { return make<TelvoFTPData>(); }

void TelvoFTPData::setCachedInfo(const Ref<NSArray>& cachedInfo) { cachedInfo_ = cachedInfo; }
void TelvoFTPData::setHost(const Ref<NSString>& host) { host_ = host; }
void TelvoFTPData::setUsername(const Ref<NSString>& username) { username_ = username; }
void TelvoFTPData::setPassword(const Ref<NSString>& password) { password_ = password; }
void TelvoFTPData::setStreamData(const Ref<TelvoUploadFTPStreamData>& stream) { streamData_ = stream; }
void TelvoFTPData::setUploadInfo(const Ref<NSMutableArray>& uploadInfo) { uploadInfo_ = uploadInfo; }

void TelvoFTPData::uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(
    const Ref<NSString>& localPath, const Ref<NSString>& host, const Ref<NSString>& directory,
    const Ref<NSString>& username, const Ref<NSString>& password, const Ref<NSString>& cachedInfoPath, bool) {
  const id keptAlive = self();
  resetIndex();
  setWorking(true);
  stopped_ = false;
  setUploadInfo(NSMutableArray::array());
  setHost(host);
  setUsername(username);
  setPassword(password);
  lastTurn_ = std::chrono::steady_clock::now();
  makePlan(localPath, directory, cachedInfoPath);
  // What was stopped before its first item has nothing to send.
  if (isAbandoned()) setUploadInfo(NSMutableArray::array());
  if (count() > 0) {
    sendItems();
  } else {
    streamDataEnded(nil);
  }
}

void TelvoFTPData::makePlan(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory,
                            const Ref<NSString>& cachedInfoPath) {
  const auto checkpoint = [this] { return goesOn(); };
  const bool hasCache = !isEmpty(cachedInfoPath);
  // Records are compared by their descriptions, so that a file made to have endless ones is no cache.
  constexpr auto unfolding = foundation::PropertyListUnfolding::InProportion;
  if (hasCache) {
    setCachedInfo(as<NSArray>(foundation::propertyListWithContentsOfFile(cachedInfoPath, checkpoint, unfolding)));
  }
  scan(localPath, remoteDirectory);
  filterUploadInfoUsingCachedInfo();
  if (hasCache && !isAbandoned()) writeCachedInfo(cachedInfoPath);
}

void TelvoFTPData::scan(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory) {
  recursivelyScanLocalPath_forRemoteDirectory(localPath, remoteDirectory);
}

// Written whatever becomes of the upload, on purpose: what fails is recorded as if it had been sent. In place, so that
// links and permissions of the owner's file stay; a failure is ignored.
void TelvoFTPData::writeCachedInfo(const Ref<NSString>& path) {
  foundation::writePropertyList(cachedInfo(), path, false, [this] { return goesOn(); });
}

// An item without a host has no end that could be reported, so that such a job is not moved by a stop.
bool TelvoFTPData::isAbandoned() const { return stopped_ && !isEmpty(host_); }

bool TelvoFTPData::goesOn() {
  if (std::chrono::steady_clock::now() - lastTurn_ >= longestWork) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), nil);
    lastTurn_ = std::chrono::steady_clock::now();
  }
  return !isAbandoned();
}

void TelvoFTPData::stop() {
  stopped_ = true;
  setWorking(false);
  if (streamData_) streamData_->disconnect();
}

Ref<NSDictionary> TelvoFTPData::currentInfo() const {
  if (index() >= count()) return nil;
  const auto record = as<NSDictionary>(uploadInfo_->objectAtIndex(index()));
  return NSDictionary::dictionary(
      {{"LocalPath"_ns, textOrEmpty(as<NSString>(record->objectForKey("LocalPath"_ns)))},
       {"RemoteDirectory"_ns, textOrEmpty(as<NSString>(record->objectForKey("RemoteDirectory"_ns)))},
       {"Nth"_ns, NSNumber::numberWithUnsignedInteger(index() + 1)},
       {"Total"_ns, NSNumber::numberWithUnsignedInteger(count())},
       {"Percent"_ns, NSNumber::numberWithUnsignedInteger((index() + 1) * 100 / count())},
       {"IsMore"_ns, NSNumber::numberWithBool(isMore())}});
}

NSUInteger TelvoFTPData::count() const { return uploadInfo_ ? uploadInfo_->count() : 0; }

bool TelvoFTPData::isMore() const { return isWorking() && index() + 1 < count(); }

// Each item is started after the report of the one before has returned, so that the stack stays flat however many
// there are. Between them the run loop has its turn: items whose names no URL can hold end without one, and a stop must
// be heard all the same. The item that is due then is reported without having been begun.
void TelvoFTPData::sendItems() {
  itemDue_ = true;
  while (std::exchange(itemDue_, false)) {
    if (goesOn()) waitForFile();
    if (isAbandoned()) return streamDataEnded(nil);
    uploadNextPath();
  }
}

// The stream does not wait for a program that has a lease on the file and would be told to give it up.
void TelvoFTPData::waitForFile() {
  const auto record = as<NSDictionary>(uploadInfo_->objectAtIndex(index()));
  foundation::waitForLease(as<NSString>(record->objectForKey("LocalPath"_ns)), [this] { return goesOn(); });
}

void TelvoFTPData::uploadNextPath() {
  const auto stream = TelvoUploadFTPStreamData::streamData();
  setStreamData(stream);
  sendItem(stream);
  // The job owns its stream and the stream its delegate, the job. The stream has reported all it ever will, so the
  // circle is broken here.
  stream->setDelegate(nil);
}

void TelvoFTPData::sendItem(const Ref<TelvoUploadFTPStreamData>& stream) {
  const auto info = currentInfo();
  stream->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
      as<NSString>(info->objectForKey("LocalPath"_ns)), host(), as<NSString>(info->objectForKey("RemoteDirectory"_ns)),
      textOrEmpty(username()), textOrEmpty(password()), self(), true);
}

void TelvoFTPData::streamDataEnded(const id&) {
  NSNotificationCenter::defaultCenter()->postNotificationName_object_userInfo(TelvoFTPDataProgressNotification(),
                                                                              self(), currentInfo());
  const bool more = isMore();
  moveOn();
  if (more) {
    itemDue_ = true;
  } else {
    setWorking(false);
  }
}

void TelvoFTPData::moveOn() { incrementIndex(); }

bool TelvoFTPData::isLeftOut(const Ref<NSString>&) const { return false; }

void TelvoFTPData::couldNotList(const Ref<NSString>&, int) {}

// Recursive by its name and by the order that it gives, but not by its calls: a tree may be deeper than the stack of
// the thread. A job without a plan has nothing to append to.
void TelvoFTPData::recursivelyScanLocalPath_forRemoteDirectory(const Ref<NSString>& localPath,
                                                               const Ref<NSString>& remoteDirectory) {
  if (!uploadInfo_) return;
  // The folders on the way down to the present one, each with the entries that are still to be visited.
  struct Folder {
    Ref<NSString> path;
    Ref<NSString> remoteDirectory;  // of the contents
    Ref<NSArray> entries;
    NSUInteger next = 0;
  };
  std::vector<Folder> folders;
  const auto visit = [&](const Ref<NSString>& path, const Ref<NSString>& remote) {
    if (isLeftOut(path) || !appendRecord(path, remote)) return;
    const auto entries = foundation::contentsOfDirectory(path, [this] { return goesOn(); });
    if (!entries) return couldNotList(path, errno);
    const Ref<NSString> below = remote ? remote : ""_ns;
    folders.push_back({path, below->stringByAppendingPathComponent(path->lastPathComponent()), entries});
  };
  visit(localPath, remoteDirectory);
  while (!folders.empty() && goesOn()) {
    Folder& folder = folders.back();
    if (folder.next == folder.entries->count()) {
      folders.pop_back();
      continue;
    }
    const auto name = as<NSString>(folder.entries->objectAtIndex(folder.next++));
    visit(folder.path->stringByAppendingPathComponent(name), Ref<NSString>(folder.remoteDirectory));
  }
}

bool TelvoFTPData::appendRecord(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory) {
  const auto& files = NSFileManager::defaultManager();
  const bool isDirectory = telvo_isDirectoryAtPath(files, localPath);
  constexpr NSUInteger keys = 4;
  const auto record = NSMutableDictionary::dictionaryWithCapacity(keys);
  if (localPath) record->setObject_forKey(localPath, "LocalPath"_ns);
  if (remoteDirectory) record->setObject_forKey(remoteDirectory, "RemoteDirectory"_ns);
  record->setObject_forKey(NSNumber::numberWithBool(isDirectory), "IsDirectory"_ns);
  const Ref<NSDate> date = isDirectory ? Ref<NSDate>() : telvo_fileModificationDateAtPath(files, localPath);
  if (date) record->setObject_forKey(date, "ModificationDate"_ns);
  uploadInfo_->addObject(record);
  return isDirectory;
}

void TelvoFTPData::filterUploadInfoUsingCachedInfo() {
  const Ref<NSMutableArray> plan = uploadInfo_;
  Ref<NSMutableArray> kept;
  if (cachedInfo_) {
    kept = NSMutableArray::array();
    EquivalenceIndex cache(cachedInfo_, [this] { return goesOn(); });
    for (NSUInteger index = 0; plan && index < plan->count(); ++index) {
      if (!goesOn()) return;
      const id record = plan->objectAtIndex(index);
      if (!cache.containsObjectEquivalentTo(record)) kept->addObject(record);
    }
  }
  setCachedInfo(plan);
  if (kept) setUploadInfo(kept);
}

}  // namespace telvo
