#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "cfnetwork/FTPSessionPool.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// Control connections that prepare themselves while another one sends an item.

using namespace cfnetwork;
using namespace scripted;

namespace {

// As over a long way, though the server is near.
FTPLimits farAway(std::size_t connections = 3) {
  FTPLimits limits;
  limits.connections = connections;
  limits.shortRoundTrip = 0;
  return limits;
}

// Turns the loop, as the next item would, so that the other connections get on.
void turnUntil(const std::function<bool()>& condition) {
  const auto start = std::chrono::steady_clock::now();
  while (!condition() && std::chrono::steady_clock::now() - start < std::chrono::seconds(30)) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.01));
  }
  EXPECT_TRUE(condition());
}

// Makes the server slow, but not the way to it.
void answerAfter(ScriptedFTPServer& server, double seconds) {
  server.always("USER", afterSeconds(seconds, scripted::reply("331 Password, please.")));
  server.always("PASS", [seconds](Session& session, const std::string&) {
    session.sleep(seconds);
    session.loggedIn = true;
    session.reply("230 Logged in.");
  });
  server.always("TYPE", afterSeconds(seconds, scripted::reply("200 Type set.")));
  server.always("EPSV", [seconds](Session& session, const std::string&) {
    session.sleep(seconds);
    session.reply(extendedPassiveReply(session.listen()));
  });
  server.always("STOR", afterSeconds(seconds, storeThen("226 Stored.")));
}

// The client's own end of its connection to the port; the process has the server's as well.
int descriptorOfConnectionTo(std::uint16_t port) {
  constexpr int enough = 1024;
  for (int descriptor = 0; descriptor < enough; ++descriptor) {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    const bool isConnected = getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
    if (isConnected && peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) return descriptor;
  }
  return -1;
}

int optionOf(int descriptor, int level, int option) {
  int value = -1;
  socklen_t size = sizeof value;
  return getsockopt(descriptor, level, option, &value, &size) == 0 ? value : -1;
}

// QUIT: notes how the data connection that was made in vain ends, if there is one.
Action noteUnusedData(std::atomic<int>& orderly, std::atomic<int>& reset) {
  return [&](Session& session, const std::string&) {
    if (session.openData()) {
      session.receive();
      ++(session.dataEnd() == ScriptedFTPServer::End::Orderly ? orderly : reset);
    }
    session.reply("221 Goodbye.");
    session.drop();
  };
}

class FTPSessionPoolTest : public testing::Test {
 protected:
  void expectItemStored(const std::string& path, const std::string& content = "content") {
    Upload upload(server, path, path.ends_with('/') ? "" : content);
    upload.limits = limits;
    EXPECT_TRUE(upload.stores()) << path << ": " << upload.errorText();
    if (path.ends_with('/')) return;
    EXPECT_EQ(server.file(path) == content, true) << path;
  }

  void expectFilesStored(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string path = "/" + std::to_string(number_++);
      expectItemStored(path, "content of " + path);
    }
  }

  // Sends files until that many connections are ready for the next one.
  void sendUntilPrepared(std::size_t connections) {
    for (int i = 0; i < 200 && server.sessions() < connections; ++i) {
      expectFilesStored(1);
      settle();
    }
    turnUntil([&] { return FTPSessionPool::ofThread().preparedSessions() == connections - 1; });
  }

  // Replies that are under way come in, and ends of connections.
  static void settle() {
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(50)) {
      NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(),
                                                      NSDate::dateWithTimeIntervalSinceNow(0.01));
    }
  }

  std::vector<std::size_t> sessionsOf(const std::string& verb) const {
    std::vector<std::size_t> sessions;
    for (const auto& command : server.commands()) {
      if (command.verb == verb) sessions.push_back(command.session);
    }
    return sessions;
  }

  ScriptedFTPServer server;
  FTPLimits limits = farAway();

 private:
  int number_ = 0;
};

TEST_F(FTPSessionPoolTest, OneOrTwoFilesNeedOneConnection) {
  expectItemStored("/folder/");
  expectFilesStored(2);
  settle();
  EXPECT_EQ(server.sessions(), 1U);
}

