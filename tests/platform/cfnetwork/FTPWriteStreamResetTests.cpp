#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cfnetwork/FTPConnectionPool.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/RelayingProxy.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// How data connections are reset for servers that wait for their end to be acknowledged: no server may end up with a
// wrong or missing file by it. The loopback interface has no latency that would show which servers those are, so the
// tests say it.

namespace {

using EarlyData = FTPServerHabits::EarlyData;
using End = ScriptedFTPServer::End;
using Lingering = FTPServerHabits::Lingering;
using Order = FTPServerHabits::Order;

const std::string content = contentOfSize(2000);

// How long a server waits for a reset that is to come, in seconds.
constexpr double longestWait = 20;

class FTPWriteStreamReset : public testing::Test {
 protected:
  FTPEndpoint endpoint() const {
    FTPEndpoint endpoint;
    endpoint.host = server.host();
    endpoint.port = server.port();
    endpoint.user = "telvo";
    endpoint.password = "secret";
    return endpoint;
  }

  // Begins anew with a server of these habits.
  void know(Lingering lingering, Order order = Order::Kept, EarlyData earlyData = EarlyData::Taken) {
    server.forgetActions();
    FTPConnectionPool& pool = FTPConnectionPool::ofThread();
    auto connection = pool.take(endpoint());
    if (!connection) connection = std::make_shared<FTPConnection>(NSRunLoop::currentRunLoop(), endpoint(), limits);
    connection->habits() = {order, earlyData, lingering};
    pool.give(connection);
    // The file that shows that resets can be used has been stored before.
    if (lingering == Lingering::Known) server.on("STOR", nullptr);
  }

  Lingering lingering() const { return FTPConnectionPool::ofThread().knownHabits(endpoint()).lingering; }

  // Stores a file as its writer sees it: once and without an error.
  void expectToArrive(const std::string& path, const std::string& text = content) {
    Upload upload(server, path, text);
    upload.limits = limits;
    EXPECT_TRUE(upload.stores()) << path << ": " << upload.errorText();
    EXPECT_EQ(std::ranges::count(upload.events, NSStreamEventOpenCompleted), 1) << path;
    EXPECT_EQ(upload.offset, text.size()) << path;
    EXPECT_EQ(server.file(path) == text, true) << path;
  }

  std::vector<End> ends() const {
    std::vector<End> ends;
    for (const auto& transfer : server.transfers()) ends.push_back(transfer.end);
    return ends;
  }

