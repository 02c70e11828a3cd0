#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/events/NSStream.h"
#include "streams/TelvoDelegateData.h"

TELVO_NAMESPACE_BEGIN

class NSRunLoop;
class NSTimer;

// A connection between one input and one output stream, driven by a run loop. Subclasses make the streams and move
// the bytes; every step is reported to the delegate on the main thread:
//
//   "streamDataConnecting:"               both streams have been asked to open
//   "streamData:connectedToStream:"       a stream has opened (it is the further argument)
//   "streamDataConnected:"                both have
//   "streamData:sentString:"              sendString() has written the text, line end included
//   "streamData:receivedString:"          receiveStringForStream() has read the text
//   "streamData:errorOccurred:"           an NSError, or a message as a text
//   "streamDataDisconnected:"             disconnect() was called
//   "streamDataConnectionTerminated:"     a stream has come to its end and both are closed, without an error
//   "streamDataEnded:"                    the connection is over: once for each start, whatever happened
//
// Not thread-safe, except disconnect().
class TelvoStreamData : public TelvoDelegateData, public NSStreamDelegate {
  NS_OBJECT(TelvoStreamData, TelvoDelegateData)

 public:
  TelvoStreamData();
  // Closes the streams when both are open; else lets go of them as they are.
  ~TelvoStreamData() override;

  // A new connection of the class.
  static Ref<TelvoStreamData> streamData();

  // Starts the connection. With "UseSameThread" true, runs it on the calling thread and returns once
  // "streamDataEnded:" has been handled; otherwise starts a thread for it and returns at once.
  void connectWithParameters(const Ref<NSDictionary>& parameters);
  void threadedConnectWithParameters(const Ref<NSDictionary>& parameters);

  // For subclasses: makes the two streams from the parameters and stores them. Leaving one nil ends the connection at
  // once. The base version raises the platform's assertion failure.
  virtual void setStreamsWithParameters(const Ref<NSDictionary>& parameters);

  // Turns the run loop, at most 0.1 seconds at a time, until a stream is nil or disconnect() was called.
  void run();

  // Asks run() to return after the turn in progress, and has the connection move nothing more from now on. The streams
  // stay open until terminate() or the release. Any thread.
  void disconnect();

  // Closes both streams, the input first, and lets go of them. Closing may turn the run loop while it waits for the
  // other side; being called once more meanwhile ends the wait.
  void terminate();

  // Reports the error, an NSError or a text; terminates first when told to.
  void informDelegateOfError_terminate(const id& error, bool terminate);

  // The number of streams that have opened; connected is 2.
  bool isConnected() const { return connectionCount_ == 2; }
  std::int32_t connectionCount() const { return connectionCount_; }
  void resetConnectionCount() { connectionCount_ = 0; }
  std::int32_t incrementConnectionCount() { return ++connectionCount_; }

  const Ref<NSRunLoop>& runLoop() const { return runLoop_; }
  void setRunLoop(const Ref<NSRunLoop>& runLoop);
  const Ref<NSInputStream>& inputStream() const { return inputStream_; }
  void setInputStream(const Ref<NSInputStream>& stream);
  const Ref<NSOutputStream>& outputStream() const { return outputStream_; }
  void setOutputStream(const Ref<NSOutputStream>& stream);

  // A stream's event, on the connection's thread.
  void stream_handleEvent(const Ref<NSStream>& stream, NSStreamEvent event) override;

  // What subclasses do about an event. Those that answer say whether the connection is to be terminated.
  virtual void handleNoEventForStream(const Ref<NSStream>& stream);
  virtual void handleOpenCompletedForStream(const Ref<NSStream>& stream);
  virtual void handleHasBytesAvailableForStream(const Ref<NSStream>& stream);
  virtual void handleHasSpaceAvailableForStream(const Ref<NSStream>& stream);
  virtual bool handleErrorOccurred_forStream(const Ref<NSError>& error, const Ref<NSStream>& stream);
  virtual bool handleEndEncounteredForStream(const Ref<NSStream>& stream);
  virtual void handleOtherEvent_forStream(NSUInteger event, const Ref<NSStream>& stream);

  // Writes the text and a line end as UTF-8, in one write; tries again every 0.5 seconds while there is no room. What
  // a write leaves over is reported and not sent again.
  void sendString(const Ref<NSString>& string);
  void sendStringTimer(const Ref<NSTimer>& timer);
  // Reads up to 1,024 bytes and reports them as text; bytes that are not UTF-8 as their hexadecimal description.
  void receiveStringForStream(const Ref<NSInputStream>& stream);

 protected:
  bool needToStop() const { return needToStop_; }

  // For subclasses: disconnect() was called while the connection runs. Nothing of what is under way may leave any more.
  // On the connection's thread.
  virtual void abandonTransfer() {}

 private:
  void connectionFailed();
  void end();
  void endEncountered();

  Ref<NSRunLoop> runLoop_;
  Ref<NSInputStream> inputStream_;
  Ref<NSOutputStream> outputStream_;
  std::int32_t connectionCount_ = 0;
  std::atomic<bool> needToStop_ = false;
  std::atomic<bool> running_ = false;  // inside run()
  bool endedByError_ = false;
};

TELVO_NAMESPACE_END
