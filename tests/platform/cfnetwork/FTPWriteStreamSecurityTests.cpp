#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/platform/cfnetwork/EncryptedUpload.h"

// What is not encrypted, or not with whom it should be, sends nothing.

namespace {

using namespace scripted;

class FTPWriteStreamSecurity : public testing::Test, protected EncryptionTesting {
 protected:
  // The item fails for that reason, before anything but AUTH was said.
  static void expectNothingSent(ScriptedFTPServer& server, const id& settings, const std::string& reason,
                                NSInteger replyCode = 0, NSInteger errorCode = kCFURLErrorSecureConnectionFailed) {
    EncryptedUpload upload(server, settings);
    EXPECT_FALSE(upload.stores());
    EXPECT_NE(upload.errorText().find(reason), std::string::npos) << upload.errorText();
    EXPECT_EQ(upload.errorCode(), errorCode) << upload.errorText();
    EXPECT_EQ(upload.replyCode(), replyCode);
    for (const std::string& verb : server.verbs()) {
      EXPECT_TRUE(verb == "AUTH" || verb == "GREETING") << verb;
    }
  }

  void expectRefused(const TestCertificate& certificate, const id& settings, const std::string& reason) const {
    EncryptingServer server(certificate);
    expectNothingSent(server.ftp, settings, reason);
  }

  void expectUnusable(const Ref<NSDictionary>& settings, const std::string& reason) const {
    ScriptedFTPServer server;
    expectNothingSent(server, settings, reason);
    EXPECT_EQ(server.sessions(), 0U);
  }
};

TEST_F(FTPWriteStreamSecurity, AServerWithoutItIsSentNothing) {
  ScriptedFTPServer server;
  server.always("AUTH", reply("502 Never heard of it."));
  expectNothingSent(server, trusting(), "The server does not offer TLS: Never heard of it.", 502);
  server.always("AUTH", reply("200 Whatever."));
  expectNothingSent(server, trusting(), "The server does not offer TLS: Whatever.", 200);
}

TEST_F(FTPWriteStreamSecurity, AServerThatDoesNotEncryptDataIsNotLoggedInTo) {
  EncryptingServer server;
  server.ftp.always("PROT", reply("536 Not here."));
  EncryptedUpload upload(server.ftp, trusting());
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorText(), "The server does not encrypt data: Not here.");
  EXPECT_EQ(upload.replyCode(), 536);
  EXPECT_EQ(server.ftp.verbs(), (std::vector<std::string>{"AUTH", "PBSZ", "PROT"}));
}

// Somebody on the way can add to what is said in the clear.
TEST_F(FTPWriteStreamSecurity, WhatIsInjectedBeforeTheHandshakeEndsTheConnection) {
  for (const char* injected :
       {"230 Logged in.\r\n", "200 Done.\r\n331 Go on.\r\n230 Logged in.\r\n", "2", "230-", "\r\n", "garbage"}) {
    TLSServer tls(usual());
    ScriptedFTPServer server;
    server.always("AUTH", [&](Session& session, const std::string&) {
      session.send("234 Go ahead.\r\n" + std::string(injected));
      tls.encryptControl(session);
    });
    EncryptedUpload upload(server, trusting());
    EXPECT_FALSE(upload.stores()) << injected;
    EXPECT_EQ(upload.errorCode(), kCFURLErrorSecureConnectionFailed) << upload.errorText();
    EXPECT_EQ(server.verbs(), (std::vector<std::string>{"AUTH"}));
  }
}

TEST_F(FTPWriteStreamSecurity, WhatIsNoHandshakeEndsTheConnection) {
  for (const char* nonsense : {"230 Logged in.\r\n", "\x15\x03\x03\x00\x02\x02\x28", "\x16\x03\x03\xff\xff"}) {
    ScriptedFTPServer server;
    server.always("AUTH", [&](Session& session, const std::string&) {
      session.reply("234 Go ahead.");
      // The client has sent its first record when it comes.
      EXPECT_TRUE(session.comesOnControl());
      session.send(std::string(nonsense, nonsense[0] == '\x15' ? 7 : std::char_traits<char>::length(nonsense)));
      session.waitForTheEnd();
    });
    expectNothingSent(server, trusting(), "TLS handshake");
  }
}