  ScriptedFTPServer server;
  FTPLimits limits;
};

// STOR: accepts the data connection, reads up to the reset that follows the data, stores so much of it, and goes on.
scripted::Action storeReset(std::size_t size, scripted::Action action) {
  return [size, action = std::move(action)](scripted::Session& session, const std::string& path) {
    session.reply("150 Send it.");
    if (!session.openData()) return session.reply("425 No data connection.");
    const std::string received = session.receive().substr(0, size);
    EXPECT_TRUE(session.waitForReset(longestWait)) << path;
    session.closeData();
    session.note(path, received, true);
    action(session, path);
  };
}

scripted::Action storeReset() { return storeReset(std::string::npos, scripted::reply("226 Stored.")); }

scripted::Action loseReset(const std::string& refusal) { return storeReset(0, scripted::reply(refusal)); }

// STOR: the same without a reset.
scripted::Action lose(const std::string& refusal) {
  return [refusal](scripted::Session& session, const std::string& path) {
    session.reply("150 Send it.");
    if (!session.openData()) return session.reply("425 No data connection.");
    session.receive();
    session.closeData();
    session.note(path, "", true);
    session.reply(refusal);
  };
}

TEST_F(FTPWriteStreamReset, AFileOfALingeringServerIsSentAgainToFindOutWhetherResetsCanBeUsed) {
  know(Lingering::Known);
  server.on("STOR", storeReset());
  expectToArrive("/a");
  EXPECT_EQ(ends(), std::vector({End::Orderly, End::Reset}));
  EXPECT_EQ(lingering(), Lingering::Avoidable);
  EXPECT_EQ(server.count("SIZE"), 1U);
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, EveryShortFileOfAServerWithAvoidableLingeringIsResetAndItsSizeAskedFor) {
  know(Lingering::Avoidable);
  server.always("STOR", storeReset());
  const std::vector<std::string> contents{"first", content, "", contentOfSize(10000)};
  for (std::size_t i = 0; i < contents.size(); ++i) expectToArrive("/" + std::to_string(i), contents[i]);
  EXPECT_EQ(ends(), std::vector(contents.size(), End::Reset));
  EXPECT_EQ(lingering(), Lingering::Avoidable);
  EXPECT_EQ(server.count("SIZE"), contents.size());
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, ThePreliminaryReplyMayComeAfterTheReset) {
  know(Lingering::Avoidable);
  server.on("STOR", [](scripted::Session& session, const std::string& path) {
    session.openData();
    const std::string received = session.receive();
    EXPECT_TRUE(session.waitForReset(longestWait));
    session.reply("150 Send it.");
    session.closeData();
    session.note(path, received, true);
    session.reply("226 Stored.");
  });
  expectToArrive("/a");
  EXPECT_EQ(lingering(), Lingering::Avoidable);
  EXPECT_EQ(server.transfers().size(), 1U);
}

TEST_F(FTPWriteStreamReset, DataConnectionsInActiveModeAreResetToo) {
  know(Lingering::Avoidable);
  server.on("STOR", storeReset());
  Upload upload(server, "/a", content);
  upload.stream->setProperty_forKey(NSNumber::numberWithBool(false), kCFStreamPropertyFTPUsePassiveMode());
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a"), content);
  EXPECT_EQ(lingering(), Lingering::Avoidable);
}

TEST_F(FTPWriteStreamReset, NothingIsResetForOtherServers) {
  const auto expectNoReset = [this] {
    for (const char* path : {"/a", "/b", "/c"}) expectToArrive(path);
    EXPECT_EQ(ends(), std::vector(server.transfers().size(), End::Orderly));
  };
  for (const Lingering known : {Lingering::Unknown, Lingering::Suspected, Lingering::Unavoidable}) {
    know(known);
    expectNoReset();
  }
  EXPECT_EQ(server.count("SIZE"), 0U);
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    know(known, Order::Broken, EarlyData::Taken);
    expectNoReset();
    know(known, Order::Kept, EarlyData::Lost);
    expectNoReset();
  }
  EXPECT_EQ(server.count("SIZE"), 0U);
}

TEST_F(FTPWriteStreamReset, AnEmptyFileDoesNotShowWhetherResetsCanBeUsed) {
  know(Lingering::Known);
  expectToArrive("/empty", "");
  EXPECT_EQ(server.transfers().size(), 1U);
  EXPECT_EQ(lingering(), Lingering::Known);
}

TEST_F(FTPWriteStreamReset, ThroughAProxyNothingIsReset) {
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    know(known);
    const RelayingProxy proxy;  // another one, so that the connection is new and begins with these habits
    Upload upload(server, "/a", content);
    upload.stream->setProperty_forKey(
        NSDictionary::dictionary({{"FTPProxy"_ns, NSString::stringWithUTF8String(proxy.url())}}),
        kCFStreamPropertyFTPProxy());
    EXPECT_TRUE(upload.stores()) << upload.errorText();
    EXPECT_EQ(server.file("/a"), content);
    EXPECT_EQ(lingering(), known);
  }
  EXPECT_EQ(ends(), std::vector(2, End::Orderly));
  EXPECT_EQ(server.count("SIZE"), 0U);
}

TEST_F(FTPWriteStreamReset, AFileThatDoesNotLeaveInOneGoIsNeverReset) {
  server.setReceiveBuffer(4096);
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    for (const std::size_t size : {std::size_t{400000}, std::size_t{512001}}) {
      know(known);
      // The server reads nothing before all that can leave has left.
      server.always("STOR", [](scripted::Session& session, const std::string& path) {
        session.reply("150 Send it.");
        session.openData();
        session.sleep(0.3);
        const std::string received = session.receive();
        session.closeData();
        session.note(path, received);
        session.reply("226 Stored.");
      });
      expectToArrive("/a", contentOfSize(size));
      EXPECT_EQ(lingering(), known);
    }
  }
  EXPECT_EQ(ends(), std::vector(4, End::Orderly));
  EXPECT_EQ(server.count("SIZE"), 0U);
}

