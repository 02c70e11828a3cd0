// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "telvo/owner/Namespace.h"
#include "telvo/owner/Upload.h"

// An owner of the helper: it starts one, follows it on the session bus, can stop it, and lets it go. Needs a GLib main
// loop, the program's own or the one in wait(). A whole owner:
//
//   telvo::Owner owner;
//   telvo::Upload upload;
//   upload.source = "/home/anna/Site";
//   upload.host = "ftp.example.com";
//   upload.user = "anna";
//   upload.password = password;
//   upload.reportOutcomes = true;
//   telvo::UploadEvents events;
//   events.item = [](const telvo::Record& record) {
//     if (record.outcome != telvo::Outcome::sent) std::cerr << record.localPath << ": " << record.error << '\n';
//   };
//   owner.start(upload, events);
//   return owner.wait() == telvo::Ending::finished ? 0 : 1;
TELVO_OWNER_NAMESPACE_BEGIN

// Called on the thread and in the main context (the thread's default one) in which the owner was made, while that
// context runs. None may throw, or destroy the owner; stop() may be called in any. Each may be left empty.
struct UploadEvents {
  // The helper listens from now on; its version. Needs Upload::announce.
  std::function<void(const std::string& version)> ready{};
  std::function<void(const Record& record)> item{};
  // Needs Upload::reportBytes.
  std::function<void(const Bytes& bytes)> bytes{};
  // Once, and the last of all. The helper itself stays up to 30 s more unless it is let go.
  std::function<void(Ending ending)> ended{};
};

// Which bus the two talk on. `sessionOrOwn`: where there is no session bus, one of the owner's own, out of the
// terminal's reach, which ends with the owner; the thread that makes the owner has to last as long.
enum class BusChoice { session, sessionOrOwn };

// Not thread-safe: everything on one thread.
class Owner {
 public:
  // Connects to the bus and takes a well-known name there, which is the owner's bundle identifier; without one given, a
  // name that no other owner has. Throws std::runtime_error with a text for people when that fails; a bus that does not
  // answer fails within 5 s.
  explicit Owner(BusChoice choice = BusChoice::session, const std::string& name = {});
  // Lets the helper go: it ends at once, with what it has in progress. Waits for that, at most 5 s, and kills it then.
  ~Owner();
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;

  // Starts the helper; an owner makes one upload. What other programs on the bus say is never taken for the helper's:
  // only messages from the process that was started count. Throws std::runtime_error with a text for people when the
  // helper is not found or the bus does not answer; then no helper has been started.
  void start(const Upload& upload, UploadEvents events);

  // Asks the helper to stop: the item in progress is given up, its record is the last one. A request that comes before
  // the helper listens is kept until it does. Harmless when nothing runs.
  void stop();

  // Runs the main context until the run is over. Returns at once when it is.
  Ending wait();

  // Whether the bus is the session's, not one of the owner's own.
  bool isOnSessionBus() const;

 private:
  class Run;
  std::shared_ptr<Run> run_;
};

// The path of the helper's executable: beside this program, in the same installation as this program, where this
// library's installation has it, or on the path. Throws std::runtime_error when there is none.
std::string findHelper();

TELVO_OWNER_NAMESPACE_END
