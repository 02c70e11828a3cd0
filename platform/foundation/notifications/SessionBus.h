#pragma once

#include <functional>
#include <optional>
#include <string>

using GVariant = struct _GVariant;

inline namespace telvo {

// The user's session bus, over one connection that the notification centres share. It is made when it is first needed
// and lives until the process ends. There is no bus when none answers within five seconds; one that dies does not end
// the process by itself. What waits for the bus on the main thread serves the urgent request meanwhile
// (UrgentRequest.h). For .cpp files of the platform only.
namespace foundation {

// A signal sent to everybody, with the parameters taken over as GLib does. Nothing is sent without a bus. What was
// sent leaves before the process exits, if the bus takes it within a second. Any thread.
void emitOnSessionBus(const char* path, const char* interface, const char* member, GVariant* parameters);

struct SignalMatch {
  std::optional<std::string> sender;  // none: anybody
  std::string path;
  std::string interface;
  std::string member;
  std::optional<std::string> firstArgument;  // none: any
};

// The callback gets the parameters of each matching signal, from the main run loop; an exception passes out of that
// run loop's turn. Nothing is missed that is sent after the return, unless the bus takes more than five seconds to take
// the subscription. On the main thread only. Without a bus nothing ever comes, and the answer is 0.
unsigned subscribeOnSessionBus(const SignalMatch& match, std::function<void(GVariant* parameters)> callback);
void unsubscribeOnSessionBus(unsigned subscription);

// The callback comes once, from the main run loop, when the bus has gone; never without a bus. On the main thread only.
void watchSessionBusEnd(std::function<void()> callback);

}  // namespace foundation

}  // namespace telvo
