#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What becomes of an item whose control connection was used before.

namespace {

using namespace scripted;
using scripted::send;  // not the system's

// New connections.

TEST(FTPWriteStreamKept, AConnectionThatIsClosedWhenAPortIsAskedForIsReplacedUnseenTwice) {
  const std::vector<std::pair<std::string, Action>> faults{
      {"end", dropControl()},
      {"421", then(reply("421 No port is free."), dropControl())},
      {"OOPS", then(reply("500 OOPS: vsf_sysutil_bind"), then(reply("500 OOPS: priv_sock_get_int"), dropControl()))},
  };
  for (const auto& [name, fault] : faults) {
    SCOPED_TRACE(name);
    ScriptedFTPServer server;
    server.on("EPSV", fault);
    expectStored(server, "/item", "content");
    EXPECT_EQ(server.sessions(), 2U);

    ScriptedFTPServer other;
    other.always("EPSV", fault);
    Upload upload(other, "/item", "content");
    upload.run();
    EXPECT_TRUE(upload.error);
    EXPECT_EQ(other.sessions(), 3U);
  }
}

// Each further try would wait as long as the first one, and as much in vain.
TEST(FTPWriteStreamKept, AConnectionThatIsClosedWhileADataConnectionIsMadeIsNotReplaced) {
  ScriptedFTPServer server;
  server.always("EPSV", then(fullDataPort(), then(reply("421 The data channel timed out."), dropControl())));
  Upload upload(server, "/item", "content");
  upload.run();
  EXPECT_TRUE(upload.error);
  EXPECT_EQ(server.sessions(), 1U);
}

// Kept connections.

TEST(FTPWriteStreamKept, ADeadConnectionIsReplacedUnseen) {
  const std::vector<std::pair<std::string, Action>> faults{
      {"421", then(reply("421 Idle for too long."), dropControl())},
      {"421 without an end", reply("421 Idle for too long.")},
      {"end", dropControl()},
      {"reset", resetControl()},
      {"garbage", reply("garbage")},
      {"a reply to nothing", reply("200 By the way.")},
      {"a second reply", reply("426 And another thing.")},
  };
  for (const auto& [name, fault] : faults) {
    SCOPED_TRACE(name);
    ScriptedFTPServer server;
    for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
    server.on("STOR", then(storeThen("226 Stored."), fault));
    expectStored(server, "/last-before", "content");
    Upload folder(server, "/folder/");
    // What the server says without being asked may come so late that it is taken for the reply about the folder.
    folder.run();
    EXPECT_TRUE(server.waitUntil([&] { return server.folders().contains("/folder"); })) << folder.errorText();
    expectRunToGoOn(server);
    EXPECT_LE(server.sessions(), 3U);
  }
}

TEST(FTPWriteStreamKept, ItIsReplacedOnceForAnItem) {
  ScriptedFTPServer server;
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  server.always("STOR", dropControl());
  Upload upload(server, "/d", "content");
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorNetworkConnectionLost);
  EXPECT_EQ(server.sessions(), 2U);
}

// Whatever the file was used to find out, too.
TEST(FTPWriteStreamKept, AConnectionWhoseReplacementIsRefusedTellsThatRefusal) {
  for (int before = 1; before <= 4; ++before) {
    SCOPED_TRACE(before);
    ScriptedFTPServer server;
    for (int i = 0; i < before; ++i) expectStored(server, "/" + std::to_string(i), "content");
    server.on("STOR", dropControl());
    server.always("GREETING", then(reply("421 Too many users."), dropControl()));
    Upload upload(server, "/d", "content");
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.replyCode(), 421);
    EXPECT_EQ(server.sessions(), 2U);
    server.forgetActions();
    expectRunToGoOn(server);
  }
}

}  // namespace
