#include "streams/TelvoTrackedFTPData.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/notifications/NSNotificationCenter.h"
#include "foundation/runtime/WeakRef.h"
#include "streams/RemovalPlan.h"
#include "streams/TelvoFTPStreamData.h"
#include "streams/TemporaryName.h"
#include "streams/UploadRecord.h"

using streams::ItemOutcome;
using streams::TemporaryNames;
using Result = streams::ItemOutcome::Result;

namespace {

// What has arrived in between may be sent once more after a crash.
constexpr NSTimeInterval saveInterval = 2;
// The renaming costs two round trips, which a file that is on its way longer than that does not feel.
constexpr NSInteger largeFile = 512000;

Ref<NSString> textOrEmpty(const Ref<NSString>& text) { return text ? text : ""_ns; }

Ref<NSString> withoutTrailingSlashes(Ref<NSString> path) {
  while (path->length() > 1 && path->hasSuffix("/"_ns)) path = path->substringToIndex(path->length() - 1);
  return path;
}

Ref<NSNumber> yes() { return NSNumber::numberWithBool(true); }

// Of the file that a link leads to, since that is what is sent.
NSInteger sizeOfFile(const NSDictionary& record) {
  struct stat status {};
  const std::string path = streams::localPathOf(record)->fileSystemRepresentation();
  if (streams::isDirectory(record) || streams::isRemoval(record) || ::stat(path.c_str(), &status) != 0) return 0;
  return status.st_size;
}

ItemOutcome failureWithText(const Ref<NSString>& text) { return ItemOutcome::failure(text); }

}  // namespace

Class TelvoTrackedFTPData::classObject() {
  static const NSClass object(
      "TelvoTrackedFTPData", TelvoFTPData::classObject(),
      {
          method("streamData:errorOccurred:"_sel, &TelvoTrackedFTPData::streamData_errorOccurred),
          method("streamDataConnectionTerminated:"_sel, &TelvoTrackedFTPData::streamDataConnectionTerminated),
          method("streamData:uploadedBytes:"_sel, &TelvoTrackedFTPData::streamData_uploadedBytes),
      });
  return &object;
}

TelvoTrackedFTPData::TelvoTrackedFTPData(streams::UploadOptions options)
    : _options(std::move(options)), _retries(_options.attempts) {
  if (_options.bytesPerSecond > 0) _rateLimit = std::make_shared<streams::RateLimit>(_options.bytesPerSecond);
}

TelvoTrackedFTPData::~TelvoTrackedFTPData() {
  if (_saving) _saving->invalidate();
}

Ref<TelvoTrackedFTPData> TelvoTrackedFTPData::ftpDataWithOptions(const streams::UploadOptions& options) {
  return make<TelvoTrackedFTPData>(options);
}

Ref<NSDictionary> TelvoTrackedFTPData::record() const {
  return index() < count() ? as<NSDictionary>(uploadInfo()->objectAtIndex(index())) : Ref<NSDictionary>();
}

// ---- The plan ----

void TelvoTrackedFTPData::scan(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory) {
  _sourcePath = withoutTrailingSlashes(textOrEmpty(localPath));
  const auto& files = NSFileManager::defaultManager();
  if (!_options.contentsOnly || !telvo_isDirectoryAtPath(files, localPath)) {
    return TelvoFTPData::scan(localPath, remoteDirectory);
  }
  const auto names = files->contentsOfDirectoryAtPath_error(localPath, nullptr);
  if (!names) return;
  for (const id& name : *names) {
    if (!goesOn()) return;
    TelvoFTPData::scan(localPath->stringByAppendingPathComponent(as<NSString>(name)), remoteDirectory);
  }
}

bool TelvoTrackedFTPData::isLeftOut(const Ref<NSString>& localPath) const {
  if (_options.excluded.isEmpty() || !localPath) return false;
  // The source itself is what was asked for.
  if (localPath->length() <= _sourcePath->length()) return false;
  return _options.excluded.excludeItem(localPath->substringFromIndex(_sourcePath->length()),
                                       telvo_isDirectoryAtPath(NSFileManager::defaultManager(), localPath));
}

void TelvoTrackedFTPData::filterUploadInfoUsingCachedInfo() {
  _sentItems = streams::SentItems(cachedInfo(), [this] { return goesOn(); });
  if (_options.remembersSentOnly) {
    planWithRemovals();
  } else {
    TelvoFTPData::filterUploadInfoUsingCachedInfo();
  }
  if (_options.reportsBytes) expectBytes();
}

