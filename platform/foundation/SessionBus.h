#pragma once

#include <functional>
#include <optional>
#include <string>

#include <gio/gio.h>

// The connection to the user's session bus that the notification centres share. For .cpp files of the platform only.
namespace foundation {

// The connection, made when it is first asked for; null when there is no session bus, or none that answers within
// five seconds. Lives until the process ends; a bus that dies does not end the process. Any thread.
GDBusConnection* sessionBus();

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
// run loop's turn. On the main thread only. Without a bus nothing ever comes, and the answer is 0.
unsigned subscribeOnSessionBus(const SignalMatch& match, std::function<void(GVariant* parameters)> callback);
void unsubscribeOnSessionBus(unsigned subscription);

}  // namespace foundation