TEST_F(FTPWriteStreamSecurity, AServerThatClosesInTheHandshakeIsLost) {
  ScriptedFTPServer server;
  server.always("AUTH", then(reply("234 Go ahead."), dropControl()));
  expectNothingSent(server, trusting(), "The server closed the connection during the TLS handshake.", 0,
                    kCFURLErrorNetworkConnectionLost);
}

TEST_F(FTPWriteStreamSecurity, OldVersionsAreRefused) {
  TLSServer::Behaviour behaviour;
  behaviour.takesOldVersionsOnly = true;
  EncryptingServer server(behaviour);
  expectNothingSent(server.ftp, trusting(), "The server has refused the TLS handshake: protocol version.");
}

// Certificates.

TEST_F(FTPWriteStreamSecurity, CertificatesAreGoodFromTheirFirstDayToTheirLast) {
  constexpr long day = 86400;
  const std::string names = "IP:127.0.0.1";
  expectRefused(TestCertificate::make(&authority(), names, -2 * day, -day), trusting(),
                "has expired: it was valid until 2");
  expectRefused(TestCertificate::make(&authority(), names, day, 2 * day), trusting(),
                "is not yet valid: it will be from 2");
}

TEST_F(FTPWriteStreamSecurity, CertificatesAreForTheirNamesOnly) {
  expectRefused(TestCertificate::make(&authority(), "DNS:example.org,IP:10.0.0.1"), trusting(),
                "The server's certificate is not for 127.0.0.1, but for example.org, 10.0.0.1.");
  // An address is not a name.
  expectRefused(TestCertificate::make(&authority(), "DNS:127.0.0.1"), trusting(), "is not for 127.0.0.1");
}

TEST_F(FTPWriteStreamSecurity, CertificatesGoBackToAnAuthorityThatIsKnown) {
  const TestCertificate other = TestCertificate::make();
  const TestCertificate certificate = TestCertificate::make(&other);
  for (const Ref<NSMutableDictionary>& settings : {trusting(), settings("tls")}) {
    expectRefused(certificate, settings,
                  "unknown authority. Its SHA-256 fingerprint is " + certificate.fingerprint + ".");
  }
  const TestCertificate alone = TestCertificate::make(nullptr);
  expectRefused(alone, trusting(), "self-signed");
  expectRefused(alone, trusting(), "Its SHA-256 fingerprint is " + alone.fingerprint + ".");
}

// In place of everything else: names, dates and authorities.
TEST_F(FTPWriteStreamSecurity, AFingerprintIsAllThatCounts) {
  const TestCertificate certificate = TestCertificate::make(nullptr, "DNS:example.org", -20, -10);
  std::string withColons;
  for (const char digit : certificate.fingerprint) {
    if (withColons.size() % 3 == 2) withColons += ':';
    withColons += static_cast<char>(std::toupper(static_cast<unsigned char>(digit)));
  }
  for (const std::string& fingerprint : {certificate.fingerprint, withColons}) {
    EncryptingServer server(certificate);
    const auto pinned = settings();
    set(*pinned, kCFStreamFTPSecurityFingerprint(), fingerprint);
    for (const char* path : {"/a", "/b"}) {
      EncryptedUpload upload(server.ftp, pinned, path);
      EXPECT_TRUE(upload.stores()) << upload.errorText();
    }
    EXPECT_EQ(server.tls.resumed(), 2U);
  }
}

TEST_F(FTPWriteStreamSecurity, AnotherFingerprintIsAnotherServer) {
  const auto pinned = trusting();
  set(*pinned, kCFStreamFTPSecurityFingerprint(), std::string(64, 'a'));
  expectRefused(usual(), pinned, "differs: it is " + usual().fingerprint + ", not " + std::string(64, 'a'));
}

// Settings.