// What is removed comes first, since something else may take its place.
void TelvoTrackedFTPData::planWithRemovals() {
  const Ref<NSArray> complete = uploadInfo();
  const auto missing = _sentItems.missingOf(*complete, [this] { return goesOn(); });
  if (isAbandoned()) return;
  const auto plan = NSMutableArray::array();
  if (_options.deletesMissing && (_options.allowsEmptySource || streams::hasContents(_sourcePath))) {
    for (const auto& removal : streams::removals(_sentItems.leftOvers(), _sourcePath, _options.excluded)) {
      plan->addObject(removal);
    }
  }
  plan->addObjectsFromArray(missing);
  setCachedInfo(complete);
  setUploadInfo(plan);
}

// What has arrived is not known yet; until then the file stays.
void TelvoTrackedFTPData::writeCachedInfo(const Ref<NSString>& path) {
  if (_options.isDryRun) return;
  if (!_options.remembersSentOnly) return TelvoFTPData::writeCachedInfo(path);
  _sentItems.setPath(path);
}

void TelvoTrackedFTPData::expectBytes() {
  NSInteger total = 0;
  for (const id& record : *uploadInfo()) {
    if (!goesOn()) return;
    total += sizeOfFile(*as<NSDictionary>(record));
  }
  _bytes.expect(total);
}

// ---- The run ----

void TelvoTrackedFTPData::sendItems() {
  if (_options.isDryRun) return tellPlan();
  keepSaving();
  _isHostUsable = isHostUsable();
  makeRemoteDirectory();
  TelvoFTPData::sendItems();
}

// Each record is told as if its item had been sent.
void TelvoTrackedFTPData::tellPlan() {
  while (isWorking() && goesOn()) TelvoFTPData::streamDataEnded(nil);
}

// Also while one large item is on its way, since those before it may not have been saved.
void TelvoTrackedFTPData::keepSaving() {
  _saving = NSTimer::scheduledTimerWithTimeInterval_repeats_block(
      saveInterval, true, [weak = WeakRef<TelvoTrackedFTPData>(Ref<TelvoTrackedFTPData>(this))](const Ref<NSTimer>&) {
        if (const auto job = weak.lock()) job->_sentItems.saveIfDue();
      });
}

// Level by level, without a word: what goes wrong is told by the items that are to go there. Where a level exists
// already, nothing is wrong.
void TelvoTrackedFTPData::makeRemoteDirectory() {
  _remoteDirectoryOutcome = {};
  Ref<NSString> parent = "/"_ns;
  const auto components = _options.remoteDirectory->pathComponents();
  for (const id& component : *components) {
    const auto name = as<NSString>(component);
    if (name->isEqualToString("/"_ns)) continue;
    if (!isWorking() || !_isHostUsable || _remoteDirectoryOutcome.error) return;
    _makesRemoteDirectory = true;
    const auto stream = TelvoUploadFTPStreamData::streamData();
    setStreamData(stream);
    run(*stream, {{"Name"_ns, name}, {"Directory"_ns, parent}, {"Action"_ns, "MakeFolder"_ns}});
    _makesRemoteDirectory = false;
    parent = parent->stringByAppendingPathComponent(name);
  }
}

void TelvoTrackedFTPData::run(TelvoUploadFTPStreamData& stream, const std::vector<NSDictionary::Entry>& item) {
  const auto parameters = NSMutableDictionary::dictionary({{"Host"_ns, host()},
                                                           {"Username"_ns, textOrEmpty(username())},
                                                           {"Password"_ns, textOrEmpty(password())},
                                                           {"UseSameThread"_ns, yes()}});
  if (_options.escapesNames) parameters->setObject_forKey(yes(), "EscapeNames"_ns);
  for (const auto& [key, value] : item) parameters->setObject_forKey(value, key);
  stream.setRateLimit(_rateLimit);
  stream.setDelegate(self());
  stream.connectWithParameters(parameters);
  // The circle of the job, its stream and the stream's delegate is broken here.
  stream.setDelegate(nil);
}

