#include <gtest/gtest.h>

#include "cfnetwork/FTPConnectionPool.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// How far a transfer runs ahead of the server's replies: no server may end up with a wrong or missing file by it.

namespace {

using EarlyData = FTPServerHabits::EarlyData;
using Order = FTPServerHabits::Order;

FTPServerHabits habitsOf(const ScriptedFTPServer& server) {
  FTPEndpoint endpoint;
  endpoint.host = server.host();
  endpoint.port = server.port();
  return FTPConnectionPool::ofThread().knownHabits(endpoint);
}

// Stores some files and folders one after the other, of which each must arrive whole.
void expectAllToArrive(ScriptedFTPServer& server, FTPLimits limits = {}) {
  const std::vector<std::string> contents{
      "first", contentOfSize(2000), contentOfSize(700000), "", "fifth", contentOfSize(511999), "seventh"};
  for (std::size_t i = 0; i < contents.size(); ++i) {
    const std::string name = "/" + std::to_string(i);
    Upload upload(server, name, contents[i]);
    upload.limits = limits;
    EXPECT_TRUE(upload.stores()) << name << ": " << upload.errorText();
    EXPECT_EQ(server.file(name) == contents[i], true) << name;
  }
  EXPECT_TRUE(Upload(server, "/folder/").stores());
}

TEST(FTPWriteStreamAhead, ItsDataWaitsForThePreliminaryReplyOfAnUnknownServer) {
  ScriptedFTPServer server;
  std::vector<bool> early;
  server.always("STOR", [&](scripted::Session& session, const std::string& path) {
    early.push_back(session.hasEarlyData(0.2));
    scripted::storeThen("226 Stored.")(session, path);
  });
  // So does its end.
  for (const std::string content : {"content", ""}) {
    EXPECT_TRUE(Upload(server, "/a", content).stores());
    EXPECT_EQ(server.file("/a"), content);
  }
  EXPECT_EQ(early, std::vector<bool>({false, false}));
}

TEST(FTPWriteStreamAhead, ItsDataDoesNotWaitOnceTheServerHasShownThatItStoresEarlyData) {
  ScriptedFTPServer server;
  expectAllToArrive(server);
  EXPECT_EQ(habitsOf(server).earlyData, EarlyData::Taken);
  EXPECT_EQ(habitsOf(server).order, Order::Kept);
  EXPECT_EQ(server.count("SIZE"), 1U);
  // Data that waited for this reply would never come.
  server.on("STOR", [](scripted::Session& session, const std::string& path) {
    session.openData();
    const std::string content = session.receive();
    session.reply("150 Send it.");
    session.closeData();
    session.note(path, content);
    session.reply("226 Stored.");
  });
  EXPECT_TRUE(Upload(server, "/late", "content").stores());
  EXPECT_EQ(server.file("/late"), "content");
  EXPECT_EQ(server.logins(), 1U);
}

TEST(FTPWriteStreamAhead, ServersThatDropADataConnectionOnEarlyDataLoseNothing) {
  ScriptedFTPServer server;
  server.always("EPSV", scripted::passiveLosingEarlyData());
  server.always("STOR", [](scripted::Session& session, const std::string& path) {
    // Waits for another data connection, for ever.
    if (session.lostData) return session.reply("150 Waiting.");
    scripted::storeThen("226 Stored.")(session, path);
  });
  FTPLimits limits;
  limits.reply = 5;
  expectAllToArrive(server, limits);
  EXPECT_NE(habitsOf(server).earlyData, EarlyData::Taken);
  // The trial has cost one connection, and there is no other.
  EXPECT_EQ(server.logins(), 2U);
}

TEST(FTPWriteStreamAhead, ServersThatThrowEarlyDataAwayAndConfirmLoseNothing) {
  ScriptedFTPServer server;
  server.always("EPSV", scripted::passiveSwallowingEarlyData());
  expectAllToArrive(server);
  EXPECT_EQ(habitsOf(server).earlyData, EarlyData::Lost);
}

TEST(FTPWriteStreamAhead, ServersThatLoseEarlyDataAndAnswerDuringTransfersLoseNothing) {
  ScriptedFTPServer server;
  server.always("EPSV", scripted::passiveLosingEarlyData());
  server.always("STOR", scripted::storeServing("226 Stored."));
  expectAllToArrive(server);
  EXPECT_EQ(habitsOf(server).order, Order::Broken);
  EXPECT_EQ(server.logins(), 1U);
}

TEST(FTPWriteStreamAhead, ServersWithoutSizesGetNoEarlyDataAfterTheTrial) {
  ScriptedFTPServer server;
  server.always("SIZE", scripted::reply("500 What?"));
  expectAllToArrive(server);
  EXPECT_EQ(habitsOf(server).earlyData, EarlyData::Lost);
  EXPECT_EQ(server.count("SIZE"), 1U);
}

TEST(FTPWriteStreamAhead, ARefusalDuringTheTrialIsToldAsTheItemsOwn) {
  ScriptedFTPServer server;
  EXPECT_TRUE(Upload(server, "/a", "content").stores());
  server.always("STOR", scripted::reply("550 Not here."));
  Upload upload(server, "/b", "content");
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.replyCode(), 550);
  EXPECT_EQ(upload.errorText(), "Not here.");
}

}  // namespace
