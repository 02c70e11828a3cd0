#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "foundation/events/NSTimer.h"
#include "streams/RateLimit.h"
#include "streams/TelvoFTPData.h"
#include "streams/TelvoStreamData.h"

TELVO_NAMESPACE_BEGIN

class NSDictionary;
class NSError;

// What every FTP connection needs: the login, the system's proxy and passive-mode settings, and the state of a
// buffered transfer.
class TelvoAbstractFTPStreamData : public TelvoStreamData {
  NS_OBJECT(TelvoAbstractFTPStreamData, TelvoStreamData)

 public:
  // Sets login and password on a stream of CFWriteStreamCreateWithFTPURL() when there is a login; without one the
  // stream's own default applies. Nothing happens for nil.
  void setUsername_andPassword_forStream(const Ref<NSString>& username, const Ref<NSString>& password,
                                         const Ref<NSOutputStream>& stream);
  // Reads the system's proxy settings anew and sets them and the mode on such a stream. Nothing happens for nil.
  void setProxyForStream(const Ref<NSOutputStream>& stream);

  const Ref<NSDictionary>& proxyDict() const { return proxyDict_; }
  std::int64_t fileSize() const { return fileSize_; }
  // Bytes written to the server by this connection so far.
  std::uint64_t totalBytesWritten() const { return totalBytesWritten_; }
  // Bytes read from the file and not written yet; they stand at the start of the buffer.
  std::int64_t leftOverByteCount() const { return leftOverByteCount_; }

  static constexpr std::size_t bufferSize = 512000;

 protected:
  Ref<NSDictionary> proxyDict_;
  std::int64_t fileSize_ = 0;
  std::uint64_t totalBytesWritten_ = 0;
  std::int64_t leftOverByteCount_ = 0;
  std::array<std::uint8_t, bufferSize> buffer_;  // not initialised: only what was read into it is ever used
};

// Stores one local file on an FTP server, or makes one folder there; one object for each item. Besides what every
// connection reports: "streamData:uploadedBytes:" with the total so far, after each burst of writes.
class TelvoUploadFTPStreamData : public TelvoAbstractFTPStreamData {
  NS_OBJECT(TelvoUploadFTPStreamData, TelvoAbstractFTPStreamData)

 public:
  // Not defaulted here: that would fill the buffer with zeros for every item.
  TelvoUploadFTPStreamData();

  static Ref<TelvoUploadFTPStreamData> streamData();

  // Sends the item at the local path to the remote directory on the host, which may carry a port and a login. With an
  // empty or nil host it only reports an error: no "streamDataEnded:" follows then. The other four texts must not be
  // nil (NSInvalidArgumentException); an empty login name is the anonymous login.
  void uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
      const Ref<NSString>& path, const Ref<NSString>& host, const Ref<NSString>& directory,
      const Ref<NSString>& username, const Ref<NSString>& password, const id& delegate, bool useSameThread);

  // Beside what uploadPath... passes on, connectWithParameters() takes "Name", a text: the item's name on the server in
  // place of the local one; "EscapeNames", true: name and directory arrive as they are, whatever is in them;
  // "TemporaryName", a text: the name beside its own under which a file is stored until it is complete; "Security", a
  // dictionary: kCFStreamPropertyFTPSecurity in place of what the system is set to; and "Action", a text: "MakeFolder",
  // which an existing folder is right for, "RemoveFile" or "RemoveFolder", for which there need be nothing at the path.
  void setStreamsWithParameters(const Ref<NSDictionary>& parameters) override;
  // How fast bytes may be moved, shared with other connections; null for as fast as they can. Before connecting.
  void setRateLimit(const std::shared_ptr<streams::RateLimit>& rateLimit) { rateLimit_ = rateLimit; }
  // What the system has said when "Error while reading" was reported; nil before.
  const Ref<NSError>& readError() const { return readError_; }
  // Moves bytes from the file to the server while there is room.
  void handleHasSpaceAvailableForStream(const Ref<NSStream>& stream) override;

 protected:
  void abandonTransfer() override;

 private:
  bool mayMove();
  void noteMoved(NSInteger size);
  bool pump();
  NSInteger moveDirectly();
  NSInteger readFile();
  NSInteger writeBuffer(NSInteger size);

  bool readFailed_ = false;
  Ref<NSError> readError_;
  std::shared_ptr<streams::RateLimit> rateLimit_;
  NSUInteger allowance_ = 0;  // how many bytes may be moved in this step
  Ref<NSTimer> pause_;        // until the rate limit leaves something to be moved
};

// Two further kinds of FTP connection, of which nothing is made yet.
class TelvoListingFTPStreamData : public TelvoAbstractFTPStreamData {
  NS_OBJECT(TelvoListingFTPStreamData, TelvoAbstractFTPStreamData)
};

class TelvoDownloadFTPStreamData : public TelvoAbstractFTPStreamData {
  NS_OBJECT(TelvoDownloadFTPStreamData, TelvoAbstractFTPStreamData)
};

TELVO_NAMESPACE_END
