// telvo-upload: uploads a file or folder tree to an FTP server through the helper, and tells what has arrived.

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include <fcntl.h>
#include <glib-unix.h>
#include <unistd.h>

#include "telvo-upload/CommandLine.h"
#include "telvo-upload/Report.h"
#include "telvo/owner/Encryption.h"
#include "telvo/owner/Login.h"
#include "telvo/owner/Owner.h"
#include "telvo/owner/Terminal.h"

namespace {

// What is opened later would take the place of a standard stream that was closed, and get its output.
void holdStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
  }
}

// From ~/.netrc, unless everything is known without it.
std::optional<telvo::Login> savedLogin(const CommandLine& line) try {
  if (line.password && !line.target.user.empty()) return std::nullopt;
  return telvo::loginFromNetrc(line.target.hostName(), line.target.user);
} catch (const std::runtime_error& error) {
  complain(error.what());
  return std::nullopt;
}

// In the order that --help tells. Without a user, and none saved for the host, the login is anonymous.
std::string findPassword(const CommandLine& line, const std::optional<telvo::Login>& saved, bool hasDesktop) {
  const std::string& user = line.target.user;
  // A dry run logs in to nobody.
  if (user.empty() || line.upload.dryRun) return {};
  if (line.password) return *line.password;
  if (saved && !saved->password.empty()) return saved->password;
  if (hasDesktop) {
    if (const auto found = telvo::passwordFromKeyring(line.target.hostName(), user)) return *found;
  }
  return telvo::askForPassword("Password for " + telvo::harmless(user + "@" + line.target.host) + ": ");
}

// What the user has asked for while the upload runs: a stop, and then to leave at once.
struct Requests {
  telvo::Owner& owner;
  int stops = 0;

  static gboolean stop(gpointer requests) {
    auto* const self = static_cast<Requests*>(requests);
    if (++self->stops == 1) self->owner.stop();
    return G_SOURCE_CONTINUE;
  }
};

telvo::Verdict follow(telvo::Owner& owner, const CommandLine& line) {
  Report report(line.output, line.upload);
  Requests requests{owner};
  for (const int number : {SIGINT, SIGTERM}) g_unix_signal_add(number, &Requests::stop, &requests);
  std::optional<telvo::Ending> ending;
  telvo::UploadEvents events;
  events.ready = [&report](const std::string& version) { report.ready(version); };
  events.item = [&report](const telvo::Record& record) { report.item(record); };
  events.bytes = [&report](const telvo::Bytes& bytes) { report.bytes(bytes); };
  events.ended = [&ending](telvo::Ending how) { ending = how; };
  owner.start(line.upload, events);
  while (!ending && requests.stops < 2) g_main_context_iteration(nullptr, TRUE);
  return report.end(ending.value_or(telvo::Ending::helperEnded), requests.stops > 0);
}

int run(int argc, char** argv) {
  auto line = readCommandLine(argc, argv);
  if (!line) return 0;
  const auto saved = savedLogin(*line);
  if (saved) line->target.user = saved->user;
  useUsualCache(*line);
  telvo::Owner owner(telvo::BusChoice::sessionOrOwn);
  line->upload.user = line->target.user;
  line->upload.password = findPassword(*line, saved, owner.isOnSessionBus());
  const telvo::Verdict verdict = follow(owner, *line);
  if (verdict == telvo::Verdict::loginRefused && line->upload.security == telvo::Security::none &&
      telvo::offersEncryption(line->upload.host)) {
    complain("this server also takes encrypted logins: --security tls");
  }
  return telvo::exitStatus(verdict);
}

}  // namespace

int main(int argc, char** argv) {
  holdStandardStreams();
  try {
    return run(argc, argv);
  } catch (const UsageError& error) {
    complain(error.what());
    std::fputs("See telvo-upload --help.\n", stderr);
    return 2;
  } catch (const std::exception& error) {
    complain(error.what());
    return 1;
  }
}
