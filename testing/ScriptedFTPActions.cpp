#include <cstdio>
#include <utility>

#include "testing/ScriptedFTPServer.h"

// The usual behaviour.

namespace {

using Session = ScriptedFTPServer::Session;

void usualPassword(Session& session, const std::string& password) {
  session.loggedIn = session.user == "anonymous" || (session.user == "telvo" && password == "secret");
  session.reply(session.loggedIn ? "230 Logged in." : "530 Not logged in.");
}

void usualActive(Session& session, const std::string& host, std::uint16_t port) {
  session.useActive(host, port);
  session.reply("200 Understood.");
}

void usualExtendedActive(Session& session, const std::string& argument) {
  const std::size_t host = argument.find('|', 1) + 1;
  const std::size_t port = argument.find('|', host) + 1;
  usualActive(session, argument.substr(host, port - 1 - host),
              static_cast<std::uint16_t>(std::stoi(argument.substr(port))));
}

void usualOldActive(Session& session, const std::string& argument) {
  unsigned n[6] = {};
  if (std::sscanf(argument.c_str(), "%u,%u,%u,%u,%u,%u", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]) != 6) return;
  std::string host = argument;
  for (std::size_t i = 0, commas = 0; i < host.size(); ++i) {
    if (host[i] != ',') continue;
    if (++commas == 4) host.resize(i);
    if (i < host.size()) host[i] = '.';
  }
  usualActive(session, host, static_cast<std::uint16_t>(n[4] * 256 + n[5]));
}

void usualGoodBye(Session& session) {
  session.reply("221 Goodbye.");
  session.drop();
}

}  // namespace

void ScriptedFTPServer::Session::perform(const std::string& verb, const std::string& argument) {
  if (verb != "GREETING") server_.note([&] { server_.commands_.push_back({number_, verb, argument}); });
  const bool isPassiveStore = verb == "STOR" && listener_ && !data_;
  if (isPassiveStore && !isReadable(listener_)) ++server_.storesWithoutData_;
  if (const Action action = server_.nextAction(verb)) return action(*this, argument);
  if (verb == "GREETING") return reply("220 Ready.");
  if (verb == "QUIT") return usualGoodBye(*this);
  if (verb == "NOOP") return reply("200 Still here.");
  if (verb == "USER") {
    user = argument;
    return reply("331 Password, please.");
  }
  if (verb == "PASS") {
    usualPassword(*this, argument);
    if (loggedIn) server_.note([this] { ++server_.logins_; });
    return;
  }
  if (!loggedIn) return reply("530 Log in first.");
  if (verb == "TYPE") return reply("200 Type set.");
  if (verb == "EPSV") return reply(scripted::extendedPassiveReply(listen()));
  if (verb == "PASV") return reply(scripted::passiveReply("127,0,0,1", listen()));
  if (verb == "EPRT") return usualExtendedActive(*this, argument);
  if (verb == "PORT") return usualOldActive(*this, argument);
  if (verb == "STOR") return scripted::storeThen("226 Stored.")(*this, argument);
  if (verb == "MKD") {
    bool made = false;
    server_.note([&] { made = server_.folders_.insert(argument).second; });
    return reply(made ? "257 \"" + argument + "\" made." : "550 File exists.");
  }
  reply("502 Not known here.");
}

// Ready-made actions.

namespace scripted {

Action reply(const std::string& line) {
  return [line](Session& session, const std::string&) { session.reply(line); };
}

Action send(const std::string& bytes) {
  return [bytes](Session& session, const std::string&) { session.send(bytes); };
}

Action sendOneByOne(const std::string& bytes) {
  return [bytes](Session& session, const std::string&) { session.sendOneByOne(bytes); };
}

Action silence() {
  return [](Session&, const std::string&) {};
}

Action stall() {
  return [](Session& session, const std::string&) { session.waitForTheEnd(); };
}

Action dropControl() {
  return [](Session& session, const std::string&) { session.drop(); };
}

Action resetControl() {
  return [](Session& session, const std::string&) { session.reset(); };
}

Action then(Action first, Action second) {
  return [first = std::move(first), second = std::move(second)](Session& session, const std::string& argument) {
    first(session, argument);
    second(session, argument);
  };
}

Action afterSeconds(double seconds, Action action) {
  return [seconds, action = std::move(action)](Session& session, const std::string& argument) {
    session.sleep(seconds);
    action(session, argument);
  };
}

Action flood(const std::string& bytes) {
  return [bytes](Session& session, const std::string&) {
    while (true) session.send(bytes);
  };
}

Action storePart(std::size_t limit, Action action) {
  return [limit, action = std::move(action)](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    if (!session.openData()) return session.reply("425 No data connection.");
    session.note(path, session.receive(limit));
    action(session, path);
  };
}

Action closeData() {
  return [](Session& session, const std::string&) { session.closeData(); };
}

Action resetData() {
  return [](Session& session, const std::string&) { session.resetData(); };
}

Action closedDataPort() {
  return [](Session& session, const std::string&) { session.reply(extendedPassiveReply(session.closedPort())); };
}

Action fullDataPort() {
  return [](Session& session, const std::string&) { session.reply(extendedPassiveReply(session.fullPort())); };
}

Action storeThen(const std::string& line) {
  return [line](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    if (!session.openData()) return session.reply("425 No data connection.");
    const std::string content = session.receive();
    session.closeData();
    session.note(path, content);
    session.reply(session.dataEnd() == ScriptedFTPServer::End::Orderly ? line : "426 The data connection broke.");
  };
}

std::string passiveReply(const std::string& host, std::uint16_t port) {
  return "227 Entering Passive Mode (" + host + "," + std::to_string(port / 256) + "," + std::to_string(port % 256) +
         ").";
}

std::string extendedPassiveReply(std::uint16_t port) {
  return "229 Entering Extended Passive Mode (|||" + std::to_string(port) + "|)";
}

}  // namespace scripted