TEST_F(FTPWriteStreamSecurity, SettingsThatCannotBeUsedConnectNothing) {
  expectUnusable(settings("TLS"), "none, tls or implicit");
  expectUnusable(settings(""), "none, tls or implicit");
  expectUnusable(NSMutableDictionary::dictionary(), "none, tls or implicit");
  const auto with = [this](const Ref<NSString>& key, const std::string& value) {
    const auto changed = trusting();
    set(*changed, key, value);
    return changed;
  };
  for (const std::string& fingerprint : {std::string(63, 'a'), std::string(65, 'a'), std::string(64, 'g')}) {
    expectUnusable(with(kCFStreamFTPSecurityFingerprint(), fingerprint), "64 hexadecimal digits");
  }
  expectUnusable(with(kCFStreamFTPSecurityCertificateAuthority(), missingFile()), missingFile());
  expectUnusable(with(kCFStreamFTPSecurityCertificateAuthority(), file("empty", "")), "authority cannot be read");
  expectUnusable(with(kCFStreamFTPSecurityCertificate(), missingFile()), missingFile());
  expectUnusable(with(kCFStreamFTPSecurityCertificate(), file("alone.pem", usual().certificate)), "key");
  expectUnusable(with(kCFStreamFTPSecurityKey(), file("key.pem", usual().key)), "A key needs its certificate.");
  const auto other = with(kCFStreamFTPSecurityCertificate(), file("a.pem", usual().certificate));
  set(*other, kCFStreamFTPSecurityKey(), file("b.pem", authority().key));
  expectUnusable(other, "key");
}

// Who names an authority does not want to be sent in the clear.
TEST_F(FTPWriteStreamSecurity, CertificatesWithoutEncryptionConnectNothing) {
  const auto unencrypted = trusting();
  set(*unencrypted, kCFStreamFTPSecurityLevel(), "none");
  expectUnusable(unencrypted, "of no use without encryption");
}

TEST_F(FTPWriteStreamSecurity, NoneIsTheUsualUpload) {
  ScriptedFTPServer server;
  EXPECT_TRUE(EncryptedUpload(server, settings("none")).stores());
  EXPECT_EQ(server.verbs(), (std::vector<std::string>{"USER", "PASS", "TYPE", "EPSV", "STOR"}));
}

// The settings of the system count where the stream has none.
TEST_F(FTPWriteStreamSecurity, IsAlsoASettingOfTheSystem) {
  ScriptedFTPServer server;
  server.always("AUTH", reply("502 No."));
  const auto system = NSMutableDictionary::dictionary();
  system->setObject_forKey(settings(), "FTPSecurity"_ns);
  Upload upload(server, "/a", "content");
  upload.stream->setProperty_forKey(system, kCFStreamPropertyFTPProxy());
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(server.verbs(), (std::vector<std::string>{"AUTH"}));
}

TEST_F(FTPWriteStreamSecurity, ACertificateThatIsTrustedItselfNeedsNoAuthority) {
  for (const TestCertificate& certificate : {TestCertificate::make(nullptr), usual()}) {
    EncryptingServer server(certificate);
    const auto trusted = settings();
    set(*trusted, kCFStreamFTPSecurityCertificateAuthority(),
        file(certificate.fingerprint + ".pem", certificate.certificate));
    EncryptedUpload upload(server.ftp, trusted);
    EXPECT_TRUE(upload.stores()) << upload.errorText();
  }
}

TEST_F(FTPWriteStreamSecurity, TheClientShowsItsOwnCertificate) {
  const TestCertificate client = TestCertificate::make(&authority());
  TLSServer::Behaviour behaviour;
  behaviour.clientAuthority = authority().certificate;
  EncryptingServer server(behaviour);
  expectNothingSent(server.ftp, trusting(), "certificate required");
  const auto showing = trusting();
  set(*showing, kCFStreamFTPSecurityCertificate(), file("both.pem", client.both()));
  EXPECT_TRUE(EncryptedUpload(server.ftp, showing).stores());
  const auto withKey = trusting();
  set(*withKey, kCFStreamFTPSecurityCertificate(), file("client.pem", client.certificate));
  set(*withKey, kCFStreamFTPSecurityKey(), file("key.pem", client.key));
  EXPECT_TRUE(EncryptedUpload(server.ftp, withKey).stores());
}

}  // namespace
