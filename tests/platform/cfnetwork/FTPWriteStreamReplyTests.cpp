#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What the stream makes of replies that are unusual, of ways to ask for a port, and of folders.

namespace {

using namespace scripted;
using scripted::send;  // not the system's

// Greetings and replies that are unusual and all right.

TEST(FTPWriteStreamOddReplies, AGreetingMayTakeSeconds) {
  ScriptedFTPServer server;
  server.on("GREETING", afterSeconds(2, reply("220 At last.")));
  expectStored(server, "/a", "content");
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, AGreetingMayBeAnnounced) {
  ScriptedFTPServer server;
  server.on("GREETING", scripted::send("120 Ready in 0 minutes.\r\n220 Ready.\r\n"));
  expectStored(server, "/a", "content");
}

TEST(FTPWriteStreamOddReplies, TenMegabytesAreRead) {
  std::string lines;
  while (lines.size() < 10000000) lines += " a line of a long reply, which says nothing\r\n";
  ScriptedFTPServer server;
  server.on("GREETING", scripted::send("220-\r\n" + lines + "220 Ready.\r\n"));
  server.on("MKD", scripted::send("550-" + std::string(10000000, 'x') + "\r\n550 No.\r\n"));
  Upload upload(server, "/a", "content");
  upload.bytesFromServer = lines.size();
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  Upload folder(server, "/folder/");
  folder.bytesFromServer = lines.size();
  EXPECT_FALSE(folder.stores());
  EXPECT_EQ(folder.replyCode(), 550);
  EXPECT_LE(folder.errorText().size(), cfnetwork::FTPReplyParser::maximumText);
  expectRunToGoOn(server);
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, RepliesMayComeInSingleBytes) {
  ScriptedFTPServer server;
  server.on("GREETING", sendOneByOne("220-Welcome\r\n to this\r\n220 server.\r\n"));
  server.on("USER", [](Session& session, const std::string& user) {
    session.user = user;
    session.sendOneByOne("331 Password, please.\r\n");
  });
  server.always("EPSV", [](Session& session, const std::string&) {
    session.sendOneByOne(extendedPassiveReply(session.listen()) + "\r\n");
  });
  server.always("STOR", [](Session& session, const std::string& path) {
    session.sendOneByOne("150-Send\r\n150 it.\r\n");
    session.openData();
    const std::string content = session.receive();
    session.closeData();
    session.note(path, content);
    session.sendOneByOne("226-Stored\r\n \r\n226 it.\r\n");
  });
  for (const char* path : {"/a", "/b", "/c", "/d"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, MoreThanOnePreliminaryReplyIsTaken) {
  ScriptedFTPServer server;
  server.always("STOR", then(reply("150 Wait."), storeThen("226 Stored.")));
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, TheOtherConfirmationsOfTheProtocolAreTaken) {
  ScriptedFTPServer server;
  server.always("STOR", storeThen("250 Stored."));
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
}

// Passive mode.

TEST(FTPWriteStreamPassive, EPSVThatIsRefusedOrMalformedIsFollowedByPASV) {
  for (const char* answer : {"500 What?", "502 Not here.", "522 Not this protocol.", "425 Not now.", "229 Come.",
                             "229 Come (|||0|)", "229 Come (|||65536|)", "229 Come (|||-5|)", "229 Come (1,2,3)"}) {
    SCOPED_TRACE(answer);
    ScriptedFTPServer server;
    server.always("EPSV", reply(answer));
    expectRunToGoOn(server);
    EXPECT_EQ(server.sessions(), 1U);
    EXPECT_EQ(server.count("EPSV"), 1U);
  }
}

TEST(FTPWriteStreamPassive, PASVThatIsRefusedOrMalformedIsTheItemsError) {
  for (const auto& [answer, code] : std::vector<std::pair<std::string, NSInteger>>{
           {"500 What?", 500},
           {"425 Cannot open a port.", 425},
           {"227 Come.", 227},
           {"227 Come (127,0,0,1,0,0)", 227},
           {"227 Come (127,0,0,1,256,1)", 227},
           {"227 Come (127,0,0,1,4)", 227},
           {"227 Come (127,0,0,1,-1,-1)", 227},
       }) {
    SCOPED_TRACE(answer);
    ScriptedFTPServer server;
    server.always("EPSV", reply("500 What?"));
    server.on("PASV", reply(answer));
    Upload upload(server, "/a", "content");
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.replyCode(), code);
    EXPECT_EQ(upload.errorText(), answer.substr(4));
    expectRunToGoOn(server);
    EXPECT_EQ(server.sessions(), 1U);
  }
}

TEST(FTPWriteStreamPassive, TheAddressOfAnotherHostIsNotConnected) {
  // A second server, to whose address the first one points: with the right port, everything would arrive there.
  ScriptedFTPServer other("127.0.0.2");
  ScriptedFTPServer server;
  server.always("EPSV", reply("500 What?"));
  server.always(
      "PASV", [](Session& session, const std::string&) { session.reply(passiveReply("127,0,0,2", session.listen())); });
  expectRunToGoOn(server);
  EXPECT_EQ(server.sessions(), 1U);
  EXPECT_EQ(other.sessions(), 0U);
}

// Folders.

TEST(FTPWriteStreamFolder, ARefusalIsTheItemsErrorAndTheConnectionStays) {
  for (const auto& [line, code] : std::vector<std::pair<std::string, NSInteger>>{{"550 File exists.", 550},
                                                                                 {"521 Exists.", 521},
                                                                                 {"550 Permission denied.", 550},
                                                                                 {"553 Bad name.", 553},
                                                                                 {"452 Disk full.", 452}}) {
    for (int filesBefore = 0; filesBefore < 3; ++filesBefore) {
      SCOPED_TRACE(line + " " + std::to_string(filesBefore));
      ScriptedFTPServer server;
      for (int i = 0; i < filesBefore; ++i) expectStored(server, "/" + std::to_string(i), "content");
      server.on("MKD", reply(line));
      Upload upload(server, "/folder/");
      EXPECT_FALSE(upload.stores());
      EXPECT_EQ(upload.replyCode(), code);
      EXPECT_EQ(upload.errorText(), line.substr(4));
      expectRunToGoOn(server);
      EXPECT_EQ(server.sessions(), 1U);
    }
  }
}

TEST(FTPWriteStreamFolder, AConnectionThatFailsIsAnErrorOnceAndThenReplaced) {
  for (const auto& [action, code] : std::vector<std::pair<Action, NSInteger>>{
           {dropControl(), kCFURLErrorNetworkConnectionLost},
           {stall(), kCFURLErrorTimedOut},
           {reply("garbage"), kCFURLErrorBadServerResponse},
           {reply("226 Something else."), kCFURLErrorBadServerResponse},
       }) {
    ScriptedFTPServer server;
    server.on("MKD", action);
    Upload upload(server, "/folder/");
    upload.limits = shortLimits();
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.errorCode(), code);
    expectRunToGoOn(server);
  }
}

}  // namespace
