#include "streams/TelvoFTPStreamData.h"

#include <algorithm>
#include <cstring>

#include "categories/NSFileManager+Telvo.h"
#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/CFReadStream.h"
#include "cfnetwork/FTPWriteStream.h"
#include "foundation/Foundation.h"
#include "foundation/files/PercentEncoding.h"
#include "foundation/runtime/WeakRef.h"
#include "systemconfiguration/SCDynamicStore.h"

inline namespace telvo {

namespace {

Ref<NSString> textForKey(const Ref<NSDictionary>& parameters, const Ref<NSString>& key) {
  return as<NSString>(parameters->objectForKey(key));
}

// What does not pass through the buffer is moved in larger pieces, but the run loop must have its turn.
constexpr NSUInteger longestMove = 8 << 20;

bool isSet(const Ref<NSDictionary>& parameters, const Ref<NSString>& key) {
  const auto number = as<NSNumber>(parameters->objectForKey(key));
  return number && number->boolValue();
}

// Every byte that could mean something in a URL; slashes stay in a directory.
Ref<NSString> escaped(const Ref<NSString>& text, unsigned allowedClasses) {
  return text ? NSString::stringWithUTF8String(foundation::percentEncoded(text->UTF8String(), allowedClasses)) : text;
}

bool isFolder(const Ref<NSDictionary>& parameters) {
  if (const auto action = textForKey(parameters, "Action"_ns)) return action->hasSuffix("Folder"_ns);
  return telvo_isDirectoryAtPath(NSFileManager::defaultManager(), textForKey(parameters, "Path"_ns));
}

// Nothing is read for an action, but a connection has two streams: of a folder there is nothing to be read.
Ref<NSURL> localURL(const Ref<NSDictionary>& parameters) {
  const bool isAction = textForKey(parameters, "Action"_ns) != nil;
  return NSURL::fileURLWithPath(isAction ? "/"_ns : textForKey(parameters, "Path"_ns));
}

// Nothing is escaped unless it is asked for, and no slash is mended on the way: what stands in the names stands in the
// URL, so that a name with an escape arrives decoded and one that no URL can hold yields none.
Ref<NSURL> remoteURL(const Ref<NSDictionary>& parameters) {
  const auto path = textForKey(parameters, "Path"_ns);
  auto name = textForKey(parameters, "Name"_ns);
  if (!name && path) name = path->lastPathComponent();
  auto directory = textForKey(parameters, "Directory"_ns);
  if (directory && directory->isEqualToString("/"_ns)) directory = ""_ns;
  if (isSet(parameters, "EscapeNames"_ns)) {
    name = escaped(name, foundation::URLUnreserved);
    directory = escaped(directory, foundation::URLUnreserved | foundation::URLSlash);
  }
  // The server's root is absolute: two slashes on purpose.
  auto text = NSString::stringWithFormat("ftp://%@/%@/%@"_ns, textForKey(parameters, "Host"_ns), directory, name);
  // A URL that ends in a slash asks for the folder.
  if (isFolder(parameters)) text = text->stringByAppendingString("/"_ns);
  return NSURL::URLWithString(text);
}

void setFurtherProperties(NSOutputStream& writer, const Ref<NSDictionary>& parameters) {
  const auto yes = NSNumber::numberWithBool(true);
  const auto action = textForKey(parameters, "Action"_ns);
  if (action && action->hasPrefix("Remove"_ns)) writer.setProperty_forKey(yes, kCFStreamPropertyFTPRemovesItem());
  if (action && action->hasPrefix("Make"_ns)) writer.setProperty_forKey(yes, kCFStreamPropertyFTPFolderMayExist());
  if (const id security = parameters->objectForKey("Security"_ns)) {
    writer.setProperty_forKey(security, kCFStreamPropertyFTPSecurity());
  }
  if (isSet(parameters, "EscapeNames"_ns)) writer.setProperty_forKey(yes, kCFStreamPropertyFTPAnnouncesUTF8());
  if (const auto name = textForKey(parameters, "TemporaryName"_ns)) {
    writer.setProperty_forKey(name, kCFStreamPropertyFTPTemporaryName());
  }
}

}  // namespace

Class TelvoAbstractFTPStreamData::classObject() {
  static const NSClass object("TelvoAbstractFTPStreamData", TelvoStreamData::classObject(),
                              {
                                  method("proxyDict"_sel, &TelvoAbstractFTPStreamData::proxyDict),
                                  method("totalBytesWritten"_sel, &TelvoAbstractFTPStreamData::totalBytesWritten),
                                  method("leftOverByteCount"_sel, &TelvoAbstractFTPStreamData::leftOverByteCount),
                              });
  return &object;
}

Class TelvoUploadFTPStreamData::classObject() {
  static const NSClass object("TelvoUploadFTPStreamData", TelvoAbstractFTPStreamData::classObject(), {});
  return &object;
}

Class TelvoListingFTPStreamData::classObject() {
  static const NSClass object("TelvoListingFTPStreamData", TelvoAbstractFTPStreamData::classObject(), {});
  return &object;
}

Class TelvoDownloadFTPStreamData::classObject() {
  static const NSClass object("TelvoDownloadFTPStreamData", TelvoAbstractFTPStreamData::classObject(), {});
  return &object;
}

void TelvoAbstractFTPStreamData::setUsername_andPassword_forStream(const Ref<NSString>& username,
                                                                   const Ref<NSString>& password,
                                                                   const Ref<NSOutputStream>& stream) {
  if (!stream || !username || username->length() == 0) return;
  stream->setProperty_forKey(username, kCFStreamPropertyFTPUserName());
  stream->setProperty_forKey(password, kCFStreamPropertyFTPPassword());
}

void TelvoAbstractFTPStreamData::setProxyForStream(const Ref<NSOutputStream>& stream) {
  if (!stream) return;
  proxyDict_ = SCDynamicStoreCopyProxies();
  if (!proxyDict_) return;
  stream->setProperty_forKey(proxyDict_, kCFStreamPropertyFTPProxy());
  stream->setProperty_forKey(proxyDict_->objectForKey(kSCPropNetProxiesFTPPassive()),
                             kCFStreamPropertyFTPUsePassiveMode());
}

TelvoUploadFTPStreamData::TelvoUploadFTPStreamData() = default;

Ref<TelvoUploadFTPStreamData> TelvoUploadFTPStreamData::streamData() { return make<TelvoUploadFTPStreamData>(); }

void TelvoUploadFTPStreamData::uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
    const Ref<NSString>& path, const Ref<NSString>& host, const Ref<NSString>& directory, const Ref<NSString>& username,
    const Ref<NSString>& password, const id& delegate, bool useSameThread) {
  setDelegate(delegate);
  if (!host || host->length() == 0) {
    return informDelegateOfError_terminate("Can't connect as no host was specified"_ns, false);
  }
  connectWithParameters(NSDictionary::dictionary({{"Path"_ns, path},
                                                  {"Host"_ns, host},
                                                  {"Directory"_ns, directory},
                                                  {"Username"_ns, username},
                                                  {"Password"_ns, password},
                                                  {"UseSameThread"_ns, NSNumber::numberWithBool(useSameThread)}}));
}

