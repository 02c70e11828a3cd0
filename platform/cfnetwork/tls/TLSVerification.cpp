#include <array>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "cfnetwork/FTPErrors.h"
#include "cfnetwork/tls/TLSObjects.h"
#include "foundation/errors/NSError.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

using Names = std::unique_ptr<GENERAL_NAMES, foundation::Releaser<GENERAL_NAMES_free>>;

// A certificate can have hundreds of names; these many are told.
constexpr int mostNames = 8;

std::string fingerprintOf(const X509* certificate) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  if (X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1) return {};
  std::string text;
  for (unsigned i = 0; i < size; ++i) {
    text += digits[digest[i] >> 4];
    text += digits[digest[i] & 15];
  }
  return text;
}

// What a certificate holds is anybody's text, and is shown to people.
std::string printable(const ASN1_STRING* text) {
  const auto* bytes = reinterpret_cast<const char*>(ASN1_STRING_get0_data(text));
  std::string shown(bytes, static_cast<std::size_t>(ASN1_STRING_length(text)));
  for (char& character : shown) {
    if (character < ' ' || character > '~') character = '?';
  }
  return shown;
}

std::string textOf(const GENERAL_NAME* name) {
  if (name->type == GEN_DNS) return printable(name->d.dNSName);
  if (name->type != GEN_IPADD) return {};
  constexpr int sizeOfIPv6 = 16;
  const int length = ASN1_STRING_length(name->d.iPAddress);
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (length != 4 && length != sizeOfIPv6) return {};
  const int family = length == 4 ? AF_INET : AF_INET6;
  inet_ntop(family, ASN1_STRING_get0_data(name->d.iPAddress), text.data(), text.size());
  return text.data();
}

std::string commonNameOf(const X509* certificate) {
  const X509_NAME* const subject = X509_get_subject_name(certificate);
  const int index = X509_NAME_get_index_by_NID(subject, NID_commonName, -1);
  return index < 0 ? "" : printable(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(subject, index)));
}

// For whom the certificate is: its alternative names, or without any its common name, as they are checked.
std::string namesOf(const X509* certificate) {
  const Names names(static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  std::string list;
  int listed = 0;
  for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()) && listed < mostNames; ++i) {
    const std::string name = textOf(sk_GENERAL_NAME_value(names.get(), i));
    if (name.empty()) continue;
    list += (list.empty() ? "" : ", ") + name;
    ++listed;
  }
  if (list.empty()) list = commonNameOf(certificate);
  return list.empty() ? "nobody" : list;
}

std::string dateText(const ASN1_TIME* date) {
  constexpr std::size_t longest = 64;
  tm parts{};
  std::array<char, longest> text{};
  if (ASN1_TIME_to_tm(date, &parts) != 1) return "an unreadable date";
  const std::size_t size = strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts);
  return {text.data(), size};
}

std::string subjectOf(X509_STORE_CTX* store) {
  return X509_STORE_CTX_get_error_depth(store) == 0 ? "The server's certificate"
                                                    : "A certificate that the server's goes back to";
}

std::string pinningAdvice(const X509* certificate) {
  return " Its SHA-256 fingerprint is " + fingerprintOf(certificate) + ".";
}

// In words, with what its reader needs to do something about it.
std::string textOfProblem(X509_STORE_CTX* store, const X509* certificate, const std::string& host) {
  const int problem = X509_STORE_CTX_get_error(store);
  const X509* const culprit =
      X509_STORE_CTX_get_current_cert(store) ? X509_STORE_CTX_get_current_cert(store) : certificate;
  switch (problem) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
      return subjectOf(store) + " has expired: it was valid until " + dateText(X509_get0_notAfter(culprit)) + ".";
    case X509_V_ERR_CERT_NOT_YET_VALID:
      return subjectOf(store) + " is not yet valid: it will be from " + dateText(X509_get0_notBefore(culprit)) + " on.";
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
      return "The server's certificate is not for " + host + ", but for " + namesOf(certificate) + ".";
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
      return "The server's certificate is self-signed, and nothing says that it can be trusted." +
             pinningAdvice(certificate);
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
      return "The server's certificate is from an unknown authority." + pinningAdvice(certificate);
    default:
      return subjectOf(store) + " cannot be trusted: " + X509_verify_cert_error_string(problem) + "." +
             pinningAdvice(certificate);
  }
}

Ref<NSError> checkFingerprint(const X509* certificate, const std::string& expected) {
  const std::string seen = fingerprintOf(certificate);
  if (seen == expected) return nil;
  return errorWithCode(
      kCFURLErrorSecureConnectionFailed,
      "The fingerprint of the server's certificate differs: it is " + seen + ", not " + expected + ".");
}

// By authority, dates and name (RFC 6125).
Ref<NSError> checkChain(X509_STORE_CTX* store, const X509* certificate, const TLSPeer& peer) {
  X509_VERIFY_PARAM* const check = X509_STORE_CTX_get0_param(store);
  const std::string& host = peer.name();
  X509_VERIFY_PARAM_set_hostflags(check, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
  const bool isSet = peer.isAddress() ? X509_VERIFY_PARAM_set1_ip_asc(check, host.c_str()) == 1
                                      : X509_VERIFY_PARAM_set1_host(check, host.data(), host.size()) == 1;
  if (isSet && X509_verify_cert(store) == 1) return nil;
  const std::string text = isSet ? textOfProblem(store, certificate, host) : "No certificate can be for " + host + ".";
  return errorWithCode(kCFURLErrorSecureConnectionFailed, text);
}

}  // namespace

int verifyTLSCertificate(X509_STORE_CTX* store, void*) {
  const auto* const connection =
      static_cast<const SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
  TLSConnectionState* const state = TLSStateOf(connection);
  const X509* const certificate = X509_STORE_CTX_get0_cert(store);
  if (!state || !certificate) return 0;
  const std::string& fingerprint = state->peer.context().settings().fingerprint;
  state->certificateError =
      fingerprint.empty() ? checkChain(store, certificate, state->peer) : checkFingerprint(certificate, fingerprint);
  if (!state->certificateError) return 1;
  // What the server is told when nothing more exact is known.
  if (X509_STORE_CTX_get_error(store) == X509_V_OK) X509_STORE_CTX_set_error(store, X509_V_ERR_CERT_REJECTED);
  return 0;
}

}  // namespace cfnetwork

}  // namespace telvo
