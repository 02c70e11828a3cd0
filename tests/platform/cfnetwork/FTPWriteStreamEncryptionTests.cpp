#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/cfnetwork/EncryptedUpload.h"
#include "tests/platform/cfnetwork/FaultTesting.h"

// Files on their way over encrypted connections, and what becomes of those that are cut.

namespace {

using namespace scripted;

class FTPWriteStreamEncryption : public testing::Test, protected EncryptionTesting {
 protected:
  static bool stores(ScriptedFTPServer& server, const id& settings, const std::string& path,
                     const std::string& content) {
    EncryptedUpload upload(server, settings, path, content);
    const bool isStored = upload.stores();
    EXPECT_TRUE(isStored) << path << ": " << upload.errorText();
    EXPECT_EQ(server.file(path) == content, true) << path;
    return isStored;
  }
};

TEST_F(FTPWriteStreamEncryption, BeginsBeforeTheLogin) {
  EncryptingServer server;
  stores(server.ftp, trusting(), "/a", "content");
  // It may ask for the size behind that, when the server's end comes after its reply.
  std::vector<std::string> verbs = server.ftp.verbs();
  std::erase(verbs, "SIZE");
  EXPECT_EQ(verbs, (std::vector<std::string>{"AUTH", "PBSZ", "PROT", "USER", "PASS", "TYPE", "EPSV", "STOR"}));
  EXPECT_EQ(server.ftp.timesAhead(), 0U);
}

TEST_F(FTPWriteStreamEncryption, TakesFilesOfAllSizes) {
  for (const bool isLimitedTo12 : {false, true}) {
    TLSServer::Behaviour behaviour;
    behaviour.isLimitedTo12 = isLimitedTo12;
    EncryptingServer server(behaviour);
    const auto settings = trusting();
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, smallSize, std::size_t{16384}, largeSize}) {
      stores(server.ftp, settings, "/" + std::to_string(size), contentOfSize(size));
    }
    EncryptedUpload folder(server.ftp, settings, "/folder/", "");
    EXPECT_TRUE(folder.stores());
    EXPECT_EQ(server.ftp.sessions(), 1U);
  }
}

TEST_F(FTPWriteStreamEncryption, TakesTheServersDataConnections) {
  EncryptingServer server;
  for (const std::size_t size : {std::size_t{0}, largeSize}) {
    EncryptedUpload upload(server.ftp, trusting(), "/a", contentOfSize(size));
    upload.stream->setProperty_forKey(NSNumber::numberWithBool(false), kCFStreamPropertyFTPUsePassiveMode());
    EXPECT_TRUE(upload.stores()) << upload.errorText();
    EXPECT_EQ(server.ftp.file("/a") == contentOfSize(size), true);
  }
}

// Also of a server whose greeting lets the handshake begin before the command.
TEST_F(FTPWriteStreamEncryption, ResumesTheControlConnectionsSessionForEachFile) {
  for (const std::string greeting : {"220 Welcome.", "220 (vsFTPd 3.0.3)"}) {
    for (const bool isLimitedTo12 : {false, true}) {
      TLSServer::Behaviour behaviour;
      behaviour.isLimitedTo12 = isLimitedTo12;
      EncryptingServer server(behaviour);
      server.ftp.always("GREETING", reply(greeting));
      for (int i = 0; i < 5; ++i) stores(server.ftp, trusting(), "/" + std::to_string(i), contentOfSize(smallSize));
      EXPECT_EQ(server.tls.dataConnections(), 5U);
      EXPECT_EQ(server.tls.resumed(), server.tls.dataConnections()) << greeting;
    }
  }
}

// Offered another one, the server asks for it, which takes every file a round trip.
TEST_F(FTPWriteStreamEncryption, OffersTheControlConnectionsGroupOfKeysForEachFile) {
  for (const bool givesSessions : {true, false}) {
    TLSServer::Behaviour behaviour;
    behaviour.groups = "P-256";
    behaviour.givesSessions = givesSessions;
    EncryptingServer server(behaviour);
    for (int i = 0; i < 3; ++i) stores(server.ftp, trusting(), "/" + std::to_string(i), contentOfSize(smallSize));
    EXPECT_EQ(server.tls.dataConnections(), 3U);
    EXPECT_EQ(server.tls.dataHellos(), 3U) << givesSessions;
  }
}