TEST_F(FTPSessionPoolTest, AFileIsSentOverAConnectionThatWasReadyForIt) {
  sendUntilPrepared(3);
  const auto before = server.commands().size();
  expectFilesStored(1);
  const auto commands = server.commands();
  const auto store = std::find_if(commands.begin() + static_cast<std::ptrdiff_t>(before), commands.end(),
                                  [](const auto& command) { return command.verb == "STOR"; });
  ASSERT_NE(store, commands.end());
  // Its port was asked for before the item began, over another connection than the last one's.
  const auto asked = std::count_if(commands.begin() + static_cast<std::ptrdiff_t>(before), store,
                                   [&](const auto& command) { return command.session == store->session; });
  EXPECT_EQ(asked, 0);
}

TEST_F(FTPSessionPoolTest, ThereAreNeverMoreThanThreeOrThanIsSaid) {
  sendUntilPrepared(3);
  expectFilesStored(20);
  EXPECT_EQ(server.sessions(), 3U);
  for (const std::size_t most : {1UL, 2UL}) {
    ScriptedFTPServer other;
    for (int i = 0; i < 20; ++i) {
      Upload upload(other, "/" + std::to_string(i), "content");
      upload.limits = farAway(most);
      EXPECT_TRUE(upload.stores());
      settle();
    }
    EXPECT_EQ(other.sessions(), most);
  }
}

TEST_F(FTPSessionPoolTest, TheSystemsSettingsCanSayFewer) {
  const auto settings = NSDictionary::dictionary({{"FTPConnections"_ns, NSNumber::numberWithInteger(2)}});
  for (int i = 0; i < 20; ++i) {
    Upload upload(server, "/" + std::to_string(i), "content");
    upload.stream->setProperty_forKey(settings, kCFStreamPropertyFTPProxy());
    upload.limits = limits;
    EXPECT_TRUE(upload.stores());
    settle();
  }
  EXPECT_EQ(server.sessions(), 2U);
}

TEST_F(FTPSessionPoolTest, ANearServerGetsOneConnection) {
  limits.shortRoundTrip = 1000;
  expectFilesStored(10);
  EXPECT_EQ(server.sessions(), 1U);
}

// What counts is how far away it is, not how long it takes for its replies.
TEST_F(FTPSessionPoolTest, ANearServerThatIsBusyGetsOneConnection) {
  limits = FTPLimits();
  answerAfter(server, 2 * limits.shortRoundTrip);
  expectFilesStored(10);
  EXPECT_EQ(server.sessions(), 1U);
}

// A router between must not forget it during a long transfer.
TEST_F(FTPSessionPoolTest, AControlConnectionIsKeptAlive) {
  expectFilesStored(1);
  const int descriptor = descriptorOfConnectionTo(server.port());
  ASSERT_GE(descriptor, 0);
  EXPECT_EQ(optionOf(descriptor, SOL_SOCKET, SO_KEEPALIVE), 1);
  EXPECT_EQ(optionOf(descriptor, IPPROTO_TCP, TCP_KEEPIDLE), 60);
  EXPECT_EQ(optionOf(descriptor, IPPROTO_TCP, TCP_KEEPINTVL), 60);
}

TEST_F(FTPSessionPoolTest, ItemsGoOutOneAtATimeInTheirOrder) {
  std::atomic<int> atWork = 0;
  std::atomic<int> most = 0;
  for (const char* verb : {"STOR", "MKD"}) {
    server.always(verb, [&, isFile = std::string(verb) == "STOR"](Session& session, const std::string& path) {
      most = std::max<int>(most, ++atWork);
      session.sleep(0.01);
      --atWork;
      isFile ? storeThen("226 Stored.")(session, path) : session.reply("257 Made.");
    });
  }
  std::vector<std::string> paths;
  for (int folder = 0; folder < 4; ++folder) {
    const std::string path = "/folder" + std::to_string(folder);
    paths.push_back(path);
    expectItemStored(path + "/");
    for (int file = 0; file < 6; ++file) {
      paths.push_back(path + "/" + std::to_string(file));
      expectItemStored(paths.back());
    }
  }
  EXPECT_EQ(most, 1);
  std::vector<std::string> sent;
  for (const auto& command : server.commands()) {
    if (command.verb == "STOR" || command.verb == "MKD") sent.push_back(command.argument);
  }
  EXPECT_EQ(sent, paths);
  EXPECT_EQ(server.sessions(), 3U);
  EXPECT_EQ(server.timesAhead(), 0U);
  EXPECT_EQ(server.storesWithoutData(), 0U);
}