void TelvoUploadFTPStreamData::setStreamsWithParameters(const Ref<NSDictionary>& parameters) {
  const auto local = localURL(parameters);
  const auto remote = remoteURL(parameters);
  if (!local || !remote) return;
  const auto reader = CFReadStreamCreateWithFile(local);
  if (!reader) return;
  const auto writer = CFWriteStreamCreateWithFTPURL(remote);
  if (!writer) return;
  setUsername_andPassword_forStream(textForKey(parameters, "Username"_ns), textForKey(parameters, "Password"_ns),
                                    writer);
  setProxyForStream(writer);
  setFurtherProperties(*writer, parameters);
  // A stop, or the release of this object, ends the wait for the server's last word; after a failed read, what the
  // server got is not the whole file and must not end as one.
  as<FTPWriteStream>(writer)->setInterruption(
      [weak = WeakRef<TelvoUploadFTPStreamData>(Ref<TelvoUploadFTPStreamData>(this))] {
        const auto connection = weak.lock();
        return !connection || connection->needToStop() || connection->readFailed_;
      });
  setInputStream(reader);
  setOutputStream(writer);
}

void TelvoUploadFTPStreamData::handleHasSpaceAvailableForStream(const Ref<NSStream>& stream) {
  if (stream != outputStream()) return;
  while (!needToStop() && mayMove() && pump()) {
  }
  informDelegateUsingSignature_withObject("streamData:uploadedBytes:"_ns,
                                          NSNumber::numberWithUnsignedInteger(totalBytesWritten_));
}

