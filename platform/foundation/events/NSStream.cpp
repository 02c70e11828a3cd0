#include "foundation/events/NSStream.h"

#include <array>
#include <optional>

#include "foundation/errors/NSError.h"
#include "foundation/events/EventSource.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

struct NSStream::Events {
  NSUInteger pending = 0;
  std::optional<foundation::SignalSource> source;
};

Class NSStream::classObject() {
  static const NSClass object("NSStream", NSObject::classObject(),
                              {
                                  method("open"_sel, &NSStream::open),
                                  method("close"_sel, &NSStream::close),
                                  method("streamStatus"_sel, &NSStream::streamStatus),
                                  method("streamError"_sel, &NSStream::streamError),
                              });
  return &object;
}

Class NSInputStream::classObject() {
  static const NSClass object("NSInputStream", NSStream::classObject(),
                              {method("hasBytesAvailable"_sel, &NSInputStream::hasBytesAvailable)});
  return &object;
}

Class NSOutputStream::classObject() {
  static const NSClass object("NSOutputStream", NSStream::classObject(),
                              {method("hasSpaceAvailable"_sel, &NSOutputStream::hasSpaceAvailable)});
  return &object;
}

NSStream::NSStream() : events_(std::make_unique<Events>()) {}
NSStream::~NSStream() = default;

void NSStream::scheduleInRunLoop_forMode(const Ref<NSRunLoop>& runLoop, const Ref<NSString>&) {
  if (!runLoop) return;
  runLoop_ = runLoop;
  events_->source.emplace(runLoop, [this] { deliverNext(); });
  if (events_->pending) events_->source->signal();
}

void NSStream::removeFromRunLoop_forMode(const Ref<NSRunLoop>& runLoop, const Ref<NSString>&) {
  if (runLoop != runLoop_) return;
  events_->source.reset();
  runLoop_ = nil;
}

id NSStream::propertyForKey(const Ref<NSString>&) const { return nil; }
bool NSStream::setProperty_forKey(const id&, const Ref<NSString>&) { return false; }

void NSStream::signal(NSStreamEvent event) {
  events_->pending |= event;
  if (events_->source) events_->source->signal();
}

void NSStream::cancel(NSStreamEvent event) { events_->pending &= ~static_cast<NSUInteger>(event); }

void NSStream::cancelAllEvents() { events_->pending = 0; }

void NSStream::setError(const Ref<NSError>& error) { error_ = error; }

void NSStream::fail(const Ref<NSError>& error) {
  error_ = error;
  status_ = NSStreamStatusError;
  cancel(NSStreamEventHasBytesAvailable);
  cancel(NSStreamEventHasSpaceAvailable);
  signal(NSStreamEventErrorOccurred);
}

void NSStream::deliver(NSStreamEvent event) {
  const Ref<NSStream> keptAlive(this);
  if (delegate_) delegate_->stream_handleEvent(keptAlive, event);
}

void NSStream::deliverIfWaiting(NSStreamEvent event) {
  if (!(events_->pending & event)) return;
  cancel(event);
  deliver(event);
}

void NSStream::deliverNext() {
  static constexpr std::array order = {NSStreamEventOpenCompleted, NSStreamEventHasBytesAvailable,
                                       NSStreamEventHasSpaceAvailable, NSStreamEventErrorOccurred,
                                       NSStreamEventEndEncountered};
  for (const NSStreamEvent event : order) {
    if (!(events_->pending & event)) continue;
    cancel(event);
    // Signalled again before the delivery: the delegate may run the loop for the events after this one.
    if (events_->pending && events_->source) events_->source->signal();
    deliver(event);
    return;
  }
}

}  // namespace telvo