// An additional connection that the server does not want, in whatever way, shows nowhere and is not asked for again.
TEST_F(FTPSessionPoolTest, ASecondConnectionThatIsRefusedIsNotTriedAgain) {
  struct Refusal {
    const char* verb;
    Action action;
  };
  const std::vector<Refusal> refusals{
      {"GREETING", then(scripted::reply("421 Too many users."), dropControl())},
      {"GREETING", then(scripted::reply("530 One at a time."), dropControl())},
      {"GREETING", dropControl()},
      {"GREETING", resetControl()},
      {"USER", scripted::reply("530 Once is enough.")},
      {"PASS", scripted::reply("530 Once is enough.")},
      {"PASS", then(scripted::reply("421 Too many connections."), dropControl())},
      {"TYPE", dropControl()},
      {"GREETING", scripted::reply("garbage")},
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.verb);
    ScriptedFTPServer one;
    const auto store = [&](const std::string& path) {
      Upload upload(one, path, path);
      upload.limits = farAway();
      EXPECT_TRUE(upload.stores()) << upload.errorText();
      EXPECT_EQ(one.file(path), path);
    };
    store("/a");
    one.always(refusal.verb, refusal.action);
    for (int i = 0; i < 12; ++i) {
      store("/" + std::to_string(i));
      settle();
    }
    EXPECT_EQ(one.sessions(), 2U);
    for (const auto& command : one.commands()) EXPECT_TRUE(command.verb != "STOR" || command.session == 0);
  }
}

TEST_F(FTPSessionPoolTest, ASecondConnectionThatNeverAnswersHoldsNothingUp) {
  expectFilesStored(1);
  server.always("GREETING", stall());
  expectFilesStored(12);
  EXPECT_TRUE(server.waitUntil([&] { return server.sessions() > 1; }));
  expectFilesStored(3);
  EXPECT_EQ(server.sessions(), 2U);
}

// A server that allows one session for each user, and ends the older one.
TEST_F(FTPSessionPoolTest, AServerThatEndsTheFirstConnectionForTheSecondGetsNoThird) {
  expectFilesStored(2);
  server.on("STOR", [](Session& session, const std::string& path) {
    session.server().waitUntil([&] { return session.server().logins() == 2; });
    storeThen("226 Stored.")(session, path);
    session.drop();
  });
  expectFilesStored(1);
  settle();
  expectFilesStored(11);
  EXPECT_EQ(server.sessions(), 2U);
}

// Nor does a third one join it while it is not known yet what becomes of it.
TEST_F(FTPSessionPoolTest, ASecondConnectionWithoutADataConnectionIsGivenUp) {
  expectFilesStored(2);
  server.always("EPSV", [](Session& session, const std::string&) {
    const bool isFirst = session.number() == 0;
    if (!isFirst) session.sleep(0.05);
    session.reply(extendedPassiveReply(isFirst ? session.listen() : session.closedPort()));
  });
  expectFilesStored(10);
  EXPECT_TRUE(server.waitUntil([&] { return server.sessions() > 1; }));
  settle();
  expectFilesStored(3);
  EXPECT_EQ(server.sessions(), 2U);
  for (const std::size_t session : sessionsOf("STOR")) EXPECT_EQ(session, 0U);
}

// One port for all data connections may mean one queue for all of them.
TEST_F(FTPSessionPoolTest, AServerWithOneFixedPortGetsOneConnection) {
  server.always("EPSV", [](Session& session, const std::string&) {
    session.reply(extendedPassiveReply(session.listenAtFixedPort()));
  });
  expectFilesStored(12);
  EXPECT_EQ(server.sessions(), 1U);
}

TEST_F(FTPSessionPoolTest, ADataConnectionThatHasAgedIsReplacedBeforeItIsUsed) {
  sendUntilPrepared(3);
  limits.prepared = 0;
  const std::size_t asked = server.count("EPSV");
  const std::size_t stored = server.count("STOR");
  expectFilesStored(1);
  EXPECT_GT(server.count("EPSV"), asked);
  EXPECT_EQ(server.count("STOR"), stored + 1);
}

