#include "streams/TelvoFTPStreamData.h"

#include <cstring>

#include "categories/NSFileManager+Telvo.h"
#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/CFReadStream.h"
#include "foundation/Foundation.h"
#include "foundation/runtime/WeakRef.h"
#include "systemconfiguration/SCDynamicStore.h"

namespace {

Ref<NSString> textForKey(const Ref<NSDictionary>& parameters, const Ref<NSString>& key) {
  return as<NSString>(parameters->objectForKey(key));
}

// What does not pass through the buffer is moved in larger pieces, but the run loop must have its turn.
constexpr NSUInteger longestMove = 8 << 20;

// Nothing is escaped and no slash is mended on the way: what stands in the names stands in the URL, so that a name
// with an escape arrives decoded and one that no URL can hold yields none.
Ref<NSURL> remoteURL(const Ref<NSDictionary>& parameters) {
  const auto path = textForKey(parameters, "Path"_ns);
  auto directory = textForKey(parameters, "Directory"_ns);
  if (directory && directory->isEqualToString("/"_ns)) directory = ""_ns;
  // The server's root is absolute: two slashes on purpose.
  auto text = NSString::stringWithFormat("ftp://%@/%@/%@"_ns, textForKey(parameters, "Host"_ns), directory,
                                         path ? path->lastPathComponent() : Ref<NSString>());
  // A URL that ends in a slash asks for the folder.
  if (telvo_isDirectoryAtPath(NSFileManager::defaultManager(), path)) text = text->stringByAppendingString("/"_ns);
  return NSURL::URLWithString(text);
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
                                                                   const Ref<FTPWriteStream>& stream) {
  if (!stream || !username || username->length() == 0) return;
  stream->setProperty_forKey(username, kCFStreamPropertyFTPUserName());
  stream->setProperty_forKey(password, kCFStreamPropertyFTPPassword());
}

void TelvoAbstractFTPStreamData::setProxyForStream(const Ref<FTPWriteStream>& stream) {
  if (!stream) return;
  _proxyDict = SCDynamicStoreCopyProxies();
  if (!_proxyDict) return;
  stream->setProperty_forKey(_proxyDict, kCFStreamPropertyFTPProxy());
  stream->setProperty_forKey(_proxyDict->objectForKey(kSCPropNetProxiesFTPPassive()),
                             kCFStreamPropertyFTPUsePassiveMode());
}

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
  const auto local = NSURL::fileURLWithPath(textForKey(parameters, "Path"_ns));
  const auto remote = remoteURL(parameters);
  if (!local || !remote) return;
  const auto reader = CFReadStreamCreateWithFile(local);
  if (!reader) return;
  const auto writer = CFWriteStreamCreateWithFTPURL(remote);
  if (!writer) return;
  setUsername_andPassword_forStream(textForKey(parameters, "Username"_ns), textForKey(parameters, "Password"_ns),
                                    writer);
  setProxyForStream(writer);
  // A stop, or the release of this object, ends the wait for the server's last word; after a failed read, what the
  // server got is not the whole file and must not end as one.
  writer->setInterruption([weak = WeakRef<TelvoUploadFTPStreamData>(Ref<TelvoUploadFTPStreamData>(this))] {
    const auto connection = weak.lock();
    return !connection || connection->needToStop() || connection->_readFailed;
  });
  setInputStream(reader);
  setOutputStream(writer);
}

void TelvoUploadFTPStreamData::handleHasSpaceAvailableForStream(const Ref<NSStream>& stream) {
  if (stream != outputStream()) return;
  while (!needToStop() && pump()) {
  }
  informDelegateUsingSignature_withObject("streamData:uploadedBytes:"_ns,
                                          NSNumber::numberWithUnsignedInteger(_totalBytesWritten));
}

void TelvoUploadFTPStreamData::abandonTransfer() {
  if (const auto writer = as<FTPWriteStream>(outputStream())) writer->breakOff();
}

// One step of a burst; false when the burst is over.
bool TelvoUploadFTPStreamData::pump() {
  if (const NSInteger moved = moveDirectly(); moved >= 0) {
    _totalBytesWritten += static_cast<std::uint64_t>(moved);
    return moved > 0 && outputStream()->hasSpaceAvailable();
  }
  if (_leftOverByteCount == 0) _leftOverByteCount = readFile();
  const NSInteger size = _leftOverByteCount;
  const NSInteger written = writeBuffer(size);
  // What was read and not taken stays in the buffer for the next burst.
  if (written <= 0) return false;
  _totalBytesWritten += static_cast<std::uint64_t>(written);
  _leftOverByteCount = size - written;
  if (_leftOverByteCount > 0) {
    std::memmove(_buffer.data(), _buffer.data() + written, static_cast<std::size_t>(_leftOverByteCount));
  }
  return outputStream() && outputStream()->hasSpaceAvailable();
}

// What the streams can move among themselves needs no way through the buffer. Negative when they cannot, or when what
// was read before comes first.
NSInteger TelvoUploadFTPStreamData::moveDirectly() {
  const Ref<NSInputStream> reader = inputStream();
  const Ref<NSOutputStream> writer = outputStream();
  if (_leftOverByteCount != 0 || !reader || !writer) return -1;
  return writer->writeFromStream_maxLength(*reader, longestMove);
}

// A read error closes the connection; a write error, on purpose, leaves it open until the server has said its word.
NSInteger TelvoUploadFTPStreamData::readFile() {
  const Ref<NSInputStream> reader = inputStream();
  const NSInteger size = reader ? reader->read_maxLength(_buffer.data(), _buffer.size()) : 0;
  if (size < 0) {
    _readFailed = true;
    informDelegateOfError_terminate(NSString::stringWithFormat("Error while reading: %ld"_ns, size), true);
    return 0;
  }
  return size;
}

NSInteger TelvoUploadFTPStreamData::writeBuffer(NSInteger size) {
  const Ref<NSOutputStream> writer = outputStream();
  if (!writer) return 0;
  const NSInteger written = writer->write_maxLength(_buffer.data(), static_cast<NSUInteger>(size));
  if (written < 0) {
    informDelegateOfError_terminate(NSString::stringWithFormat("Error while uploading: %ld"_ns, written), false);
  }
  return written;
}
