#include "app/TelvoFTPHelper.h"

#include "app/CommandLine.h"
#include "appkit/NSApplication.h"
#include "appkit/NSWorkspace.h"
#include "categories/NSDictionary+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/notifications/NSDistributedNotificationCenter.h"
#include "foundation/notifications/NSNotification.h"
#include "foundation/preferences/NSUserDefaults.h"
#include "streams/TelvoFTPData.h"
#include "streams/TelvoTrackedFTPData.h"

inline namespace telvo {

namespace {

// For so long after its last record the helper can still be reached.
constexpr NSTimeInterval terminationDelay = 30.0;
constexpr NSUInteger terminateNow = 1;

const Ref<NSString>& progressDistributedNotification() { return "TelvoFTPHelperProgressDistributedNotification"_ns; }
const Ref<NSString>& bytesDistributedNotification() { return "TelvoFTPHelperBytesDistributedNotification"_ns; }
const Ref<NSString>& readyDistributedNotification() { return "TelvoFTPHelperReadyDistributedNotification"_ns; }
const Ref<NSString>& stopDistributedNotification() { return "TelvoFTPHelperStopDistributedNotification"_ns; }

Ref<TelvoFTPData> jobWithOptions(const streams::UploadOptions& options) {
  return options.isUsualUpload() ? TelvoFTPData::ftpData() : TelvoTrackedFTPData::ftpDataWithOptions(options);
}

}  // namespace

Class TelvoFTPHelper::classObject() {
  static const NSClass object(
      "TelvoFTPHelper", NSObject::classObject(),
      {
          method("awakeFromNib"_sel, &TelvoFTPHelper::awakeFromNib),
          method("applicationDidFinishLaunching:"_sel, &TelvoFTPHelper::applicationDidFinishLaunching),
          method("applicationShouldTerminate:"_sel, &TelvoFTPHelper::applicationShouldTerminate),
          method("uploadProgress:"_sel, &TelvoFTPHelper::uploadProgress),
          method("uploadBytes:"_sel, &TelvoFTPHelper::uploadBytes),
          method("shouldStop:"_sel, &TelvoFTPHelper::shouldStop),
          method("someAppTerminated:"_sel, &TelvoFTPHelper::someAppTerminated),
          method("sessionEnded:"_sel, &TelvoFTPHelper::sessionEnded),
          method("terminateApp"_sel, &TelvoFTPHelper::terminateApp),
          method("stop"_sel, &TelvoFTPHelper::stop),
      });
  return &object;
}

TelvoFTPHelper::TelvoFTPHelper() = default;

TelvoFTPHelper::~TelvoFTPHelper() {
  NSDistributedNotificationCenter::defaultCenter()->removeObserver(self());
  debugWithFormat("dealloc"_ns);
  setOwnerBundleIdentifier(nil);
  setNotificationIdentifier(nil);
  setFtpData(nil);
}

void TelvoFTPHelper::setFtpData(const Ref<TelvoFTPData>& ftpData) { ftpData_ = ftpData; }

void TelvoFTPHelper::applicationDidFinishLaunching(const Ref<NSNotification>&) {
  const auto defaults = NSUserDefaults::standardUserDefaults();
  setDebugMode(defaults->boolForKey("debug"_ns));
  setOwnerBundleIdentifier(defaults->stringForKey("bundleIdentifier"_ns));
  setNotificationIdentifier(defaults->stringForKey("notificationIdentifier"_ns));
  const auto sourcePath = defaults->stringForKey("sourcePath"_ns);
  const auto host = defaults->stringForKey("host"_ns);
  const auto username = defaults->stringForKey("username"_ns);
  const auto password = defaults->stringForKey("password"_ns);
  const auto cachedInfoPath = defaults->stringForKey("cachedInfoPath"_ns);
  setLaunchParameters(LaunchParameters::from(*defaults));
  debugWithFormat("helper launched for %@"_ns, sourcePath);
  for (const auto& complaint : launchParameters().complaints) debugWithFormat("%@"_ns, complaint);
  const auto workspaceCenter = NSWorkspace::sharedWorkspace()->notificationCenter();
  workspaceCenter->addObserver_selector_name_object(self(), "someAppTerminated:"_sel,
                                                    NSWorkspaceDidTerminateApplicationNotification(), nil);
  workspaceCenter->addObserver_selector_name_object(self(), "sessionEnded:"_sel, NSWorkspaceWillPowerOffNotification(),
                                                    nil);
  if (!ownerBundleIdentifier() || ownerBundleIdentifier()->length() == 0) {
    NSApplication::sharedApplication()->terminate(self());
    return;
  }
  uploadPath_toHost_username_password_cachedInfoPath(sourcePath, host, username, password, cachedInfoPath);
  debugWithFormat("finished; terminating the helper"_ns);
}

NSUInteger TelvoFTPHelper::applicationShouldTerminate(const id&) {
  // Spelled as those who search logs for it know it.
  debugWithFormat("receieved should terminate"_ns);
  stop();
  return terminateNow;
}

void TelvoFTPHelper::uploadPath_toHost_username_password_cachedInfoPath(const Ref<NSString>& localPath,
                                                                        const Ref<NSString>& host,
                                                                        const Ref<NSString>& username,
                                                                        const Ref<NSString>& password,
                                                                        const Ref<NSString>& cachedInfoPath) {
  debugWithFormat("starting upload of %@"_ns, localPath);
  const streams::UploadOptions& options = launchParameters().options;
  setFtpData(jobWithOptions(options));
  NSNotificationCenter::defaultCenter()->addObserver_selector_name_object(
      self(), "uploadProgress:"_sel, TelvoFTPDataProgressNotification(), ftpData());
  NSDistributedNotificationCenter::defaultCenter()->addObserver_selector_name_object(
      self(), "shouldStop:"_sel, stopDistributedNotification(), notificationIdentifier());
  if (options.reportsBytes) {
    NSNotificationCenter::defaultCenter()->addObserver_selector_name_object(self(), "uploadBytes:"_sel,
                                                                            TelvoFTPDataBytesNotification(), ftpData());
  }
  if (launchParameters().announces) announce();
  // Usually the server's root: the item lands directly in it.
  ftpData()->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(
      localPath, host, options.remoteDirectory, username, password, cachedInfoPath, debugMode());
}

void TelvoFTPHelper::stop() {
  debugWithFormat("stop"_ns);
  if (ftpData()) ftpData()->stop();
}

void TelvoFTPHelper::uploadProgress(const Ref<NSNotification>& notification) {
  // Without a record nothing was to send: it reads as 0 percent and no more items.
  const Ref<NSDictionary> record = notification->userInfo();
  const auto percent = record ? as<NSNumber>(record->objectForKey("Percent"_ns)) : Ref<NSNumber>();
  debugWithFormat("progress: %d%%"_ns, percent ? percent->integerValue() : 0);
  post(progressDistributedNotification(), record);
  if (telvo_boolForKey(record, "IsMore"_ns)) return;
  performSelector_withObject_afterDelay("terminateApp"_sel, nil, terminationDelay);
}

void TelvoFTPHelper::uploadBytes(const Ref<NSNotification>& notification) {
  post(bytesDistributedNotification(), notification->userInfo());
}

// Stop requests and the owner's quit are heard from here on.
void TelvoFTPHelper::announce() {
  post(readyDistributedNotification(),
       NSDictionary::dictionaryWithObject_forKey(NSString::stringWithUTF8String(helperVersion()), "Version"_ns));
}

void TelvoFTPHelper::post(const Ref<NSString>& name, const Ref<NSDictionary>& userInfo) const {
  NSDistributedNotificationCenter::defaultCenter()->postNotificationName_object_userInfo_deliverImmediately(
      name, notificationIdentifier(), userInfo, true);
}

void TelvoFTPHelper::shouldStop(const Ref<NSNotification>&) {
  debugWithFormat("shouldStop received"_ns);
  stop();
}

void TelvoFTPHelper::someAppTerminated(const Ref<NSNotification>& notification) {
  const Ref<NSDictionary> info = notification->userInfo();
  appQuit(info ? as<NSString>(info->objectForKey("NSApplicationBundleIdentifier"_ns)) : Ref<NSString>());
}

// An owner that can neither be heard nor be seen quitting any more counts as having quit.
void TelvoFTPHelper::sessionEnded(const Ref<NSNotification>&) { appQuit(ownerBundleIdentifier()); }

void TelvoFTPHelper::appQuit(const Ref<NSString>& identifier) {
  debugWithFormat("%@ has quit"_ns, identifier);
  if (!identifier || !identifier->isEqualToString(ownerBundleIdentifier())) return;
  debugWithFormat("... it's our owner!"_ns);
  NSApplication::sharedApplication()->terminate(self());
}

void TelvoFTPHelper::terminateApp() {
  debugWithFormat("terminating the helper"_ns);
  NSApplication::sharedApplication()->terminate(self());
}

void TelvoFTPHelper::logLine(const Ref<NSString>& format, const std::vector<NSFormatArgument>& arguments) {
  NSLogv(format, arguments);
}

}  // namespace telvo