TEST_F(FTPWriteStreamReset, AFileLostByAResetIsSentAgainInGoodOrder) {
  for (const char* refusal : {"426 The data connection broke.", "451 Nothing came.", "425 It has gone."}) {
    know(Lingering::Avoidable);
    server.on("STOR", loseReset(refusal));
    expectToArrive("/a");
    EXPECT_EQ(ends().back(), End::Orderly) << refusal;
    EXPECT_EQ(lingering(), Lingering::Doubtful) << refusal;
  }
  EXPECT_EQ(server.transfers().size(), 6U);
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, AFileThatArrivesAfterALostOneClearsTheDoubt) {
  know(Lingering::Doubtful);
  server.on("STOR", storeReset());
  expectToArrive("/a");
  EXPECT_EQ(lingering(), Lingering::Avoidable);
}

TEST_F(FTPWriteStreamReset, TwoLostFilesInARowEndTheResets) {
  know(Lingering::Avoidable);
  server.on("STOR", loseReset("426 Broken.")).on("STOR", nullptr).on("STOR", loseReset("426 Broken."));
  for (const char* path : {"/a", "/b", "/c"}) expectToArrive(path);
  EXPECT_EQ(ends(), std::vector({End::Reset, End::Orderly, End::Reset, End::Orderly, End::Orderly}));
  EXPECT_EQ(lingering(), Lingering::Unavoidable);
  EXPECT_EQ(server.count("SIZE"), 2U);
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, AConfirmedFileThatIsShortIsSentAgain) {
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable, Lingering::Doubtful}) {
    know(known);
    server.on("STOR", storeReset(1999, scripted::reply("226 Stored.")));
    expectToArrive("/a");
    EXPECT_EQ(ends().back(), End::Orderly);
    EXPECT_EQ(lingering(), Lingering::Unavoidable);
  }
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, AFileWithoutASizeIsSentAgain) {
  const std::vector<std::string> answers{"500 What?", "502 Not here.", "550 No.",  "213 big",
                                         "213",       "213 2000 B",    "213 -1",   "200 2000",
                                         "213 1999",  "213 2001",      "331 Who?", "213 20002000200020002000"};
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    for (const std::string& answer : answers) {
      know(known);
      server.on("STOR", storeReset()).on("SIZE", scripted::reply(answer));
      expectToArrive("/a");
      EXPECT_EQ(ends().back(), End::Orderly) << answer;
      EXPECT_EQ(lingering(), Lingering::Unavoidable) << answer;
    }
  }
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, AStoredFileThatMayNotBeWrittenOverIsNoError) {
  for (const char* refusal : {"553 It exists.", "550 No permission.", "452 Full.", "532 Pay first.", "350 More?"}) {
    know(Lingering::Known);
    server.always("STOR", scripted::reply(refusal));
    expectToArrive("/a");
    EXPECT_EQ(lingering(), Lingering::Unavoidable) << refusal;
  }
  EXPECT_EQ(server.transfers().size(), 5U);
}

TEST_F(FTPWriteStreamReset, AStoredFileThatMayNotBeWrittenOverIsNoErrorWhenTheDataConnectionBreaksFirst) {
  know(Lingering::Known);
  server.always("STOR", [](scripted::Session& session, const std::string&) {
    session.openData();
    session.resetData();
    session.sleep(0.2);
    session.reply("553 It exists.");
  });
  expectToArrive("/a");
  EXPECT_EQ(lingering(), Lingering::Unavoidable);
  EXPECT_EQ(server.transfers().size(), 1U);
}

TEST_F(FTPWriteStreamReset, AStoredFileStaysWhatItIsWhenThereIsNoOtherDataConnection) {
  know(Lingering::Known);
  server.on("EPSV", nullptr).always("EPSV", scripted::reply("425 Enough.")).always("PASV", scripted::reply("425 No."));
  expectToArrive("/a");
  EXPECT_EQ(server.count("STOR"), 1U);
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, AStoredFileStaysWhatItIsWhenTheServerThenClosesTheConnection) {
  know(Lingering::Known);
  server.forgetActions();
  server.on("STOR", scripted::then(scripted::storeThen("226 Stored."), scripted::dropControl()));
  expectToArrive("/a");
  EXPECT_EQ(server.count("STOR"), 1U);
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, AFileThatARefusalHasCutIsSentAgain) {
  // The second refusal gives it a connection of its own.
  for (const char* refusal : {"425 No data connection.", "450 Busy.", "451 Disk trouble.", "552 Full."}) {
    know(Lingering::Known);
    server.on("STOR", loseReset(refusal)).on("STOR", lose(refusal));
    expectToArrive("/a");
    EXPECT_EQ(lingering(), Lingering::Unavoidable) << refusal;
  }
}

