#pragma once

#include <cstdint>
#include <memory>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSData;
class NSError;
class NSRunLoop;
class NSStream;
class NSString;

enum NSStreamStatus : NSUInteger {
  NSStreamStatusNotOpen = 0,
  NSStreamStatusOpening = 1,
  NSStreamStatusOpen = 2,
  NSStreamStatusReading = 3,
  NSStreamStatusWriting = 4,
  NSStreamStatusAtEnd = 5,
  NSStreamStatusClosed = 6,
  NSStreamStatusError = 7,
};

enum NSStreamEvent : NSUInteger {
  NSStreamEventNone = 0,
  NSStreamEventOpenCompleted = 1,
  NSStreamEventHasBytesAvailable = 2,
  NSStreamEventHasSpaceAvailable = 4,
  NSStreamEventErrorOccurred = 8,
  NSStreamEventEndEncountered = 16,
};

// Receives a stream's events on the thread of the run loop that the stream is scheduled on.
class NSStreamDelegate {
 public:
  virtual ~NSStreamDelegate() = default;
  virtual void stream_handleEvent(const Ref<NSStream>& stream, NSStreamEvent event) = 0;
};

// A flow of bytes that reports what happens to it as events, each from a run-loop turn of its own, never from inside
// the call that caused it unless a subclass says so. At most one event of a kind is waiting at a time; waiting events
// are delivered in the order open, bytes or space, error, end. A closed stream delivers nothing any more. One thread
// at a time, the one of its run loop while it is scheduled.
class NSStream : public NSObject {
  NS_OBJECT(NSStream, NSObject)

 public:
  NSStream();
  NSStream(const NSStream&) = delete;
  NSStream& operator=(const NSStream&) = delete;
  ~NSStream() override;

  // Not owned: the delegate sets it to null before it goes.
  NSStreamDelegate* delegate() const { return delegate_; }
  void setDelegate(NSStreamDelegate* delegate) { delegate_ = delegate; }

  virtual void open() = 0;
  virtual void close() = 0;
  void scheduleInRunLoop_forMode(const Ref<NSRunLoop>& runLoop, const Ref<NSString>& mode);
  void removeFromRunLoop_forMode(const Ref<NSRunLoop>& runLoop, const Ref<NSString>& mode);

  NSStreamStatus streamStatus() const { return status_; }
  const Ref<NSError>& streamError() const { return error_; }

  // Properties by key; the base stream has none: nil, and false for "not accepted".
  virtual id propertyForKey(const Ref<NSString>& key) const;
  virtual bool setProperty_forKey(const id& property, const Ref<NSString>& key);

 protected:
  // Has the event delivered in a coming turn; before the stream is scheduled, in the first turn after it is.
  void signal(NSStreamEvent event);
  void cancel(NSStreamEvent event);
  void cancelAllEvents();
  // Sets status and error and has the error event delivered; has-bytes and has-space events are withdrawn.
  void fail(const Ref<NSError>& error);
  // Delivers an event at once, inside this call, when it waits to be delivered.
  void deliverIfWaiting(NSStreamEvent event);

  void setStatus(NSStreamStatus status) { status_ = status; }
  void setError(const Ref<NSError>& error);
  // The loop the stream is scheduled on, or nil.
  const Ref<NSRunLoop>& runLoop() const { return runLoop_; }

 private:
  struct Events;
  void deliver(NSStreamEvent event);
  void deliverNext();

  NSStreamDelegate* delegate_ = nullptr;
  NSStreamStatus status_ = NSStreamStatusNotOpen;
  Ref<NSError> error_;
  Ref<NSRunLoop> runLoop_;
  std::unique_ptr<Events> events_;
};

// A stream to read from.
class NSInputStream : public NSStream {
  NS_OBJECT(NSInputStream, NSStream)

 public:
  // Reads up to that many bytes: their number, 0 at the end, negative after a failure (then streamError() tells).
  virtual NSInteger read_maxLength(std::uint8_t* buffer, NSUInteger length) = 0;
  // Whether a read would give something at once; true also when only reading can tell.
  virtual bool hasBytesAvailable() const = 0;
  // The descriptor of the open regular file whose next bytes a read would give, for whoever has the system move them,
  // which counts as read; -1 when there is no such thing.
  virtual int fileDescriptor() const { return -1; }
};

// A stream to write to.
class NSOutputStream : public NSStream {
  NS_OBJECT(NSOutputStream, NSStream)

 public:
  // Writes up to that many bytes: the number taken, 0 when there is no room now, negative after a failure.
  virtual NSInteger write_maxLength(const std::uint8_t* bytes, NSUInteger length) = 0;
  // Has the system move up to that many of the source's next bytes, without a copy for the caller: the number moved, 0
  // when there is no room now, negative when nothing can be had this way, be it for these streams, at this time, at the
  // source's end or after a failure; reading and writing then do it, or tell.
  virtual NSInteger writeFromStream_maxLength([[maybe_unused]] const NSInputStream& source,
                                              [[maybe_unused]] NSUInteger length) {
    return -1;
  }
  virtual bool hasSpaceAvailable() const = 0;
};

TELVO_NAMESPACE_END
