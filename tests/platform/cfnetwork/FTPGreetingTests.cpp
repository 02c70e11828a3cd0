#include <string>

#include <gtest/gtest.h>

#include "cfnetwork/FTPGreeting.h"
#include "cfnetwork/FTPReply.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// Which greetings let data go out right behind STOR, and that it waits for the preliminary reply after all others.

using namespace cfnetwork;

namespace {

bool isPatient(const std::string& text, int code = 220) { return FTPGreetingNamesPatientServer({code, text}); }

TEST(FTPGreeting, NamesThePatientServersAsTheyDoThemselves) {
  EXPECT_TRUE(isPatient("(vsFTPd 3.0.3)"));
  EXPECT_TRUE(isPatient("--------- Welcome to Pure-FTPd [privsep] [TLS] ----------\nYou are user number 1 of 50."));
  EXPECT_TRUE(isPatient("--------- Welcome to Pure-FTPd ----------"));
  EXPECT_TRUE(isPatient("ProFTPD Server (Debian) [::ffff:127.0.0.1]"));
  EXPECT_TRUE(isPatient("ProFTPD 1.3.5 Server (My server) [192.0.2.1]"));
}

TEST(FTPGreeting, OfAnyOtherServerIsNoneOfThem) {
  for (const char* text :
       {"", "Ready.", "pyftpdlib 1.5.7 ready.", "FileZilla Server 1.7.0", "Microsoft FTP Service",
        "host FTP server (Version 6.4) ready.", "Welcome, this is not (vsFTPd 3.0.3)", "(vsFTPd",
        "Better than ProFTPD Server (x) [y]", "ProFTPD", "ProFTPDish Server (a) [b]", "Hello\n(vsFTPd 3.0.3)",
        "Welcome to Pure-FTPd", "-- Welcome to Pure-FTPdX --", "(VSFTPD 3.0.3)", " (vsFTPd 3.0.3)"}) {
    EXPECT_FALSE(isPatient(text)) << text;
  }
  EXPECT_FALSE(isPatient("(vsFTPd 3.0.3)", 230));
}

// The server holds its preliminary reply back and looks whether data comes all the same.
bool comesEarly(const std::string& greeting, const std::string& content) {
  ScriptedFTPServer server;
  bool came = false;
  server.always("GREETING", scripted::reply(greeting));
  server.on("STOR", [&](scripted::Session& session, const std::string& path) {
    session.openData();
    came = session.dataComes(0.3);
    scripted::storeThen("226 Stored.")(session, path);
  });
  expectStored(server, "/a", content);
  return came;
}

TEST(FTPWriteStreamEarlyData, GoesOutRightBehindTheCommandAfterAKnownGreetingOnly) {
  for (const std::size_t size : {0UL, 10UL, 600000UL}) {
    EXPECT_TRUE(comesEarly("220 (vsFTPd 3.0.3)", contentOfSize(size))) << size;
    EXPECT_FALSE(comesEarly("220 Ready.", contentOfSize(size))) << size;
  }
}

// Two machines behind one name: what one of them can do says nothing about the other.
TEST(FTPWriteStreamEarlyData, IsNoHabitOfTheServersName) {
  ScriptedFTPServer server;
  server.on("GREETING", scripted::reply("220 (vsFTPd 3.0.3)"));
  server.on("STOR", scripted::then(scripted::storeThen("226 Stored."), scripted::resetControl()));
  expectStored(server, "/a", "content");
  EXPECT_TRUE(server.waitUntil([&] { return server.openSessions() == 0; }));
  bool came = true;
  server.on("STOR", [&](scripted::Session& session, const std::string& path) {
    session.openData();
    came = session.dataComes(0.3);
    scripted::storeThen("226 Stored.")(session, path);
  });
  expectStored(server, "/b", "content");
  EXPECT_FALSE(came);
  EXPECT_EQ(server.sessions(), 2U);
}

// What was sent ahead of a refusal is sent again where that is allowed, and not before it is wanted.
TEST(FTPWriteStreamEarlyData, IsSentAgainWhole) {
  for (const std::size_t size : {10UL, 511999UL, 512000UL, 5000000UL}) {
    for (const char* second : {"220 (vsFTPd 3.0.3)", "220 Ready."}) {
      ScriptedFTPServer server;
      server.on("GREETING", scripted::reply("220 (vsFTPd 3.0.3)")).on("GREETING", scripted::reply(second));
      expectStored(server, "/before", "content");
      server.on("STOR", [](scripted::Session& session, const std::string&) {
        session.openData();
        session.receive(10);
        session.drop();
      });
      expectStored(server, "/a", contentOfSize(size));
      EXPECT_EQ(server.sessions(), 2U);
    }
  }
}

}  // namespace