void TelvoUploadFTPStreamData::abandonTransfer() {
  if (const auto writer = as<FTPWriteStream>(outputStream())) writer->breakOff();
}

// Whether the rate limit leaves anything to be moved now. When not, the burst goes on as soon as it does.
bool TelvoUploadFTPStreamData::mayMove() {
  allowance_ = longestMove;
  if (!rateLimit_) return true;
  allowance_ = rateLimit_->allowance();
  if (allowance_ > 0) return true;
  if (pause_) return false;
  pause_ = NSTimer::scheduledTimerWithTimeInterval_repeats_block(
      rateLimit_->timeToNextAllowance(), false,
      [weak = WeakRef<TelvoUploadFTPStreamData>(Ref<TelvoUploadFTPStreamData>(this))](const Ref<NSTimer>&) {
        const auto connection = weak.lock();
        if (!connection) return;
        connection->pause_ = nil;
        if (const Ref<NSOutputStream> writer = connection->outputStream(); writer && writer->hasSpaceAvailable()) {
          connection->handleHasSpaceAvailableForStream(writer);
        }
      });
  return false;
}

void TelvoUploadFTPStreamData::noteMoved(NSInteger size) {
  totalBytesWritten_ += static_cast<std::uint64_t>(size);
  if (rateLimit_) rateLimit_->spend(static_cast<NSUInteger>(size));
}

// One step of a burst; false when the burst is over.
bool TelvoUploadFTPStreamData::pump() {
  if (const NSInteger moved = moveDirectly(); moved >= 0) {
    noteMoved(moved);
    return moved > 0 && outputStream()->hasSpaceAvailable();
  }
  if (leftOverByteCount_ == 0) leftOverByteCount_ = readFile();
  const NSInteger size = leftOverByteCount_;
  const NSInteger written = writeBuffer(size);
  // What was read and not taken stays in the buffer for the next burst.
  if (written <= 0) return false;
  noteMoved(written);
  leftOverByteCount_ = size - written;
  if (leftOverByteCount_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + written, static_cast<std::size_t>(leftOverByteCount_));
  }
  return outputStream() && outputStream()->hasSpaceAvailable();
}

// What the streams can move among themselves needs no way through the buffer. Negative when they cannot, or when what
// was read before comes first.
NSInteger TelvoUploadFTPStreamData::moveDirectly() {
  const Ref<NSInputStream> reader = inputStream();
  const Ref<NSOutputStream> writer = outputStream();
  if (leftOverByteCount_ != 0 || !reader || !writer) return -1;
  return writer->writeFromStream_maxLength(*reader, allowance_);
}

// A read error closes the connection; a write error, on purpose, leaves it open until the server has said its word.
NSInteger TelvoUploadFTPStreamData::readFile() {
  const Ref<NSInputStream> reader = inputStream();
  const NSInteger size = reader ? reader->read_maxLength(buffer_.data(), buffer_.size()) : 0;
  if (size < 0) {
    readFailed_ = true;
    readError_ = reader->streamError();
    informDelegateOfError_terminate(NSString::stringWithFormat("Error while reading: %ld"_ns, size), true);
    return 0;
  }
  return size;
}

NSInteger TelvoUploadFTPStreamData::writeBuffer(NSInteger size) {
  const Ref<NSOutputStream> writer = outputStream();
  if (!writer) return 0;
  const NSUInteger length = std::min(static_cast<NSUInteger>(size), allowance_);
  const NSInteger written = writer->write_maxLength(buffer_.data(), length);
  if (written < 0) {
    informDelegateOfError_terminate(NSString::stringWithFormat("Error while uploading: %ld"_ns, written), false);
  }
  return written;
}

}  // namespace telvo
