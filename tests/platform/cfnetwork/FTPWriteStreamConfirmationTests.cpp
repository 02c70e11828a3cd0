#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// When a file counts as stored.

namespace {

using namespace scripted;
using scripted::send;  // not the system's

// Confirmations.

TEST(FTPWriteStreamConfirmation, AResetAfterItIsNoFailureWhenTheFileIsWhole) {
  ScriptedFTPServer server;
  for (const Action& end : {then(reply("226 Stored."), resetData()), then(resetData(), reply("226 Stored."))}) {
    server.always("STOR", storePart(std::string::npos, end));
    for (const std::size_t size : {std::size_t{0}, smallSize, largeSize}) {
      for (int i = 0; i < 4; ++i) expectStored(server, "/" + std::to_string(i), contentOfSize(size));
    }
  }
}

TEST(FTPWriteStreamConfirmation, ADataConnectionThatTheServerLeavesOpenIsNoFailure) {
  ScriptedFTPServer server;
  server.always("STOR", storePart(std::string::npos, reply("226 Stored.")));
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
}

// However late the reply comes, and however the data connection has ended by then.
TEST(FTPWriteStreamConfirmation, CountsWheneverItComes) {
  const std::vector<Action> ends{
      then(resetData(), afterSeconds(2.5, reply("226 Stored."))),
      then(closeData(), afterSeconds(2.5, reply("226 Stored."))),
      afterSeconds(2.5, then(reply("226 Stored."), resetData())),
      then(reply("226 Stored."), afterSeconds(0.4, closeData())),
      then(reply("226 Stored."), dropControl()),
  };
  for (const Action& end : ends) {
    ScriptedFTPServer server;
    server.on("STOR", storePart(std::string::npos, end));
    const std::string content = contentOfSize(smallSize);
    expectStored(server, "/a", content);
    EXPECT_EQ(server.count("STOR"), 1U);
  }
}

// There is no more that a client can know: the server's system has everything.
TEST(FTPWriteStreamConfirmation, IsBelievedWhenTheServersSystemHasEverything) {
  ScriptedFTPServer server;
  for (const Action& end : {reply("226 Stored."), then(reply("226 Stored."), closeData())}) {
    server.on("STOR", storePart(smallSize - 1, afterSeconds(0.2, end)));
    Upload upload(server, "/a", contentOfSize(smallSize));
    EXPECT_TRUE(upload.stores()) << upload.errorText();
  }
}

TEST(FTPWriteStreamConfirmation, IsNotBelievedWhenDataWasLeftUnacknowledgedAtAReset) {
  for (const Action& end : {then(reply("226 Stored."), resetData()), then(resetData(), reply("226 Stored.")),
                            then(reply("226 Stored."), closeData()), then(closeData(), reply("226 Stored."))}) {
    ScriptedFTPServer server;
    server.setReceiveBuffer(4096);
    // More than fits into the server's system, and less than fits into ours: all is handed over, and the end as well.
    server.on("STOR", storePart(1000, afterSeconds(0.3, end)));
    Upload upload(server, "/a", contentOfSize(400000));
    EXPECT_FALSE(upload.stores());
    expectRunToGoOn(server);
  }
}

TEST(FTPWriteStreamConfirmation, ThatComesAheadOfTheAcknowledgementsIsWaitedWith) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  const std::string content = contentOfSize(400000);
  server.on("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.openData();
    std::string data = session.receive(1000);
    session.sleep(0.3);
    session.reply("226 Stored, as good as.");
    session.sleep(0.3);
    data += session.receive();
    session.closeData();
    session.note(path, data);
  });
  Upload upload(server, "/a", content);
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_TRUE(server.waitUntil([&] { return server.file("/a") == content; }));
}

TEST(FTPWriteStreamConfirmation, WhoseAcknowledgementsNeverComeIsAnErrorInTime) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  server.on("STOR", storePart(1000, afterSeconds(0.3, then(reply("226 Stored."), stall()))));
  Upload upload(server, "/a", contentOfSize(400000));
  upload.limits = shortLimits();
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorText(), "The server did not acknowledge all data in time.");
  expectRunToGoOn(server);
}

TEST(FTPWriteStreamConfirmation, AnEarlyOneIsNotBelievedBeforeAllDataIsRead) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  server.always("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.reply("226 Stored, soon.");
    session.openData();
    session.note(path, session.receive());
    session.closeData();
  });
  for (const std::size_t size : {smallSize, std::size_t{400000}, largeSize}) {
    for (int i = 0; i < 3; ++i) {
      Upload upload(server, "/a", contentOfSize(size));
      upload.limits = shortLimits();
      upload.run();
      if (upload.error) continue;
      EXPECT_TRUE(server.waitUntil([&] { return server.file("/a") == contentOfSize(size); }));
    }
  }
  server.forgetActions();
  expectRunToGoOn(server);
}

}  // namespace
