#include "streams/TelvoStreamData.h"

#include <array>

#include "categories/NSDictionary+Telvo.h"
#include "foundation/Foundation.h"
#include "foundation/errors/NSAssertionHandler.h"
#include "foundation/events/NSTimer.h"
#include "foundation/runtime/WeakRef.h"

inline namespace telvo {

namespace {

constexpr NSTimeInterval longestTurn = 0.1;
constexpr NSTimeInterval sendRetryInterval = 0.5;
constexpr NSUInteger receiveLimit = 1024;

}  // namespace

Class TelvoStreamData::classObject() {
  static const NSClass object(
      "TelvoStreamData", TelvoDelegateData::classObject(),
      {
          method("connectWithParameters:"_sel, &TelvoStreamData::connectWithParameters),
          method("threadedConnectWithParameters:"_sel, &TelvoStreamData::threadedConnectWithParameters),
          method("run"_sel, &TelvoStreamData::run),
          method("disconnect"_sel, &TelvoStreamData::disconnect),
          method("terminate"_sel, &TelvoStreamData::terminate),
          method("isConnected"_sel, &TelvoStreamData::isConnected),
          method("sendString:"_sel, &TelvoStreamData::sendString),
          method("sendStringTimer:"_sel, &TelvoStreamData::sendStringTimer),
      });
  return &object;
}

TelvoStreamData::TelvoStreamData() = default;

TelvoStreamData::~TelvoStreamData() {
  // From here on there is nobody left to tell.
  if (inputStream_) inputStream_->setDelegate(nullptr);
  if (outputStream_) outputStream_->setDelegate(nullptr);
  if (isConnected()) terminate();
  setInputStream(nil);
  setOutputStream(nil);
  setRunLoop(nil);
  resetConnectionCount();
}

Ref<TelvoStreamData> TelvoStreamData::streamData() { return make<TelvoStreamData>(); }

void TelvoStreamData::setRunLoop(const Ref<NSRunLoop>& runLoop) { runLoop_ = runLoop; }

// A stream that others still hold must not report to a connection that has let go of it.
void TelvoStreamData::setInputStream(const Ref<NSInputStream>& stream) {
  if (inputStream_ && inputStream_ != stream) inputStream_->setDelegate(nullptr);
  inputStream_ = stream;
}

void TelvoStreamData::setOutputStream(const Ref<NSOutputStream>& stream) {
  if (outputStream_ && outputStream_ != stream) outputStream_->setDelegate(nullptr);
  outputStream_ = stream;
}

void TelvoStreamData::connectWithParameters(const Ref<NSDictionary>& parameters) {
  if (telvo_boolForKey(parameters, "UseSameThread"_ns)) return threadedConnectWithParameters(parameters);
  try {
    NSThread::detachNewThreadSelector_toTarget_withObject("threadedConnectWithParameters:"_sel, self(), parameters);
  } catch (const Ref<NSException>&) {
    // The system gives no thread: one more way in which a connection ends before it has begun.
    connectionFailed();
  }
}

void TelvoStreamData::threadedConnectWithParameters(const Ref<NSDictionary>& parameters) {
  const id keptAlive = self();
  try {
    setRunLoop(NSRunLoop::currentRunLoop());
    setStreamsWithParameters(parameters);
    if (inputStream_) inputStream_->setDelegate(this);
    if (outputStream_) outputStream_->setDelegate(this);
    if (inputStream_) inputStream_->scheduleInRunLoop_forMode(runLoop_, NSDefaultRunLoopMode());
    if (outputStream_) outputStream_->scheduleInRunLoop_forMode(runLoop_, NSDefaultRunLoopMode());
    if (inputStream_) inputStream_->open();
    if (outputStream_) outputStream_->open();
    informDelegateUsingSignature("streamDataConnecting:"_ns);
    run();
  } catch (const Ref<NSException>&) {
    return connectionFailed();
  }
  end();
}

// The streams may stay open, but what happens to them from here on is nobody's business any more: this report is the
// last.
void TelvoStreamData::end() {
  if (inputStream_) inputStream_->setDelegate(nullptr);
  if (outputStream_) outputStream_->setDelegate(nullptr);
  informDelegateUsingSignature("streamDataEnded:"_ns);
}

void TelvoStreamData::connectionFailed() {
  NSLog("An exception occurred while connecting to a remote server."_ns);
  try {
    terminate();
  } catch (const Ref<NSException>&) {
    NSLog("An exception occurred while terminating a connection after a connection failure."_ns);
  }
  end();
}

void TelvoStreamData::setStreamsWithParameters(const Ref<NSDictionary>&) {
  constexpr NSInteger toldLine = 201;  // what the log says is the same whatever this file looks like
  NSAssertionHandler::currentHandler()->handleFailureInMethod_object_file_lineNumber_description(
      "setStreamsWithParameters:"_sel, self(), "TelvoStreamData"_ns, toldLine,
      "Forgot to override -setStreamsWithParameters:"_ns);
}

void TelvoStreamData::run() {
  // A stop that came before this is forgotten, on purpose.
  needToStop_ = false;
  struct Running {
    std::atomic<bool>& flag;
    explicit Running(std::atomic<bool>& running) : flag(running) { flag = true; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { flag = false; }
  };
  const Running running(running_);
  while (runLoop_ && inputStream_ && outputStream_) {
    try {
      const Ref<NSRunLoop> runLoop = runLoop_;
      runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(longestTurn));
    } catch (const Ref<NSException>& exception) {
      // The text is spelled as those who search logs for it know it.
      NSLog("Exception while communiating with a remote server: %@ (%@)"_ns, exception->name(), exception->reason());
    }
    if (needToStop_) return;
  }
}

void TelvoStreamData::disconnect() {
  needToStop_ = true;
  if (running_) {
    const Ref<NSRunLoop> runLoop = runLoop_;
    if (runLoop == NSRunLoop::currentRunLoop()) {
      abandonTransfer();
    } else {
      runLoop->performBlock([weak = WeakRef<TelvoStreamData>(Ref<TelvoStreamData>(this))] {
        if (const auto connection = weak.lock()) connection->abandonTransfer();
      });
    }
  }
  informDelegateUsingSignature("streamDataDisconnected:"_ns);
}

void TelvoStreamData::terminate() {
  resetConnectionCount();
  // A stream may have an error to tell while it closes, which terminates once more: the streams are held here. They
  // are let go of whatever happens, because run() goes on for as long as they are there.
  struct LetGo {
    TelvoStreamData& connection;
    const Ref<NSInputStream> input = connection.inputStream_;
    const Ref<NSOutputStream> output = connection.outputStream_;
    ~LetGo() {
      connection.setInputStream(nil);
      connection.setOutputStream(nil);
    }
  };
  const LetGo streams{*this};
  if (streams.input) streams.input->close();
  if (streams.output) streams.output->close();
}

void TelvoStreamData::informDelegateOfError_terminate(const id& error, bool terminates) {
  if (terminates) {
    endedByError_ = true;
    terminate();
  }
  informDelegateUsingSignature_withObject("streamData:errorOccurred:"_ns, error);
}

void TelvoStreamData::stream_handleEvent(const Ref<NSStream>& stream, NSStreamEvent event) {
  const id keptAlive = self();
  switch (event) {
    case NSStreamEventNone:
      handleNoEventForStream(stream);
      break;
    case NSStreamEventOpenCompleted:
      handleOpenCompletedForStream(stream);
      incrementConnectionCount();
      informDelegateUsingSignature_withObject("streamData:connectedToStream:"_ns, stream);
      if (isConnected()) informDelegateUsingSignature("streamDataConnected:"_ns);
      break;
    case NSStreamEventHasBytesAvailable:
      handleHasBytesAvailableForStream(stream);
      break;
    case NSStreamEventHasSpaceAvailable:
      handleHasSpaceAvailableForStream(stream);
      break;
    case NSStreamEventErrorOccurred:
      if (handleErrorOccurred_forStream(stream->streamError(), stream)) {
        informDelegateOfError_terminate(stream->streamError(), true);
      }
      break;
    case NSStreamEventEndEncountered:
      if (handleEndEncounteredForStream(stream)) endEncountered();
      break;
    default:
      handleOtherEvent_forStream(event, stream);
      break;
  }
}

// The output stream may learn only while it is closed that the other side refuses what it got. The error has been
// reported then, and the connection did not simply come to its end.
void TelvoStreamData::endEncountered() {
  endedByError_ = false;
  terminate();
  if (!endedByError_) informDelegateUsingSignature("streamDataConnectionTerminated:"_ns);
}

void TelvoStreamData::handleNoEventForStream(const Ref<NSStream>&) {}
void TelvoStreamData::handleOpenCompletedForStream(const Ref<NSStream>&) {}
void TelvoStreamData::handleHasBytesAvailableForStream(const Ref<NSStream>&) {}
void TelvoStreamData::handleHasSpaceAvailableForStream(const Ref<NSStream>&) {}
bool TelvoStreamData::handleErrorOccurred_forStream(const Ref<NSError>&, const Ref<NSStream>&) { return true; }
bool TelvoStreamData::handleEndEncounteredForStream(const Ref<NSStream>&) { return true; }
void TelvoStreamData::handleOtherEvent_forStream(NSUInteger, const Ref<NSStream>&) {}

void TelvoStreamData::sendString(const Ref<NSString>& string) {
  if (!isConnected()) return informDelegateOfError_terminate("Can't send as not connected"_ns, false);
  if (!outputStream_ || !outputStream_->hasSpaceAvailable()) {
    NSTimer::scheduledTimerWithTimeInterval_target_selector_userInfo_repeats(sendRetryInterval, self(),
                                                                             "sendStringTimer:"_sel, string, false);
    return;
  }
  const auto line = (string ? string : ""_ns)->stringByAppendingString("\r\n"_ns);
  const auto bytes = line->dataUsingEncoding(NSUTF8StringEncoding, true);
  const auto length = static_cast<NSInteger>(bytes->length());
  const NSInteger written = outputStream_->write_maxLength(bytes->bytes(), bytes->length());
  if (written == length) {
    informDelegateUsingSignature_withObject("streamData:sentString:"_ns, line);
  } else if (written < 0) {
    informDelegateOfError_terminate(
        NSString::stringWithFormat("Was not able to send the %ld bytes string %@"_ns, length, line), false);
  } else {
    informDelegateOfError_terminate(
        NSString::stringWithFormat("Was only able to send %ld bytes of the %ld bytes string %@"_ns, written, length,
                                   line),
        false);
  }
}

void TelvoStreamData::sendStringTimer(const Ref<NSTimer>& timer) { sendString(as<NSString>(timer->userInfo())); }

void TelvoStreamData::receiveStringForStream(const Ref<NSInputStream>& stream) {
  std::array<std::uint8_t, receiveLimit> buffer;
  const NSInteger size = stream ? stream->read_maxLength(buffer.data(), buffer.size()) : 0;
  if (size <= 0) return;
  const auto bytes = NSData::dataWithBytes_length(buffer.data(), static_cast<NSUInteger>(size));
  auto text = NSString::stringWithData_encoding(bytes, NSUTF8StringEncoding);
  if (!text || text->length() == 0) text = bytes->description();
  informDelegateUsingSignature_withObject("streamData:receivedString:"_ns, text);
}

}  // namespace telvo
