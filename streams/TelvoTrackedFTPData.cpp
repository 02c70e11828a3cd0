#include "streams/TelvoTrackedFTPData.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/stat.h>

#include "categories/NSFileManager+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/notifications/NSNotificationCenter.h"
#include "foundation/runtime/WeakRef.h"
#include "streams/RemovalPlan.h"
#include "streams/RunIdentity.h"
#include "streams/TelvoFTPStreamData.h"
#include "streams/TemporaryName.h"
#include "streams/UploadRecord.h"

inline namespace telvo {

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

const Ref<NSString>& TelvoFTPDataBytesNotification() { return "TelvoFTPDataBytesNotification"_ns; }

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
    : options_(std::move(options)), retries_(options_.attempts) {
  if (options_.bytesPerSecond > 0) rateLimit_ = std::make_shared<streams::RateLimit>(options_.bytesPerSecond);
}

TelvoTrackedFTPData::~TelvoTrackedFTPData() {
  if (saving_) saving_->invalidate();
}

Ref<TelvoTrackedFTPData> TelvoTrackedFTPData::ftpDataWithOptions(const streams::UploadOptions& options) {
  return make<TelvoTrackedFTPData>(options);
}

Ref<NSDictionary> TelvoTrackedFTPData::record() const {
  return index() < count() ? as<NSDictionary>(uploadInfo()->objectAtIndex(index())) : Ref<NSDictionary>();
}

// ---- The plan ----

void TelvoTrackedFTPData::scan(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory) {
  sourcePath_ = withoutTrailingSlashes(textOrEmpty(localPath));
  unlistedFolders_ = nil;
  const bool isOfContents =
      options_.contentsOnly && telvo_isDirectoryAtPath(NSFileManager::defaultManager(), localPath);
  if (isOfContents) return scanContents(localPath, remoteDirectory);
  TelvoFTPData::scan(localPath, remoteDirectory);
}

void TelvoTrackedFTPData::scanContents(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory) {
  const auto names = foundation::contentsOfDirectory(localPath, [this] { return goesOn(); });
  if (!names) {
    couldNotList(localPath, errno);
    // Somebody has to tell that nothing is sent.
    if (unlistedFolders_) appendRecord(localPath, remoteDirectory);
    return;
  }
  for (const id& name : *names) {
    if (!goesOn()) return;
    TelvoFTPData::scan(localPath->stringByAppendingPathComponent(as<NSString>(name)), remoteDirectory);
  }
}

bool TelvoTrackedFTPData::isLeftOut(const Ref<NSString>& localPath) const {
  if (options_.excluded.isEmpty() || !localPath) return false;
  // The source itself is what was asked for.
  if (localPath->length() <= sourcePath_->length()) return false;
  return options_.excluded.excludeItem(localPath->substringFromIndex(sourcePath_->length()),
                                       telvo_isDirectoryAtPath(NSFileManager::defaultManager(), localPath));
}

// What is in such a folder is not sent, so that the folder is not told as sent either: it is planned whatever is known
// of it, and fails.
void TelvoTrackedFTPData::couldNotList(const Ref<NSString>& localPath, int reason) {
  if (!options_.reportsOutcomes || isAbandoned()) return;
  if (!unlistedFolders_) unlistedFolders_ = NSMutableDictionary::dictionary();
  unlistedFolders_->setObject_forKey(NSError::errorWithPOSIXCode(reason), localPath);
}

Ref<NSError> TelvoTrackedFTPData::listingError(const NSDictionary& record) const {
  const bool isFolder = unlistedFolders_ && streams::isDirectory(record) && !streams::isRemoval(record);
  return isFolder ? as<NSError>(unlistedFolders_->objectForKey(streams::localPathOf(record))) : Ref<NSError>();
}

void TelvoTrackedFTPData::filterUploadInfoUsingCachedInfo() {
  sentItems_ = streams::SentItems(cachedInfo(), [this] { return goesOn(); });
  if (options_.remembersSentOnly) {
    planWithRemovals();
  } else {
    TelvoFTPData::filterUploadInfoUsingCachedInfo();
  }
  if (options_.reportsBytes) expectBytes();
}

// What is removed comes first, since something else may take its place.
void TelvoTrackedFTPData::planWithRemovals() {
  const Ref<NSArray> complete = uploadInfo();
  const auto missing = sentItems_.missingOf(
      *complete, [this] { return goesOn(); },
      [this](const NSDictionary& record) { return listingError(record) != nil; });
  if (isAbandoned()) return;
  const auto plan = NSMutableArray::array();
  if (options_.deletesMissing && (options_.allowsEmptySource || streams::hasContents(sourcePath_))) {
    for (const auto& removal : streams::removals(sentItems_.leftOvers(), sourcePath_, options_.excluded)) {
      plan->addObject(removal);
    }
  }
  // A source that is meant to be gone is no item that could not be read.
  const bool isMeantToBeGone = options_.deletesMissing && options_.allowsEmptySource && streams::isGone(sourcePath_);
  if (!isMeantToBeGone) plan->addObjectsFromArray(missing);
  setCachedInfo(complete);
  setUploadInfo(plan);
}

// What has arrived is not known yet; until then the file stays.
void TelvoTrackedFTPData::writeCachedInfo(const Ref<NSString>& path) {
  if (options_.isDryRun) return;
  if (!options_.remembersSentOnly) return TelvoFTPData::writeCachedInfo(path);
  sentItems_.setPath(path);
}

void TelvoTrackedFTPData::expectBytes() {
  NSInteger total = 0;
  for (const id& record : *uploadInfo()) {
    if (!goesOn()) return;
    total += sizeOfFile(*as<NSDictionary>(record));
  }
  bytes_.expect(total);
}

// ---- The run ----

void TelvoTrackedFTPData::sendItems() {
  if (options_.isDryRun) return tellPlan();
  if (options_.temporaryNames != TemporaryNames::Never) identity_ = makeIdentity();
  keepSaving();
  isHostUsable_ = isHostUsable();
  makeRemoteDirectory();
  TelvoFTPData::sendItems();
}

// Each record is told as if its item had been sent.
void TelvoTrackedFTPData::tellPlan() {
  while (isWorking() && goesOn()) TelvoFTPData::streamDataEnded(nil);
}

// Also while one large item is on its way, since those before it may not have been saved.
void TelvoTrackedFTPData::keepSaving() {
  saving_ = NSTimer::scheduledTimerWithTimeInterval_repeats_block(
      saveInterval, true, [weak = WeakRef<TelvoTrackedFTPData>(Ref<TelvoTrackedFTPData>(this))](const Ref<NSTimer>&) {
        if (const auto job = weak.lock()) job->sentItems_.saveIfDue();
      });
}

// Level by level, without a word: what goes wrong is told by the items that are to go there. Where a level exists
// already, nothing is wrong.
void TelvoTrackedFTPData::makeRemoteDirectory() {
  remoteDirectoryOutcome_ = {};
  Ref<NSString> parent = "/"_ns;
  const auto components = options_.remoteDirectory->pathComponents();
  for (const id& component : *components) {
    const auto name = as<NSString>(component);
    if (name->isEqualToString("/"_ns)) continue;
    if (!isWorking() || !isHostUsable_ || remoteDirectoryOutcome_.error) return;
    makesRemoteDirectory_ = true;
    const auto stream = TelvoUploadFTPStreamData::streamData();
    setStreamData(stream);
    run(*stream, {{"Name"_ns, name}, {"Directory"_ns, parent}, {"Action"_ns, "MakeFolder"_ns}});
    makesRemoteDirectory_ = false;
    parent = parent->stringByAppendingPathComponent(name);
  }
}

void TelvoTrackedFTPData::run(TelvoUploadFTPStreamData& stream, const std::vector<NSDictionary::Entry>& item) {
  const auto parameters = NSMutableDictionary::dictionary({{"Host"_ns, host()},
                                                           {"Username"_ns, textOrEmpty(username())},
                                                           {"Password"_ns, textOrEmpty(password())},
                                                           {"UseSameThread"_ns, yes()}});
  if (options_.escapesNames) parameters->setObject_forKey(yes(), "EscapeNames"_ns);
  if (options_.security) parameters->setObject_forKey(options_.security, "Security"_ns);
  for (const auto& [key, value] : item) parameters->setObject_forKey(value, key);
  stream.setRateLimit(rateLimit_);
  stream.setDelegate(self());
  stream.connectWithParameters(parameters);
  // The circle of the job, its stream and the stream's delegate is broken here.
  stream.setDelegate(nil);
}

void TelvoTrackedFTPData::sendItem(const Ref<TelvoUploadFTPStreamData>& stream) {
  waitForRetry();
  if (!isWorking() && isThrough_) {
    outcome_ = failureWithText("The upload was stopped."_ns);
  } else if (!isHostUsable_) {
    outcome_ = failureWithText("There is no host of that name."_ns);
    outcome_.endsRun = true;
  } else if (remoteDirectoryOutcome_.endsRun) {
    outcome_ = remoteDirectoryOutcome_;
  } else if (const auto error = listingError(*record())) {
    outcome_ = ItemOutcome::failure(error);
  }
  if (!isWorking() || outcome_.error) return streamDataEnded(nil);
  outcome_ = failureWithText(nil);
  if (options_.reportsBytes) bytes_.beginItem(sizeOfFile(*record()));
  const auto temporary = temporaryName();
  if (!temporary) sentItems_.willReplace(*record());
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
  const bool isWanted = options_.temporaryNames == TemporaryNames::AllFiles ||
                        (options_.temporaryNames == TemporaryNames::LargeFiles && sizeOfFile(*item) > largeFile);
  if (!isWanted) return nil;
  return streams::temporaryName(streams::localPathOf(*item)->lastPathComponent(), identity_->text());
}

std::unique_ptr<const streams::RunIdentity> TelvoTrackedFTPData::makeIdentity() const {
  const auto place =
      NSString::stringWithFormat("%@ %@ %@"_ns, textOrEmpty(host()), textOrEmpty(username()), options_.remoteDirectory);
  return std::make_unique<streams::RunIdentity>(sourcePath_->UTF8String(), place->UTF8String());
}

// Text that no URL can hold as its host names nobody.
bool TelvoTrackedFTPData::isHostUsable() const {
  if (!host() || host()->length() == 0) return false;
  const auto url = NSURL::URLWithString(NSString::stringWithFormat("ftp://%@/"_ns, host()));
  return url && url->host() && url->host()->length() > 0;
}

// The pause before a round of further tries. A stop ends it.
void TelvoTrackedFTPData::waitForRetry() {
  if (retries_.pause() <= 0) return;
  const auto end = NSDate::dateWithTimeIntervalSinceNow(retries_.pause());
  while (isWorking() && end->timeIntervalSinceNow() > 0) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), end);
  }
  if (isWorking() && remoteDirectoryOutcome_.error) makeRemoteDirectory();
}