TEST_F(FTPSessionPoolTest, ADataConnectionThatHasDiedIsReplacedBeforeItIsUsed) {
  std::atomic<bool> closesUnused = true;
  server.always("EPSV", [&](Session& session, const std::string&) {
    session.reply(extendedPassiveReply(session.listen()));
    const bool isFirst = session.number() == 0;
    if (isFirst || !closesUnused) return;
    session.openData();
    session.closeData();
  });
  sendUntilPrepared(3);
  for (int i = 0; i < 5; ++i) {
    expectFilesStored(1);
    settle();
  }
  const auto asked = sessionsOf("EPSV");
  EXPECT_GE(std::count(asked.begin(), asked.end(), 1U), 2);
  // The connections that this has happened to are as good as before.
  closesUnused = false;
  expectFilesStored(5);
  const auto stored = sessionsOf("STOR");
  EXPECT_GE(std::count(stored.begin(), stored.end(), 1U), 1);
  EXPECT_EQ(stored.size(), server.transfers().size());
}

TEST_F(FTPSessionPoolTest, PreparedConnectionsThatTheServerHasClosedAreReplacedUnseen) {
  sendUntilPrepared(3);
  const std::size_t stored = server.count("STOR");
  server.closeSessions();
  expectFilesStored(3);
  EXPECT_EQ(server.count("STOR"), stored + 3);
}

TEST_F(FTPSessionPoolTest, AllConnectionsEndAMomentAfterTheLastItem) {
  std::atomic<int> orderly = 0;
  std::atomic<int> reset = 0;
  server.always("QUIT", noteUnusedData(orderly, reset));
  sendUntilPrepared(3);
  limits.idle = 0.1;
  expectItemStored("/folder/");
  turnUntil([&] { return server.openSessions() == 0; });
  EXPECT_EQ(server.count("QUIT"), 3U);
  EXPECT_GE(orderly, 1);
  EXPECT_EQ(reset, 0);
}

// A data connection in good order could be taken for that item's, by a server that mixes them up.
TEST_F(FTPSessionPoolTest, ConnectionsWithNothingToDoEndDuringALongItem) {
  std::atomic<int> orderly = 0;
  std::atomic<int> reset = 0;
  server.always("QUIT", noteUnusedData(orderly, reset));
  limits.spare = 0.1;
  expectFilesStored(2);
  server.on("STOR", [](Session& session, const std::string& path) {
    session.server().waitUntil([&] { return session.server().count("QUIT") == 1; });
    storeThen("226 Stored.")(session, path);
  });
  expectFilesStored(3);
  EXPECT_GE(server.count("QUIT"), 1U);
  EXPECT_TRUE(server.waitUntil([&] { return reset + orderly > 0; }));
  EXPECT_EQ(orderly, 0);
}

TEST_F(FTPSessionPoolTest, AStopEndsTheOtherConnectionsToo) {
  sendUntilPrepared(3);
  server.on("STOR", storePart(0, stall()));
  Upload upload(server, "/stopped", contentOfSize(largeSize));
  upload.limits = limits;
  upload.run([&] { return server.count("STOR") > 0 && upload.offset > 0; });
  upload.stream->breakOff();
  turnUntil([&] { return server.openSessions() <= 1; });
}

TEST_F(FTPSessionPoolTest, ActiveModeIsPreparedToo) {
  for (int i = 0; i < 200 && (i < 20 || server.sessions() < 3); ++i) {
    Upload upload(server, "/" + std::to_string(i), "content");
    upload.stream->setProperty_forKey(NSNumber::numberWithBool(false), kCFStreamPropertyFTPUsePassiveMode());
    upload.limits = limits;
    EXPECT_TRUE(upload.stores()) << upload.errorText();
    EXPECT_EQ(server.file("/" + std::to_string(i)), "content");
    settle();
  }
  EXPECT_EQ(server.sessions(), 3U);
  EXPECT_EQ(server.timesAhead(), 0U);
}

}  // namespace
