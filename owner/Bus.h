#pragma once

#include <string>

#include "telvo/owner/GLibObjects.h"
#include "telvo/owner/Owner.h"

namespace telvo {

constexpr std::chrono::seconds busLimit(5);

// Ends the process, waits for that, and lets it go.
struct EndProcess {
  void operator()(GSubprocess* process) const;
};

// The session bus, or a bus of the owner's own. Throws std::runtime_error as Owner does.
class Bus {
 public:
  explicit Bus(BusChoice choice);
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  ~Bus();

  GDBusConnection* connection() const { return connection_.get(); }
  const std::string& address() const { return address_; }
  bool isOwn() const { return daemon_ != nullptr; }

  // Calls a method of the bus itself; returns its answer. Throws when there is none.
  Variant call(const char* method, GVariant* parameters) const;

 private:
  void connectToSession();
  void startDaemon();
  Object<GDBusConnection> connect(Error& error, const TimeLimit& limit) const;

  std::string address_;
  std::unique_ptr<GSubprocess, EndProcess> daemon_;
  Object<GDBusConnection> connection_;
};

}  // namespace telvo