// ---- What the connection tells ----

void TelvoTrackedFTPData::streamData_errorOccurred(const id& stream, const id& error) {
  ItemOutcome& outcome = makesRemoteDirectory_ ? remoteDirectoryOutcome_ : outcome_;
  // The text that a write has failed comes first, and says less than the error that follows it.
  const auto connection = as<TelvoUploadFTPStreamData>(stream);
  const bool isOfReading = connection && connection->readError();
  outcome = ItemOutcome::failure(isOfReading ? id(connection->readError()) : error);
}

void TelvoTrackedFTPData::streamDataConnectionTerminated(const id&) {
  if (makesRemoteDirectory_ || outcome_.error) return;
  outcome_.result = streams::isRemoval(*record()) ? Result::Removed : Result::Sent;
}

void TelvoTrackedFTPData::streamData_uploadedBytes(const id&, const Ref<NSNumber>& bytes) {
  const bool isFile = !makesRemoteDirectory_ && !streams::isDirectory(*record()) && !streams::isRemoval(*record());
  if (!options_.reportsBytes || !isFile) return;
  bytes_.sent(bytes->integerValue());
  if (!bytes_.isDue()) return;
  const auto number = [](NSInteger value) { return NSNumber::numberWithInteger(value); };
  NSNotificationCenter::defaultCenter()->postNotificationName_object_userInfo(
      TelvoFTPDataBytesNotification(), self(),
      NSDictionary::dictionary({{"LocalPath"_ns, streams::localPathOf(*record())},
                                {"Nth"_ns, number(static_cast<NSInteger>(index() + 1))},
                                {"BytesSent"_ns, number(bytes_.itemSent())},
                                {"BytesTotal"_ns, number(bytes_.itemTotal())},
                                {"RunBytesSent"_ns, number(bytes_.runSent())},
                                {"RunBytesTotal"_ns, number(bytes_.runTotal())}}));
}

