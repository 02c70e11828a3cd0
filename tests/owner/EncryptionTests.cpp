#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "telvo/owner/Encryption.h"
#include "telvo/owner/Message.h"

namespace {

// 32 bytes in hexadecimal digits.
std::string digits(const std::string& between) {
  std::string text = "aB";
  for (int number = 1; number < 32; ++number) text += between + "0f";
  return text;
}

std::string complaintAbout(const telvo::Upload& upload) {
  try {
    telvo::checkEncryption(upload);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "(none)";
}

// The value behind a key of the helper's command line; "(none)" when it is not there.
std::string parameter(const telvo::Upload& upload, const std::string& key) {
  const auto arguments = telvo::launchArguments(upload, "com.example.Owner", "token");
  for (std::size_t place = 0; place + 1 < arguments.size(); place += 2) {
    if (arguments[place] == "-" + key) return arguments[place + 1];
  }
  return "(none)";
}

TEST(Encryption, WhatIsLeftAsItIsLeavesItsParameterOut) {
  for (const char* const key : {"security", "tlsCertificateAuthority", "tlsFingerprint", "tlsCertificate", "tlsKey"}) {
    EXPECT_EQ(parameter({}, key), "(none)") << key;
  }
}

TEST(Encryption, EachMemberHasItsParameter) {
  telvo::Upload upload;
  upload.security = telvo::Security::tls;
  upload.certificateAuthority = "/ca.pem";
  upload.fingerprint = digits(":");
  upload.certificate = "/anna.pem";
  upload.key = "/anna.key";
  EXPECT_EQ(parameter(upload, "security"), "tls");
  EXPECT_EQ(parameter(upload, "tlsCertificateAuthority"), "/ca.pem");
  EXPECT_EQ(parameter(upload, "tlsFingerprint"), digits(":"));
  EXPECT_EQ(parameter(upload, "tlsCertificate"), "/anna.pem");
  EXPECT_EQ(parameter(upload, "tlsKey"), "/anna.key");
  upload.security = telvo::Security::implicit;
  EXPECT_EQ(parameter(upload, "security"), "implicit");
}

TEST(Encryption, AKeyMayBeInItsCertificatesFile) {
  telvo::Upload upload;
  upload.certificate = "/anna.pem";
  EXPECT_EQ(parameter(upload, "tlsKey"), "/anna.pem");
}

TEST(Encryption, WithoutItNothingElseMayBeGiven) {
  for (const auto member : {&telvo::Upload::certificateAuthority, &telvo::Upload::fingerprint,
                            &telvo::Upload::certificate, &telvo::Upload::key}) {
    telvo::Upload upload;
    upload.*member = member == &telvo::Upload::fingerprint ? digits("") : "/";
    EXPECT_NE(complaintAbout(upload).find("without encryption"), std::string::npos);
  }
  EXPECT_EQ(complaintAbout({}), "(none)");
}

TEST(Encryption, AFingerprintIsOfSHA256) {
  telvo::Upload upload;
  upload.security = telvo::Security::tls;
  for (const std::string& text : {digits(""), digits(":")}) {
    upload.fingerprint = text;
    EXPECT_EQ(complaintAbout(upload), "(none)") << text;
  }
  for (const std::string& text :
       {digits("").substr(1), digits("") + "0", std::string("SHA256:x"), std::string(64, 'g')}) {
    upload.fingerprint = text;
    EXPECT_NE(complaintAbout(upload).find("SHA-256"), std::string::npos) << text;
  }
}

TEST(Encryption, FilesHaveToExistAndAKeyNeedsItsCertificate) {
  telvo::Upload upload;
  upload.security = telvo::Security::tls;
  upload.certificateAuthority = "/does/not/exist.pem";
  EXPECT_EQ(complaintAbout(upload), "/does/not/exist.pem does not exist");
  upload.certificateAuthority = "/dev/null";
  EXPECT_EQ(complaintAbout(upload), "(none)");
  upload.key = "/dev/null";
  EXPECT_NE(complaintAbout(upload).find("its certificate"), std::string::npos);
  upload.certificate = "/dev/null";
  EXPECT_EQ(complaintAbout(upload), "(none)");
}

}  // namespace
