#pragma once

#include <functional>

#include "foundation/events/EventSource.h"

inline namespace telvo {

// Turns the signals that ask for the end (SIGTERM, SIGINT and, unless the process was started to outlive it, SIGHUP)
// into a request that the main run loop serves. One for the process, on the main thread.
class TerminationSignals {
 public:
  // Before anything else is set up, so that an early signal is not lost.
  static void catchThem();

  // Calls the function for each request. While a call on the main thread waits for the session bus, it is called from
  // there. When the main thread waits in the system for something that no signal interrupts, such as a mount whose
  // server has gone, the process is ended after some seconds without it, with status 0.
  explicit TerminationSignals(std::function<void()> serve);
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;
  ~TerminationSignals();

 private:
  foundation::DescriptorSource source_;
};

}  // namespace telvo