void TelvoTrackedFTPData::streamDataEnded(const id& stream) {
  if (makesRemoteDirectory_) return;
  if (record()) settle();
  // Before the owner hears that all is over.
  if (!isMore()) endSaving();
  TelvoFTPData::streamDataEnded(stream);
}

// Notes what has become of the item that is over.
void TelvoTrackedFTPData::settle() {
  const auto item = record();
  if (outcome_.result == Result::Failed && !outcome_.error) {
    outcome_.error = isWorking() ? "The name cannot be sent."_ns : "The upload was stopped."_ns;
  }
  if (outcome_.result == Result::Sent) sentItems_.didSend(item);
  if (outcome_.result == Result::Removed) sentItems_.didRemove(*item);
  // Who has asked for encryption is not to have a server asked for each item that cannot give it.
  aborted_ = outcome_.endsRun && (options_.reportsOutcomes || outcome_.isInsecure);
  willRetry_ = isWorking() && !aborted_ && retries_.mayRetry() && isWorthRetrying();
  if (willRetry_) retries_.add(index());
  bytes_.endItem(willRetry_);
}

bool TelvoTrackedFTPData::isWorthRetrying() const {
  if (outcome_.result != Result::Failed) return false;
  return outcome_.isPassing || remoteDirectoryOutcome_.isPassing || isInFailedFolder();
}

