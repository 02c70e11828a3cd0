#include "cfnetwork/tls/TLSContext.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <openssl/err.h>

#include "cfnetwork/FTPErrors.h"
#include "cfnetwork/tls/TLSObjects.h"
#include "foundation/errors/NSError.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

// Nobody is there to be asked; the library would ask at the terminal, and wait.
int refuseToAsk(char*, int, int, void*) { return -1; }

Ref<NSError> fileError(std::string_view what, const std::string& path) {
  return errorWithCode(kCFURLErrorSecureConnectionFailed,
                       std::string(what) + " cannot be read from " + path + ": " + takeTLSFailure());
}

// What is in the file is trusted as it stands: one server's own certificate as well as an authority's.
Ref<NSError> trust(SSL_CTX* context, const TLSSettings& settings) {
  if (settings.authority.empty()) {
    // A server whose fingerprint is known needs none of them, and reading them all takes its time.
    if (settings.fingerprint.empty()) SSL_CTX_set_default_verify_paths(context);
    return nil;
  }
  if (SSL_CTX_load_verify_file(context, settings.authority.c_str()) != 1) {
    return fileError("The certificate authority", settings.authority);
  }
  X509_VERIFY_PARAM_set_flags(SSL_CTX_get0_param(context), X509_V_FLAG_PARTIAL_CHAIN);
  return nil;
}

Ref<NSError> introduce(SSL_CTX* context, const TLSSettings& settings) {
  if (settings.certificate.empty()) return nil;
  if (SSL_CTX_use_certificate_chain_file(context, settings.certificate.c_str()) != 1) {
    return fileError("The client's certificate", settings.certificate);
  }
  const std::string& key = settings.key.empty() ? settings.certificate : settings.key;
  // Also fails when the key belongs to another certificate.
  if (SSL_CTX_use_PrivateKey_file(context, key.c_str(), SSL_FILETYPE_PEM) != 1) {
    return fileError("The key of the client's certificate", key);
  }
  return nil;
}

// The session that the control connection has got last is the one that its data connections resume. A reference of our
// own: the library's one would be marked as spoilt when a connection is broken off.
int keepSession(SSL* connection, SSL_SESSION* session) {
  const TLSConnectionState* const state = TLSStateOf(connection);
  if (!state || !state->isOfControl) return 0;
  TLSSessionObject copy(SSL_SESSION_dup(session));
  if (copy) state->peer.setSession(std::make_unique<TLSPeer::Session>(TLSPeer::Session{std::move(copy)}));
  return 0;
}

void configure(SSL_CTX* context) {
  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  SSL_CTX_set_mode(context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  SSL_CTX_set_default_passwd_cb(context, refuseToAsk);
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
  SSL_CTX_set_cert_verify_callback(context, verifyTLSCertificate, nullptr);
  // Sessions are kept with the control connection that they belong to, not here.
  SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
  SSL_CTX_sess_set_new_cb(context, keepSession);
}

// The notes are about the call before, and are read once.
std::string textOfFailure(unsigned long code) {
  const char* const reason = code == 0 ? nullptr : ERR_reason_error_string(code);
  if (reason) return reason;
  return ERR_SYSTEM_ERROR(code) ? std::generic_category().message(ERR_GET_REASON(code)) : "unknown";
}

}  // namespace

void setTLSState(SSL* connection, TLSConnectionState& state) { SSL_set_app_data(connection, &state); }

TLSConnectionState* TLSStateOf(const SSL* connection) {
  return static_cast<TLSConnectionState*>(SSL_get_app_data(connection));
}

std::string takeTLSFailure() {
  const std::string text = textOfFailure(ERR_peek_error());
  ERR_clear_error();
  return text;
}

TLSContext::TLSContext(TLSSettings settings, std::unique_ptr<Implementation> implementation)
    : settings_(std::move(settings)), implementation_(std::move(implementation)) {}

TLSContext::~TLSContext() = default;

std::variant<TLSContext::Shared, Ref<NSError>> TLSContext::withSettings(const TLSSettings& settings) {
  thread_local std::vector<std::weak_ptr<const TLSContext>> contexts;
  std::erase_if(contexts, [](const auto& context) { return context.expired(); });
  for (const auto& weak : contexts) {
    if (const Shared context = weak.lock(); context && context->settings() == settings) return context;
  }
  ERR_clear_error();
  TLSContextObject object(SSL_CTX_new(TLS_client_method()));
  if (!object) return errorWithCode(kCFURLErrorSecureConnectionFailed, "TLS cannot be used: " + takeTLSFailure());
  configure(object.get());
  if (const Ref<NSError> error = trust(object.get(), settings)) return error;
  if (const Ref<NSError> error = introduce(object.get(), settings)) return error;
  const auto context =
      std::make_shared<const TLSContext>(settings, std::make_unique<Implementation>(Implementation{std::move(object)}));
  contexts.push_back(context);
  return context;
}

}  // namespace cfnetwork

}  // namespace telvo
