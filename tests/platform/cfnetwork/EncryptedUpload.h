#pragma once

#include <string>

#include "cfnetwork/CFNetworkErrors.h"
#include "foundation/Foundation.h"
#include "testing/TemporaryDirectory.h"
#include "testing/tls/TLSServer.h"
#include "tests/platform/cfnetwork/Upload.h"

// What the tests of encrypted connections share: certificates, which are made once, and uploads with settings.
class EncryptionTesting {
 public:
  static const TestCertificate& authority() {
    static const TestCertificate certificate = TestCertificate::make();
    return certificate;
  }
  static const TestCertificate& usual() {
    static const TestCertificate certificate = TestCertificate::make(&authority());
    return certificate;
  }

  // A file with this content, for as long as the test runs.
  std::string file(const std::string& name, const std::string& content) const { return folder_.write(name, content); }

  // Where there is none.
  std::string missingFile() const { return folder_ / "missing.pem"; }

  Ref<NSMutableDictionary> settings(const std::string& level = "tls") const {
    const auto settings = NSMutableDictionary::dictionary();
    set(*settings, kCFStreamFTPSecurityLevel(), level);
    return settings;
  }
  Ref<NSMutableDictionary> trusting() const {
    const auto trusting = settings();
    set(*trusting, kCFStreamFTPSecurityCertificateAuthority(), file("authority.pem", authority().certificate));
    return trusting;
  }
  static void set(NSMutableDictionary& settings, const Ref<NSString>& key, const std::string& value) {
    settings.setObject_forKey(NSString::stringWithUTF8String(value), key);
  }

 private:
  TemporaryDirectory folder_;
};

// A server that encrypts, with the usual certificate unless another one is given.
struct EncryptingServer {
  explicit EncryptingServer(const TLSServer::Behaviour& behaviour)
      : EncryptingServer(EncryptionTesting::usual(), behaviour) {}
  explicit EncryptingServer(const TestCertificate& certificate = EncryptionTesting::usual(),
                            const TLSServer::Behaviour& behaviour = TLSServer::Behaviour())
      : tls(certificate, behaviour) {
    tls.serve(ftp);
  }

  TLSServer tls;
  ScriptedFTPServer ftp;
};

// An upload that is encrypted with these settings.
class EncryptedUpload : public Upload {
 public:
  EncryptedUpload(const ScriptedFTPServer& server, const id& settings, const std::string& path = "/a",
                  const std::string& text = "content")
      : Upload(server, path, text) {
    stream->setProperty_forKey(settings, kCFStreamPropertyFTPSecurity());
  }
};
