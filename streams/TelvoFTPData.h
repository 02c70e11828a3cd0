#pragma once

#include <chrono>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSDictionary;
class NSMutableArray;
class NSString;
class TelvoUploadFTPStreamData;

// "TelvoFTPDataProgressNotification", which a job posts after each item.
const Ref<NSString>& TelvoFTPDataProgressNotification();

// The upload job: makes a plan of one local file or folder tree, drops what is unchanged since the last run, and sends
// the rest one item at a time. After each item it posts TelvoFTPDataProgressNotification() in the default notification
// centre, with itself as the object and currentInfo() as the user information. Main thread only.
//
//   const auto job = TelvoFTPData::ftpData();
//   NSNotificationCenter::defaultCenter()->addObserver_selector_name_object(
//       observer, "uploadProgress:"_sel, TelvoFTPDataProgressNotification(), job);
//   job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(
//       "/home/anna/Site"_ns, "ftp.example.com"_ns, "/"_ns, "anna"_ns, password, "/home/anna/.site.plist"_ns, false);
class TelvoFTPData : public NSObject {
  NS_OBJECT(TelvoFTPData, NSObject)

 public:
  TelvoFTPData();
  ~TelvoFTPData() override;

  static Ref<TelvoFTPData> ftpData();

  // Runs the whole job and returns when it is over. It turns the run loop meanwhile, while it makes the plan too, so
  // that stop() can be called. With an empty host and something to send it returns at once and stays working: nothing
  // is ever posted, and a stop changes nothing.
  //
  // With a cache path, the records of the last run are read from that file, records that are the same as then are not
  // sent, and the complete new plan is written to it, as an XML property list, before anything is sent. What fails to
  // be sent is therefore not sent by the next run either unless it changes. A job that is stopped before that leaves
  // the file as it is and posts once, without a record, as one that has nothing to send. The debug flag is not used.
  void uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(
      const Ref<NSString>& localPath, const Ref<NSString>& host, const Ref<NSString>& directory,
      const Ref<NSString>& username, const Ref<NSString>& password, const Ref<NSString>& cachedInfoPath,
      bool debugMode);

  // Abandons the item in progress; the record of its end says that no more follow. While the plan is being made,
  // everything is abandoned. Posts nothing itself.
  virtual void stop();

  // The progress record of the item at index(): "LocalPath" and "RemoteDirectory" ("" when the item has none), "Nth"
  // (from 1), "Total", "Percent" (cut to a whole number) and "IsMore". Nil past the end of the plan.
  virtual Ref<NSDictionary> currentInfo() const;
  // The number of items to send, folders included.
  NSUInteger count() const;
  // Whether an item follows the current one; no when not working.
  virtual bool isMore() const;

  NSUInteger index() const { return index_; }
  void setIndex(NSUInteger index) { index_ = index; }
  void resetIndex() { index_ = 0; }
  void incrementIndex() { ++index_; }
  bool isWorking() const { return working_; }
  void setWorking(bool working) { working_ = working; }
  bool debugMode() const { return debugMode_; }
  void setDebugMode(bool debugMode) { debugMode_ = debugMode; }

  // The last run's records, then this run's complete plan; nil without a cache.
  const Ref<NSArray>& cachedInfo() const { return cachedInfo_; }
  void setCachedInfo(const Ref<NSArray>& cachedInfo);
  const Ref<NSString>& host() const { return host_; }
  void setHost(const Ref<NSString>& host);
  const Ref<NSString>& username() const { return username_; }
  void setUsername(const Ref<NSString>& username);
  const Ref<NSString>& password() const { return password_; }
  void setPassword(const Ref<NSString>& password);

  // The plan, one upload-info record an item: a dictionary with "LocalPath", "RemoteDirectory", "IsDirectory" and, for
  // a file, "ModificationDate"; what is not known is left out.
  const Ref<NSMutableArray>& uploadInfo() const { return uploadInfo_; }
  void setUploadInfo(const Ref<NSMutableArray>& uploadInfo);
  // Appends the records of the path and of everything below it to the plan, a folder before its contents, entries in
  // the order of the file system. Turns the run loop now and then. Nothing happens without a plan, as on a new job.
  void recursivelyScanLocalPath_forRemoteDirectory(const Ref<NSString>& localPath,
                                                   const Ref<NSString>& remoteDirectory);
  // Drops the records that the cache holds an equivalent of (telvo_isEquivalentTo), and makes the complete plan the
  // new cache. Without a cache nothing is dropped.
  virtual void filterUploadInfoUsingCachedInfo();

 protected:
  // The steps of a job, for those that do more than the usual.

  // Fills the plan with all there is.
  virtual void scan(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory);
  // Writes the complete plan to the cached-information file.
  virtual void writeCachedInfo(const Ref<NSString>& path);
  // Whether the item and everything in it stays out of the plan: never, usually.
  virtual bool isLeftOut(const Ref<NSString>& localPath) const;
  // The names in the folder are not known; the reason is the system's error number. Usually nobody hears of it.
  virtual void couldNotList(const Ref<NSString>& localPath, int reason);
  // Appends the path's record to the plan. Returns whether the path names a folder.
  bool appendRecord(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory);
  virtual void sendItems();
  // Sends the item at index(); returns when streamDataEnded() has been called.
  virtual void sendItem(const Ref<TelvoUploadFTPStreamData>& stream);
  // The item at index() is over: posts its record, and moves on.
  virtual void streamDataEnded(const id& stream);
  // Makes the next item that is to be sent the one at index().
  virtual void moveOn();

  // Whether a stop has come before the first item.
  bool isAbandoned() const;
  // Serves the run loop when it is time. False when the plan is not needed any more.
  bool goesOn();
  // The connection that a stop ends.
  void setStreamData(const Ref<TelvoUploadFTPStreamData>& stream);

 private:
  void makePlan(const Ref<NSString>& localPath, const Ref<NSString>& remoteDirectory,
                const Ref<NSString>& cachedInfoPath);
  void waitForFile();
  void uploadNextPath();

  Ref<TelvoUploadFTPStreamData> streamData_;
  Ref<NSMutableArray> uploadInfo_;
  Ref<NSArray> cachedInfo_;
  Ref<NSString> host_;
  Ref<NSString> username_;
  Ref<NSString> password_;
  NSUInteger index_ = 0;
  bool working_ = false;
  bool debugMode_ = false;
  // By stop(), since the start of the upload. Not the same as "not working", which a job also is before its start and
  // after its end, when it can be asked for a plan all the same, and which others may set.
  bool stopped_ = false;
  std::chrono::steady_clock::time_point lastTurn_;  // while the plan is being made
  bool itemDue_ = false;                            // the report of an item's end asks for the next one
};

TELVO_NAMESPACE_END