TEST_F(FTPWriteStreamEncryption, EndsTheConnectionBehindTheFile) {
  TLSServer::Behaviour behaviour;
  behaviour.waitsForEnd = true;
  EncryptingServer server(behaviour);
  stores(server.ftp, trusting(), "/small", contentOfSize(smallSize));
  stores(server.ftp, trusting(), "/large", contentOfSize(largeSize));
}

TEST_F(FTPWriteStreamEncryption, AnnouncesTheEndOfAFile) {
  EncryptingServer server;
  stores(server.ftp, trusting(), "/a", contentOfSize(largeSize));
  EXPECT_EQ(server.tls.announcedEnds(), 1U);
}

TEST_F(FTPWriteStreamEncryption, DoesNotAnnounceTheEndOfAFileThatIsBrokenOff) {
  EncryptingServer server;
  EncryptedUpload upload(server.ftp, trusting(), "/a", contentOfSize(largeSize));
  upload.pieceSize = 100000;
  upload.run([&] { return upload.offset > 0; });
  upload.stream->breakOff();
  upload.close();
  ASSERT_TRUE(server.ftp.waitUntil([&] { return !server.ftp.transfers().empty(); }));
  EXPECT_EQ(server.tls.announcedEnds(), 0U);
}

TEST_F(FTPWriteStreamEncryption, IsThereFromTheFirstByteWhenItIsImplicit) {
  EncryptingServer server;
  server.ftp.always("GREETING", [&](Session& session, const std::string&) {
    server.tls.encryptControl(session);
    session.reply("220 Welcome.");
  });
  const auto settings = trusting();
  set(*settings, kCFStreamFTPSecurityLevel(), "implicit");
  stores(server.ftp, settings, "/a", contentOfSize(smallSize));
  EXPECT_EQ(server.ftp.count("AUTH"), 0U);
  EXPECT_EQ(server.ftp.count("PROT"), 1U);
}

// A server that takes a cut for the file's end says that it is stored. Its size tells that it is not.
TEST_F(FTPWriteStreamEncryption, ACutFileIsNotStoredWhateverTheServerSays) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1000}, std::size_t{16384}, std::size_t{100000}}) {
    for (const bool tellsSize : {true, false}) {
      TLSServer::Behaviour behaviour;
      behaviour.cutAfter = size;
      EncryptingServer server(behaviour);
      if (!tellsSize) server.ftp.always("SIZE", reply("502 Not known here."));
      EncryptedUpload upload(server.ftp, trusting(), "/a", contentOfSize(size + smallSize));
      EXPECT_FALSE(upload.stores()) << size;
      EXPECT_NE(upload.errorText(), "") << size;
    }
  }
}

// One that merely never announces its end stores what it says.
TEST_F(FTPWriteStreamEncryption, TheSizeDecidesWhereTheServerDoesNotAnnounceItsEnd) {
  TLSServer::Behaviour behaviour;
  behaviour.announcesEnd = false;
  EncryptingServer server(behaviour);
  const auto settings = trusting();
  stores(server.ftp, settings, "/a", contentOfSize(smallSize));
  stores(server.ftp, settings, "/b", contentOfSize(largeSize));
  EXPECT_EQ(server.ftp.count("SIZE"), 2U);
  for (const char* answer : {"213 1999", "213 ", "213 2000 or so", "502 Not known here.", "550 No."}) {
    server.ftp.always("SIZE", reply(answer));
    EncryptedUpload upload(server.ftp, settings, "/c", contentOfSize(smallSize));
    EXPECT_FALSE(upload.stores()) << answer;
  }
  server.ftp.always("SIZE", dropControl());
  EncryptedUpload upload(server.ftp, settings, "/d", contentOfSize(smallSize));
  EXPECT_FALSE(upload.stores());
}

// It says nothing about what came after it. So large a file is still on its way by then.
TEST_F(FTPWriteStreamEncryption, TheSizeDecidesWhereTheServerHasAnnouncedItsEndBeforeOurs) {
  TLSServer::Behaviour behaviour;
  behaviour.announcesEndAtOnce = true;
  EncryptingServer server(behaviour);
  const auto settings = trusting();
  stores(server.ftp, settings, "/a", contentOfSize(largeSize));
  EXPECT_EQ(server.ftp.count("SIZE"), 1U);
  server.ftp.always("SIZE", reply("213 2999999"));
  EncryptedUpload upload(server.ftp, settings, "/b", contentOfSize(largeSize));
  EXPECT_FALSE(upload.stores());
}

}  // namespace
