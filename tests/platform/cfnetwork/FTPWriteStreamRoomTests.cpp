#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// How much the stream takes from its writer, and what it does when the connection has less room.

namespace {

using namespace scripted;

constexpr std::size_t keptSize = 512000;  // so much is taken before the server has begun

// Takes data before it has begun.
const Action patient = reply("220 (vsFTPd 3.0.3)");

Action waitFor(const std::atomic<bool>& condition) {
  return [&](Session& session, const std::string&) {
    while (!condition) session.sleep(0.01);
  };
}

// STOR: reads a little now and then.
void storeSlowly(Session& session, const std::string& path) {
  session.reply("150 Send it.");
  session.openData();
  std::string content;
  while (!session.dataEnd()) {
    session.sleep(0.01);
    content += session.receive(20000);
  }
  session.closeData();
  session.note(path, content);
  session.reply("226 Stored.");
}

// So that connections have little room.
void makeNarrow(ScriptedFTPServer& server) {
  server.setReceiveBuffer(4096);
  server.setLargestSegment(536);
}

TEST(FTPWriteStreamRoom, IsAllThatIsKeptToTheLastByte) {
  ScriptedFTPServer server;
  std::atomic<bool> mayGoOn = false;
  server.always("GREETING", patient);
  server.on("STOR", then(waitFor(mayGoOn), storeThen("226 Stored.")));
  const std::string content = contentOfSize(keptSize + 100000);
  Upload upload(server, "/a", content);
  upload.pieceSize = keptSize - 1;
  upload.run([&] { return upload.offset > 0; });
  EXPECT_EQ(upload.offset, keptSize);
  mayGoOn = true;
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a") == content, true);
}

// The stream has all of it when the server begins, and has sent a part.
TEST(FTPWriteStreamRoom, WhatIsKeptIsSentWholeBeforeTheEnd) {
  ScriptedFTPServer server;
  makeNarrow(server);
  std::atomic<bool> mayBegin = false;
  server.always("GREETING", patient);
  server.on("STOR", then(waitFor(mayBegin), storeSlowly));
  const std::string content = contentOfSize(300000);
  Upload upload(server, "/a", content);
  upload.run([&] { return upload.offset == content.size(); });
  mayBegin = true;
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a") == content, true);
}

// A single byte is taken whole or not at all.
TEST(FTPWriteStreamRoom, AWriteThatFindsNoneIsNoFailure) {
  ScriptedFTPServer server;
  makeNarrow(server);
  server.on("STOR", storeSlowly);
  const std::string content = contentOfSize(keptSize + 150000);
  Upload upload(server, "/a", content);
  upload.pieceSize = keptSize;
  upload.whenSpace = [&] {
    if (upload.offset >= keptSize) upload.pieceSize = 1;
  };
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a") == content, true);
}

}  // namespace
