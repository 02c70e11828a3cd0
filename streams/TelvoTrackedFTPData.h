#pragma once

#include <memory>
#include <vector>

#include "foundation/collections/NSDictionary.h"
#include "foundation/events/NSTimer.h"
#include "streams/ByteProgress.h"
#include "streams/ItemOutcome.h"
#include "streams/RateLimit.h"
#include "streams/RetryQueue.h"
#include "streams/SentItems.h"
#include "streams/TelvoFTPData.h"
#include "streams/UploadOptions.h"

TELVO_NAMESPACE_BEGIN

class NSError;
class NSNumber;

namespace streams {
class RunIdentity;
}

// "TelvoFTPDataBytesNotification", which such a job posts inside an item.
const Ref<NSString>& TelvoFTPDataBytesNotification();

// An upload job for owners that ask for more than the usual (streams::UploadOptions): it keeps track of what becomes of
// each item. Where an option is not set, it does what the usual job does, except that it never stalls.
//
// The records of its progress have further entries. With reportsOutcomes: "Outcome" ("sent", "removed", "failed", or
// "skipped" when nothing could be tried) and, when the item has not arrived, "Error", a text, and "ErrorCode", the
// server's reply code or 0; "WillRetry", true, when the item is tried again later, which gives another record with the
// same "Nth"; "Aborted", true, when the run ends with the item because nobody can be reached or logged in to. An item
// that is removed has "IsRemoval", true. A dry run has one record an item, with "Outcome" "planned" and "Reason", which
// is "new", "changed" or "gone".
//
// With reportsBytes it posts TelvoFTPDataBytesNotification() at most four times a second, with "LocalPath",
// "Nth", "BytesSent" and "BytesTotal" of the item and "RunBytesSent" and "RunBytesTotal" of the run.
class TelvoTrackedFTPData : public TelvoFTPData {
  NS_OBJECT(TelvoTrackedFTPData, TelvoFTPData)

 public:
  explicit TelvoTrackedFTPData(streams::UploadOptions options);
  ~TelvoTrackedFTPData() override;

  static Ref<TelvoTrackedFTPData> ftpDataWithOptions(const streams::UploadOptions& options);

  // What has arrived so far is in the cached-information file when this returns.
  void stop() override;
  Ref<NSDictionary> currentInfo() const override;
  bool isMore() const override;

 protected:
  void scan(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory) override;
  void filterUploadInfoUsingCachedInfo() override;
  void writeCachedInfo(const Ref<NSString>& path) override;
  bool isLeftOut(const Ref<NSString>& localPath) const override;
  void couldNotList(const Ref<NSString>& localPath, int reason) override;
  void sendItems() override;
  void sendItem(const Ref<TelvoUploadFTPStreamData>& stream) override;
  void streamDataEnded(const id& stream) override;
  void moveOn() override;

 private:
  void streamData_errorOccurred(const id& stream, const id& error);
  void streamDataConnectionTerminated(const id& stream);
  void streamData_uploadedBytes(const id& stream, const Ref<NSNumber>& bytes);

  void planWithRemovals();
  void scanContents(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory);
  Ref<NSError> listingError(const NSDictionary& record) const;
  void expectBytes();
  void tellPlan();
  void keepSaving();
  void endSaving();
  void makeRemoteDirectory();
  void waitForRetry();
  bool isHostUsable() const;
  Ref<NSDictionary> record() const;
  Ref<NSString> temporaryName() const;
  std::unique_ptr<const streams::RunIdentity> makeIdentity() const;
  std::vector<NSDictionary::Entry> parametersOfItem(const Ref<NSString>& temporaryName) const;
  void run(TelvoUploadFTPStreamData& stream, const std::vector<NSDictionary::Entry>& item);
  void settle();
  bool isWorthRetrying() const;
  bool isInFailedFolder() const;
  void addOutcome(NSMutableDictionary& info) const;
  Ref<NSString> reason() const;

  const streams::UploadOptions options_;
  Ref<NSString> sourcePath_;
  std::unique_ptr<const streams::RunIdentity> identity_;  // for temporary names
  Ref<NSMutableDictionary> unlistedFolders_;  // by local path, why the names in them are not known; nil: none
  streams::SentItems sentItems_;
  streams::RetryQueue retries_;
  streams::ByteProgress bytes_;
  std::shared_ptr<streams::RateLimit> rateLimit_;
  Ref<NSTimer> saving_;

  streams::ItemOutcome outcome_;  // of the item at index(), as far as it is known
  bool willRetry_ = false;        // the item at index()
  bool isHostUsable_ = false;
  bool aborted_ = false;
  bool isThrough_ = false;                       // every item has been tried once
  bool makesRemoteDirectory_ = false;            // right now
  streams::ItemOutcome remoteDirectoryOutcome_;  // of its making
};

TELVO_NAMESPACE_END