void TelvoTrackedFTPData::sendItem(const Ref<TelvoUploadFTPStreamData>& stream) {
  waitForRetry();
  if (!isWorking() && _isThrough) {
    _outcome = failureWithText("The upload was stopped."_ns);
  } else if (!_isHostUsable) {
    _outcome = failureWithText("There is no host of that name."_ns);
    _outcome.endsRun = true;
  } else if (_remoteDirectoryOutcome.endsRun) {
    _outcome = _remoteDirectoryOutcome;
  }
  if (!isWorking() || _outcome.error) return streamDataEnded(nil);
  _outcome = failureWithText(nil);
  if (_options.reportsBytes) _bytes.beginItem(sizeOfFile(*record()));
  const auto temporary = temporaryName();
  if (!temporary) _sentItems.willReplace(*record());
  run(*stream, parametersOfItem(temporary));
}

std::vector<NSDictionary::Entry> TelvoTrackedFTPData::parametersOfItem(const Ref<NSString>& temporaryName) const {
  const auto item = record();
  const auto path = streams::localPathOf(*item);
  std::vector<NSDictionary::Entry> parameters{
      {"Path"_ns, path}, {"Name"_ns, path->lastPathComponent()}, {"Directory"_ns, streams::remoteDirectoryOf(*item)}};
  if (streams::isRemoval(*item)) {
    parameters.emplace_back("Action"_ns, streams::isDirectory(*item) ? "RemoveFolder"_ns : "RemoveFile"_ns);
  } else if (streams::isDirectory(*item)) {
    parameters.emplace_back("Action"_ns, "MakeFolder"_ns);
  } else if (temporaryName) {
    parameters.emplace_back("TemporaryName"_ns, temporaryName);
  }
  return parameters;
}

Ref<NSString> TelvoTrackedFTPData::temporaryName() const {
  const auto item = record();
  if (streams::isDirectory(*item) || streams::isRemoval(*item)) return nil;
  const bool isWanted = _options.temporaryNames == TemporaryNames::Always ||
                        (_options.temporaryNames == TemporaryNames::Large && sizeOfFile(*item) > largeFile);
  return isWanted ? streams::temporaryName(streams::localPathOf(*item)->lastPathComponent()) : Ref<NSString>();
}

// Text that no URL can hold as its host names nobody.
bool TelvoTrackedFTPData::isHostUsable() const {
  if (!host() || host()->length() == 0) return false;
  const auto url = NSURL::URLWithString(NSString::stringWithFormat("ftp://%@/"_ns, host()));
  return url && url->host() && url->host()->length() > 0;
}

// The pause before a round of further tries. A stop ends it.
void TelvoTrackedFTPData::waitForRetry() {
  if (_retries.pause() <= 0) return;
  const auto end = NSDate::dateWithTimeIntervalSinceNow(_retries.pause());
  while (isWorking() && end->timeIntervalSinceNow() > 0) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), end);
  }
  if (isWorking() && _remoteDirectoryOutcome.error) makeRemoteDirectory();
}

// ---- What the connection tells ----

void TelvoTrackedFTPData::streamData_errorOccurred(const id& stream, const id& error) {
  ItemOutcome& outcome = _makesRemoteDirectory ? _remoteDirectoryOutcome : _outcome;
  // The text that a write has failed comes first, and says less than the error that follows it.
  const auto connection = as<TelvoUploadFTPStreamData>(stream);
  const bool isOfReading = connection && connection->readError();
  outcome = ItemOutcome::failure(isOfReading ? id(connection->readError()) : error);
}

void TelvoTrackedFTPData::streamDataConnectionTerminated(const id&) {
  if (_makesRemoteDirectory || _outcome.error) return;
  _outcome.result = streams::isRemoval(*record()) ? Result::Removed : Result::Sent;
}

void TelvoTrackedFTPData::streamData_uploadedBytes(const id&, const Ref<NSNumber>& bytes) {
  const bool isFile = !_makesRemoteDirectory && !streams::isDirectory(*record()) && !streams::isRemoval(*record());
  if (!_options.reportsBytes || !isFile) return;
  _bytes.sent(bytes->integerValue());
  if (!_bytes.isDue()) return;
  const auto number = [](NSInteger value) { return NSNumber::numberWithInteger(value); };
  NSNotificationCenter::defaultCenter()->postNotificationName_object_userInfo(
      "TelvoFTPDataBytesNotification"_ns, self(),
      NSDictionary::dictionary({{"LocalPath"_ns, streams::localPathOf(*record())},
                                {"Nth"_ns, number(static_cast<NSInteger>(index() + 1))},
                                {"BytesSent"_ns, number(_bytes.itemSent())},
                                {"BytesTotal"_ns, number(_bytes.itemTotal())},
                                {"RunBytesSent"_ns, number(_bytes.runSent())},
                                {"RunBytesTotal"_ns, number(_bytes.runTotal())}}));
}

