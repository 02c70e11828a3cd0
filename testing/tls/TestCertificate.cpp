#include "testing/tls/TestCertificate.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "foundation/runtime/Releaser.h"

namespace {

using foundation::Releaser;
using Certificate = std::unique_ptr<X509, Releaser<X509_free>>;
using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using Memory = std::unique_ptr<BIO, Releaser<BIO_free_all>>;

std::string textOf(const Memory& memory) {
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

void extend(X509* certificate, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const std::unique_ptr<X509_EXTENSION, Releaser<X509_EXTENSION_free>> extension(
      X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  if (!extension || X509_add_ext(certificate, extension.get(), -1) != 1) throw std::runtime_error("no such extension");
}

Certificate certificateFrom(const std::string& pem) {
  const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return Certificate(PEM_read_bio_X509(memory.get(), nullptr, nullptr, nullptr));
}

Key keyFrom(const std::string& pem) {
  const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  return Key(PEM_read_bio_PrivateKey(memory.get(), nullptr, nullptr, nullptr));
}

std::string fingerprintOf(const X509* certificate) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  X509_digest(certificate, EVP_sha256(), digest, &size);
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    constexpr char digits[] = "0123456789abcdef";
    text += {digits[digest[i] / 16], digits[digest[i] % 16]};
  }
  return text;
}

void setName(X509* certificate, const char* name) {
  X509_NAME* const subject = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
}

}  // namespace

TestCertificate TestCertificate::make(const TestCertificate* issuer, const std::string& names, long begins, long ends) {
  const Key key(EVP_EC_gen("P-256"));
  const Certificate certificate(X509_new());
  std::uint64_t number = 0;
  RAND_bytes(reinterpret_cast<unsigned char*>(&number), sizeof number);
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), number);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), begins);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), ends);
  X509_set_pubkey(certificate.get(), key.get());
  setName(certificate.get(), ("Somebody " + std::to_string(number)).c_str());
  const Certificate above = issuer ? certificateFrom(issuer->certificate) : Certificate();
  const Key signing = issuer ? keyFrom(issuer->key) : Key();
  X509_set_issuer_name(certificate.get(), X509_get_subject_name(above ? above.get() : certificate.get()));
  extend(certificate.get(), NID_basic_constraints, issuer ? "CA:FALSE" : "critical,CA:TRUE");
  extend(certificate.get(), NID_subject_alt_name, names);
  if (X509_sign(certificate.get(), signing ? signing.get() : key.get(), EVP_sha256()) == 0) {
    throw std::runtime_error("the certificate cannot be signed");
  }
  const Memory certificateText(BIO_new(BIO_s_mem()));
  const Memory keyText(BIO_new(BIO_s_mem()));
  PEM_write_bio_X509(certificateText.get(), certificate.get());
  PEM_write_bio_PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  return {textOf(certificateText), textOf(keyText), fingerprintOf(certificate.get())};
}