// What goes into a folder that could not be made yet cannot be sent before it.
bool TelvoTrackedFTPData::isInFailedFolder() const {
  const auto directory = streams::remoteDirectoryOf(*record())->stringByAppendingString("/"_ns);
  const auto& failed = retries_.failed();
  return std::any_of(failed.begin(), failed.end(), [&](NSUInteger each) {
    const auto item = as<NSDictionary>(uploadInfo()->objectAtIndex(each));
    return streams::isDirectory(*item) && !streams::isRemoval(*item) &&
           directory->hasPrefix(streams::remotePathOf(*item)->stringByAppendingString("/"_ns));
  });
}

bool TelvoTrackedFTPData::isMore() const {
  if (!isWorking() || aborted_ || index() >= count()) return false;
  return (!isThrough_ && index() + 1 < count()) || !retries_.isEmpty();
}

void TelvoTrackedFTPData::moveOn() {
  const bool isLast = !isMore();
  outcome_ = {};
  willRetry_ = false;
  isThrough_ = isThrough_ || index() + 1 >= count();
  if (isLast || !isThrough_) return incrementIndex();
  setIndex(retries_.takeNext());
}

void TelvoTrackedFTPData::stop() {
  TelvoFTPData::stop();
  sentItems_.save();
}

void TelvoTrackedFTPData::endSaving() {
  if (saving_) saving_->invalidate();
  saving_ = nil;
  sentItems_.save();
}

// ---- The records ----

Ref<NSDictionary> TelvoTrackedFTPData::currentInfo() const {
  const auto usual = TelvoFTPData::currentInfo();
  if (!usual) return nil;
  const auto info = NSMutableDictionary::dictionaryWithDictionary(usual);
  if (streams::isRemoval(*record())) info->setObject_forKey(yes(), "IsRemoval"_ns);
  if (options_.isDryRun) {
    info->setObject_forKey("planned"_ns, "Outcome"_ns);
    info->setObject_forKey(reason(), "Reason"_ns);
  } else if (options_.reportsOutcomes) {
    addOutcome(*info);
  }
  return info;
}

void TelvoTrackedFTPData::addOutcome(NSMutableDictionary& info) const {
  info.setObject_forKey(outcome_.name(), "Outcome"_ns);
  if (!outcome_.hasArrived()) {
    info.setObject_forKey(textOrEmpty(outcome_.error), "Error"_ns);
    info.setObject_forKey(NSNumber::numberWithInteger(outcome_.replyCode), "ErrorCode"_ns);
  }
  if (willRetry_) info.setObject_forKey(yes(), "WillRetry"_ns);
  if (aborted_) info.setObject_forKey(yes(), "Aborted"_ns);
}

Ref<NSString> TelvoTrackedFTPData::reason() const {
  if (streams::isRemoval(*record())) return "gone"_ns;
  return sentItems_.knowsPlaceOf(*record()) ? "changed"_ns : "new"_ns;
}

}  // namespace telvo
