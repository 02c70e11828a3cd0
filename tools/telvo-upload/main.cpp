// telvo-upload: uploads a file or folder tree to an FTP server through the helper, and tells what has arrived.

#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include <glib-unix.h>

#include "telvo-upload/CommandLine.h"
#include "telvo-upload/Report.h"
#include "telvo/owner/Encryption.h"
#include "telvo/owner/Login.h"
#include "telvo/owner/Owner.h"

namespace {

std::optional<telvo::Login> fromNetrc(const telvo::Target& target) try {
  return telvo::loginFromNetrc(target.hostName(), target.user);
} catch (const std::runtime_error& error) {
  std::fprintf(stderr, "telvo-upload: %s\n", error.what());
  return std::nullopt;
}

// In the order that --help tells. Without a user, and none saved for the host, the login is anonymous.
telvo::Login findLogin(const CommandLine& line, bool hasDesktop) {
  const telvo::Target& target = line.target;
  if (line.password && !target.user.empty()) return {target.user, *line.password};
  if (const auto saved = fromNetrc(target)) return {saved->user, line.password.value_or(saved->password)};
  if (target.user.empty()) return {};
  if (hasDesktop) {
    if (const auto saved = telvo::passwordFromKeyring(target.hostName(), target.user)) return {target.user, *saved};
  }
  return {target.user, telvo::askForPassword("Password for " + target.user + "@" + target.host + ": ")};
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
  telvo::Owner owner(telvo::BusChoice::sessionOrOwn);
  const telvo::Login login = findLogin(*line, owner.isOnSessionBus());
  line->upload.user = login.user;
  line->upload.password = login.password;
  const telvo::Verdict verdict = follow(owner, *line);
  if (verdict == telvo::Verdict::loginRefused && line->upload.security == telvo::Security::none &&
      telvo::offersEncryption(line->upload.host)) {
    std::fputs("telvo-upload: this server also takes encrypted logins: --security tls\n", stderr);
  }
  return statusFor(verdict);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const UsageError& error) {
    std::fprintf(stderr, "telvo-upload: %s\nSee telvo-upload --help.\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "telvo-upload: %s\n", error.what());
    return 1;
  }
}
