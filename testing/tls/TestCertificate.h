#pragma once

#include <string>

// Certificates made for a test, as PEM: the certificate, what it goes back to, and the key.
struct TestCertificate {
  std::string certificate;
  std::string key;
  std::string fingerprint;  // SHA-256, as small hexadecimal digits

  // Of an authority, or with an issuer of a server or client. Names and addresses as "DNS:localhost,IP:127.0.0.1"; the
  // times are in seconds from now.
  static TestCertificate make(const TestCertificate* issuer = nullptr,
                              const std::string& names = "DNS:localhost,IP:127.0.0.1", long begins = -86400,
                              long ends = 86400);
  std::string both() const { return key + certificate; }
};