TEST_F(FTPWriteStreamReset, AFileThatCannotBeMadeGoodIsAnErrorInTheEnd) {
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    know(known);
    server.on("STOR", loseReset("452 Full.")).always("STOR", lose("452 Full."));
    Upload upload(server, "/a", content);
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.replyCode(), 452);
    EXPECT_EQ(upload.errorText(), "Full.");
    EXPECT_EQ(std::ranges::count(upload.events, NSStreamEventErrorOccurred), 1);
  }
}

TEST_F(FTPWriteStreamReset, AFileWhoseConnectionEndsAfterTheResetIsSentAgainOverAnother) {
  const scripted::Action drop = scripted::dropControl();
  const scripted::Action leave = scripted::then(scripted::reply("421 Closing down."), drop);
  const scripted::Action confirm = scripted::reply("226 Stored.");
  struct Case {
    scripted::Action store, size;
  };
  const std::vector<Case> cases{
      {drop, nullptr},
      {storeReset(0, drop), nullptr},
      {storeReset(1000, leave), nullptr},
      {storeReset(1000, scripted::resetControl()), nullptr},
      {storeReset(1000, scripted::then(confirm, drop)), nullptr},
      {storeReset(1000, scripted::then(confirm, leave)), nullptr},
      {storeReset(1000, confirm), drop},
      {storeReset(1000, confirm), leave},
      {storeReset(1000, scripted::reply("426 Broken.")), leave},
      {storeReset(1000, scripted::reply("213 2000")), nullptr},
  };
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
      const testing::Message trace = testing::Message() << "case " << i;
      SCOPED_TRACE(trace);
      know(known);
      const std::size_t logins = server.logins();
      server.on("STOR", cases[i].store).on("SIZE", cases[i].size);
      expectToArrive("/a");
      EXPECT_NE(lingering(), Lingering::Known);
      EXPECT_LE(server.logins() - logins, 2U);
    }
  }
}

TEST_F(FTPWriteStreamReset, AServerThatThenRefusesTheOtherConnectionIsAskedForOneOnce) {
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    know(known);
    const std::size_t sessions = server.sessions();
    const scripted::Action refuse = scripted::then(scripted::reply("421 Too many users."), scripted::dropControl());
    server.on("STOR", storeReset(1000, scripted::resetControl())).on("GREETING", nullptr).always("GREETING", refuse);
    Upload upload(server, "/a", content);
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.replyCode(), 421);
    EXPECT_EQ(server.sessions() - sessions, 2U);
  }
}

// What has got lost on its way together with the reset, the server waits for.

TEST_F(FTPWriteStreamReset, AServerThatStillWaitsForTheDataConnectionGetsAnother) {
  limits.reply = 8;
  for (const Lingering known : {Lingering::Known, Lingering::Avoidable}) {
    know(known);
    server.on("STOR", [](scripted::Session& session, const std::string& path) {
      session.skipData();
      session.openData();
      session.reply("150 Send it.");
      const std::string received = session.receive();
      session.closeData();
      session.note(path, received);
      session.reply("226 Stored.");
    });
    expectToArrive("/a");
    EXPECT_EQ(ends().back(), End::Orderly);
    EXPECT_EQ(lingering(), Lingering::Unavoidable);
  }
  EXPECT_EQ(server.logins(), 1U);
}

TEST_F(FTPWriteStreamReset, AServerThatSaysNothingAnyMoreIsLeftForAnotherConnection) {
  limits.reply = 2;
  for (const bool begins : {false, true}) {
    know(Lingering::Avoidable);
    server.on("STOR", [begins](scripted::Session& session, const std::string&) {
      if (begins) session.reply("150 Send it.");
      session.openData();
      session.waitForTheEnd();
    });
    expectToArrive("/a");
    EXPECT_EQ(ends().back(), End::Orderly);
    EXPECT_EQ(lingering(), Lingering::Unavoidable);
  }
}