void TelvoTrackedFTPData::streamDataEnded(const id& stream) {
  if (_makesRemoteDirectory) return;
  if (record()) settle();
  // Before the owner hears that all is over.
  if (!isMore()) endSaving();
  TelvoFTPData::streamDataEnded(stream);
}

// Notes what has become of the item that is over.
void TelvoTrackedFTPData::settle() {
  const auto item = record();
  if (_outcome.result == Result::Failed && !_outcome.error) {
    _outcome.error = isWorking() ? "The name cannot be sent."_ns : "The upload was stopped."_ns;
  }
  if (_outcome.result == Result::Sent) _sentItems.didSend(item);
  if (_outcome.result == Result::Removed) _sentItems.didRemove(*item);
  _aborted = _outcome.endsRun && _options.reportsOutcomes;
  _willRetry = isWorking() && !_aborted && _retries.mayRetry() && isWorthRetrying();
  if (_willRetry) _retries.add(index());
  _bytes.endItem(_willRetry);
}

bool TelvoTrackedFTPData::isWorthRetrying() const {
  if (_outcome.result != Result::Failed) return false;
  return _outcome.isPassing || _remoteDirectoryOutcome.isPassing || isInFailedFolder();
}

// What goes into a folder that could not be made yet cannot be sent before it.
bool TelvoTrackedFTPData::isInFailedFolder() const {
  const auto directory = streams::remoteDirectoryOf(*record())->stringByAppendingString("/"_ns);
  const auto& failed = _retries.failed();
  return std::any_of(failed.begin(), failed.end(), [&](NSUInteger each) {
    const auto item = as<NSDictionary>(uploadInfo()->objectAtIndex(each));
    return streams::isDirectory(*item) && !streams::isRemoval(*item) &&
           directory->hasPrefix(streams::remotePathOf(*item)->stringByAppendingString("/"_ns));
  });
}

bool TelvoTrackedFTPData::isMore() const {
  if (!isWorking() || _aborted || index() >= count()) return false;
  return (!_isThrough && index() + 1 < count()) || !_retries.isEmpty();
}

void TelvoTrackedFTPData::moveOn() {
  const bool isLast = !isMore();
  _outcome = {};
  _willRetry = false;
  _isThrough = _isThrough || index() + 1 >= count();
  if (isLast || !_isThrough) return incrementIndex();
  setIndex(_retries.takeNext());
}

void TelvoTrackedFTPData::stop() {
  TelvoFTPData::stop();
  _sentItems.save();
}

void TelvoTrackedFTPData::endSaving() {
  if (_saving) _saving->invalidate();
  _saving = nil;
  _sentItems.save();
}

// ---- The records ----

Ref<NSDictionary> TelvoTrackedFTPData::currentInfo() const {
  const auto usual = TelvoFTPData::currentInfo();
  if (!usual) return nil;
  const auto info = NSMutableDictionary::dictionaryWithDictionary(usual);
  if (streams::isRemoval(*record())) info->setObject_forKey(yes(), "IsRemoval"_ns);
  if (_options.isDryRun) {
    info->setObject_forKey("planned"_ns, "Outcome"_ns);
    info->setObject_forKey(reason(), "Reason"_ns);
  } else if (_options.reportsOutcomes) {
    addOutcome(*info);
  }
  return info;
}

void TelvoTrackedFTPData::addOutcome(NSMutableDictionary& info) const {
  info.setObject_forKey(_outcome.name(), "Outcome"_ns);
  if (!_outcome.hasArrived()) {
    info.setObject_forKey(textOrEmpty(_outcome.error), "Error"_ns);
    info.setObject_forKey(NSNumber::numberWithInteger(_outcome.replyCode), "ErrorCode"_ns);
  }
  if (_willRetry) info.setObject_forKey(yes(), "WillRetry"_ns);
  if (_aborted) info.setObject_forKey(yes(), "Aborted"_ns);
}

Ref<NSString> TelvoTrackedFTPData::reason() const {
  if (streams::isRemoval(*record())) return "gone"_ns;
  return _sentItems.knowsPlaceOf(*record()) ? "changed"_ns : "new"_ns;
}
