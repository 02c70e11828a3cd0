#pragma once

#include <functional>
#include <memory>

#include "foundation/runtime/NSObjCRuntime.h"
#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSRunLoop;

namespace foundation {

// Callbacks on a run loop, for the parts of the platform that wait for something. A source is made, used and
// destroyed on the loop's thread unless a function says otherwise; destroying it, also from inside its callback, ends
// the callbacks. Callbacks may run the loop again, and the source then goes on being served.
class EventSource {
 public:
  EventSource(const EventSource&) = delete;
  EventSource& operator=(const EventSource&) = delete;
  virtual ~EventSource();

  struct Implementation;

 protected:
  EventSource(const Ref<NSRunLoop>& runLoop, std::function<void()> callback);
  std::unique_ptr<Implementation> implementation_;
};

// Called while the descriptor is ready for one of the events that are watched, or has failed. The descriptor is not
// owned and must stay open until the source is destroyed.
class DescriptorSource : public EventSource {
 public:
  enum Events : unsigned { None = 0, Readable = 1, Writable = 2 };
  DescriptorSource(const Ref<NSRunLoop>& runLoop, int descriptor, unsigned events, std::function<void()> callback);
  void setEvents(unsigned events);
  // The events that made the callback run.
  bool isReadable() const;  // also at the end of the stream and after a failure
  bool isWritable() const;
};

// Called once when the time that was set last has come; not set at first.
class TimerSource : public EventSource {
 public:
  TimerSource(const Ref<NSRunLoop>& runLoop, std::function<void()> callback);
  void fireAfter(NSTimeInterval seconds);
  void cancel();
  bool isPending() const;
};

// Called in a coming turn once after any number of signal() calls.
class SignalSource : public EventSource {
 public:
  SignalSource(const Ref<NSRunLoop>& runLoop, std::function<void()> callback);
  void signal();  // any thread
  void clear();
};

}  // namespace foundation

}  // namespace telvo
