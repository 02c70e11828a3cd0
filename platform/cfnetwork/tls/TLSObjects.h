#pragma once

#include <memory>
#include <string>

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "cfnetwork/tls/TLSContext.h"
#include "cfnetwork/tls/TLSPeer.h"
#include "foundation/runtime/Releaser.h"

inline namespace telvo {

class NSError;

namespace cfnetwork {

// For the .cpp files that know of TLS, and no others: the library's objects, with owners.
using TLSContextObject = std::unique_ptr<SSL_CTX, foundation::Releaser<SSL_CTX_free>>;
using TLSConnectionObject = std::unique_ptr<SSL, foundation::Releaser<SSL_free>>;
using TLSSessionObject = std::unique_ptr<SSL_SESSION, foundation::Releaser<SSL_SESSION_free>>;

struct TLSContext::Implementation {
  TLSContextObject object;
};

struct TLSPeer::Session {
  TLSSessionObject object;
};

// What belongs to one encrypted connection beside the library's own state.
struct TLSConnectionState {
  TLSPeer& peer;
  bool isOfControl = false;       // what it learns is kept for the peer's other connections
  Ref<NSError> certificateError;  // what is wrong with the server's certificate; nil as long as nothing is
};

// Ties the state, which must live at least as long, to the connection; and finds it again.
void setTLSState(SSL* connection, TLSConnectionState& state);
TLSConnectionState* TLSStateOf(const SSL* connection);

// The library's question whether the server's certificate is good: 1 when it is. Else the state has the error.
int verifyTLSCertificate(X509_STORE_CTX* certificate, void* unused);

// What the library has noted about the first failure on this thread since its notes were emptied last, as text. They
// are empty afterwards.
std::string takeTLSFailure();

}  // namespace cfnetwork

}  // namespace telvo
