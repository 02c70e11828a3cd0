#pragma once

#include <utility>
#include <vector>

#include "app/LaunchParameters.h"
#include "foundation/runtime/NSObject.h"
#include "foundation/text/NSFormat.h"
#include "foundation/text/NSString.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;
class NSNotification;
class TelvoFTPData;

// The application's delegate: reads the launch parameters, runs the one upload job, tells the owner of its progress,
// obeys the owner's stop request, and ends the process when all is over or the owner has quit. Main thread only.
//
//   const NSMainInterface mainInterface([] { return make<TelvoFTPHelper>(); });
//   int main(int argc, char** argv) { return NSApplicationMain(argc, argv); }
class TelvoFTPHelper : public NSObject {
  NS_OBJECT(TelvoFTPHelper, NSObject)

 public:
  TelvoFTPHelper();
  ~TelvoFTPHelper() override;

  void awakeFromNib() {}
  // Reads the launch parameters and runs the upload, inside this call: it returns when the job is over. Without an
  // owner's bundle identifier it ends the process instead.
  void applicationDidFinishLaunching(const Ref<NSNotification>& notification);
  // Stops the job; termination is never refused: 1.
  NSUInteger applicationShouldTerminate(const id& application);

  // Makes the job and starts it, observing its progress and the owner's stop request.
  void uploadPath_toHost_username_password_cachedInfoPath(const Ref<NSString>& localPath, const Ref<NSString>& host,
                                                          const Ref<NSString>& username, const Ref<NSString>& password,
                                                          const Ref<NSString>& cachedInfoPath);
  void stop();

  // Relays the job's progress to the owner; after the last record, ends the process 30 seconds later.
  void uploadProgress(const Ref<NSNotification>& notification);
  // Relays the job's progress inside a file.
  void uploadBytes(const Ref<NSNotification>& notification);
  // The owner's stop request.
  void shouldStop(const Ref<NSNotification>& notification);
  // An application has quit: when it is the owner, so does the helper.
  void someAppTerminated(const Ref<NSNotification>& notification);
  // The user's session has ended, and with it the way to the owner: this counts as the owner's quit.
  void sessionEnded(const Ref<NSNotification>& notification);
  void terminateApp();

  bool debugMode() const { return debugMode_; }
  void setDebugMode(bool debugMode) { debugMode_ = debugMode; }
  // The owner's bundle identifier; its quit ends the helper.
  const Ref<NSString>& ownerBundleIdentifier() const { return ownerBundleIdentifier_; }
  void setOwnerBundleIdentifier(const Ref<NSString>& identifier) { ownerBundleIdentifier_ = identifier; }
  // Under which progress is posted and stop requests are accepted; nil: for anybody and from anybody.
  const Ref<NSString>& notificationIdentifier() const { return notificationIdentifier_; }
  void setNotificationIdentifier(const Ref<NSString>& identifier) { notificationIdentifier_ = identifier; }
  // What the owner asks for beyond the usual; nothing at first.
  const LaunchParameters& launchParameters() const { return launchParameters_; }
  void setLaunchParameters(const LaunchParameters& parameters) { launchParameters_ = parameters; }
  const Ref<TelvoFTPData>& ftpData() const { return ftpData_; }
  void setFtpData(const Ref<TelvoFTPData>& ftpData);

  // Writes a line to the system log in debug mode; otherwise nothing, and the arguments are not even formatted.
  template <class... Arguments>
  void debugWithFormat(const Ref<NSString>& format, const Arguments&... arguments) const {
    if (debugMode_) logLine(format, {NSFormatArgument(arguments)...});
  }

 private:
  void appQuit(const Ref<NSString>& identifier);
  void announce();
  void post(const Ref<NSString>& name, const Ref<NSDictionary>& userInfo) const;
  static void logLine(const Ref<NSString>& format, const std::vector<NSFormatArgument>& arguments);

  bool debugMode_ = false;
  Ref<NSString> ownerBundleIdentifier_;
  Ref<NSString> notificationIdentifier_;
  LaunchParameters launchParameters_;
  Ref<TelvoFTPData> ftpData_;
};

TELVO_NAMESPACE_END