// A writer that stops does not wait for any of it.

TEST_F(FTPWriteStreamReset, AStopBreaksTheSecondTransferOff) {
  know(Lingering::Known);
  server.on("STOR", scripted::stall());
  Upload upload(server, "/a", content);
  upload.interruption = [this] { return server.count("STOR") == 2; };
  upload.run();
  EXPECT_TRUE(upload.isOver());
  EXPECT_FALSE(upload.error);
  expectToArrive("/b");
}

TEST_F(FTPWriteStreamReset, AStopDoesNotWaitForAnAnswerToAReset) {
  know(Lingering::Avoidable);
  std::atomic<bool> isReset = false;
  server.on("STOR", storeReset(0, [&](scripted::Session& session, const std::string&) {
              isReset = true;
              session.waitForTheEnd();
            }));
  Upload upload(server, "/a", content);
  upload.interruption = [&] { return isReset.load(); };
  upload.run();
  EXPECT_TRUE(upload.isOver());
  EXPECT_FALSE(upload.error);
  expectToArrive("/b");
}

TEST_F(FTPWriteStreamReset, AStopLeavesASizeBehindThatTheNextItemIsNotGiven) {
  know(Lingering::Avoidable);
  server.always("STOR", storeReset());
  server.on("SIZE", scripted::afterSeconds(0.3, scripted::reply("213 7")));
  Upload upload(server, "/a", content);
  upload.interruption = [this] { return server.count("SIZE") == 1; };
  upload.run();
  expectToArrive("/b");
  EXPECT_EQ(server.logins(), 1U);
  EXPECT_EQ(server.transfers().size(), 2U);
}

TEST(FTPServerHabits, TwoLateConfirmationsInARowTellALingeringServer) {
  struct Case {
    Lingering before;
    bool lingered;
    Lingering after;
  };
  const Case cases[] = {
      {Lingering::Unknown, false, Lingering::Unknown},
      {Lingering::Unknown, true, Lingering::Suspected},
      {Lingering::Suspected, false, Lingering::Unknown},
      {Lingering::Suspected, true, Lingering::Known},
      {Lingering::Known, false, Lingering::Known},
      {Lingering::Known, true, Lingering::Known},
      {Lingering::Avoidable, false, Lingering::Avoidable},
      {Lingering::Avoidable, true, Lingering::Avoidable},
      {Lingering::Doubtful, false, Lingering::Doubtful},
      {Lingering::Doubtful, true, Lingering::Doubtful},
      {Lingering::Unavoidable, false, Lingering::Unavoidable},
      {Lingering::Unavoidable, true, Lingering::Unavoidable},
  };
  for (const Case& expected : cases) {
    FTPServerHabits habits;
    habits.lingering = expected.before;
    habits.noteOrderlyEnd(expected.lingered);
    EXPECT_EQ(habits.lingering, expected.after) << static_cast<int>(expected.before) << " " << expected.lingered;
  }
}

TEST(FTPServerHabits, ResetsAreUsedAsLongAsTheyLoseNothing) {
  struct Case {
    Lingering before, whole, refused, shortButConfirmed;
  };
  const Case cases[] = {
      {Lingering::Known, Lingering::Avoidable, Lingering::Unavoidable, Lingering::Unavoidable},
      {Lingering::Avoidable, Lingering::Avoidable, Lingering::Doubtful, Lingering::Unavoidable},
      {Lingering::Doubtful, Lingering::Avoidable, Lingering::Unavoidable, Lingering::Unavoidable},
      {Lingering::Unavoidable, Lingering::Unavoidable, Lingering::Unavoidable, Lingering::Unavoidable},
  };
  for (const Case& expected : cases) {
    const auto after = [&](bool isWhole, bool isConfirmed) {
      FTPServerHabits habits;
      habits.lingering = expected.before;
      habits.noteReset(isWhole, isConfirmed);
      return habits.lingering;
    };
    EXPECT_EQ(after(true, true), expected.whole) << static_cast<int>(expected.before);
    EXPECT_EQ(after(false, false), expected.refused) << static_cast<int>(expected.before);
    EXPECT_EQ(after(false, true), expected.shortButConfirmed) << static_cast<int>(expected.before);
  }
}

}  // namespace
