#include <utility>

#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/FTPSessionPool.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// How long the stream waits for a server.

namespace {

using namespace scripted;
using scripted::send;  // not the system's

// The limits.

TEST(FTPWriteStreamLimits, TheyAreTheThreadsUnlessAStreamHasItsOwn) {
  cfnetwork::FTPSessionPool& pool = cfnetwork::FTPSessionPool::ofThread();
  EXPECT_EQ(pool.limits().connect, 30);
  EXPECT_EQ(pool.limits().reply, 60);
  EXPECT_EQ(pool.limits().progress, 60);
  ScriptedFTPServer server;
  server.on("STOR", stall());
  pool.setLimits(shortLimits());
  const auto stream =
      CFWriteStreamCreateWithFTPURL(NSURL::URLWithString(NSString::stringWithUTF8String(server.url("//a"))));
  stream->open();
  while (stream->streamStatus() != NSStreamStatusError) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
  }
  pool.setLimits(cfnetwork::FTPLimits());
  EXPECT_EQ(stream->streamError()->code(), kCFURLErrorTimedOut);
  stream->close();
}

TEST(FTPWriteStreamLimits, AKeptConnectionGoesByThoseOfTheStreamThatUsesIt) {
  ScriptedFTPServer server;
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  server.on("STOR", storePart(std::string::npos, then(closeData(), stall())));
  Upload upload(server, "/d", "content");
  upload.limits = shortLimits();
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
}

TEST(FTPWriteStreamLimits, ADataConnectionThatStallsEnds) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  for (const std::size_t size : {std::size_t{8000000}, std::size_t{400000}}) {
    server.on("STOR", storePart(1000, stall()));
    Upload upload(server, "/a", contentOfSize(size));
    upload.limits = shortLimits();
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
    EXPECT_EQ(upload.errorText(), "The server stopped taking data.");
    // Also when the writer was through long ago, and only the system's buffers are left to drain.
    EXPECT_EQ(upload.errorCameInsideClose, size == 400000);
  }
  expectStored(server, "/next", "next");
}

TEST(FTPWriteStreamLimits, ASlowServerIsNotAStalledOne) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  server.on("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.openData();
    std::string content;
    while (!session.dataEnd()) {
      content += session.receive(40000);
      session.sleep(0.2);
    }
    session.closeData();
    session.note(path, content);
    session.reply("226 Stored.");
  });
  const std::string content = contentOfSize(600000);
  Upload upload(server, "/a", content);
  upload.limits = shortLimits();
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a") == content, true);
}

// Once the server has begun, it is the writer's turn.
TEST(FTPWriteStreamLimits, AWriterMayTakeLongerThanAReply) {
  ScriptedFTPServer server;
  Upload upload(server, "/a", "content");
  upload.limits.reply = 3;
  bool hasPaused = false;
  upload.whenSpace = [&] {
    if (std::exchange(hasPaused, true)) return;
    NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(1.5 * upload.limits.reply));
  };
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_TRUE(hasPaused);
}

TEST(FTPWriteStreamLimits, ADataConnectionThatIsNotMadeEnds) {
  ScriptedFTPServer server;
  server.on("EPSV", fullDataPort());
  Upload upload(server, "/a", "content");
  upload.limits = shortLimits();
  upload.limits.reply = 30;
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
  expectStored(server, "/next", "next");
}

TEST(FTPWriteStreamLimits, ADataConnectionThatTheServerMakesLateIsWaitedFor) {
  ScriptedFTPServer server;
  server.on("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.sleep(1.5);
    session.openData();
    session.note(path, session.receive());
    session.closeData();
    session.reply("226 Stored.");
  });
  Upload upload(server, "/a", "content");
  upload.stream->setProperty_forKey(NSNumber::numberWithBool(false), kCFStreamPropertyFTPUsePassiveMode());
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a"), "content");
}

TEST(FTPWriteStreamLimits, AControlConnectionThatIsNotMadeEnds) {
  ScriptedFTPServer server;
  std::uint16_t port = 0;
  server.on("GREETING", [&](Session& session, const std::string&) {
    port = session.fullPort();
    session.reply("220 Ready.");
  });
  expectStored(server, "/a", "content");
  Upload upload("ftp://127.0.0.1:" + std::to_string(port) + "//a", "content");
  upload.limits = shortLimits();
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
}

TEST(FTPWriteStreamLimits, AServerThatFloodsTheDataConnectionIsNotReadForEver) {
  ScriptedFTPServer server;
  server.always("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.openData();
    const std::string content = session.receive();
    session.note(path, content);
    session.sendData(std::string(20000000, 'x'));
    session.closeData();
    session.reply("226 Stored.");
  });
  Upload upload(server, "/a", "content");
  upload.bytesFromServer = 2 << 20;
  upload.run();
  EXPECT_TRUE(upload.isOver());
}

}  // namespace
