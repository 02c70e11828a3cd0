#include "cfnetwork/tls/TLSChannel.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <unistd.h>

#include "cfnetwork/BrokenPipeSilencer.h"
#include "cfnetwork/FTPErrors.h"
#include "cfnetwork/tls/TLSObjects.h"
#include "foundation/errors/NSError.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

using Progress = TLSChannel::Progress;

// What one record holds at the most (RFC 8446, section 5.1).
constexpr std::size_t recordSize = SSL3_RT_MAX_PLAIN_LENGTH;

// The alerts of the other side are noted as reasons from this number on.
bool isAlert(unsigned long code) {
  return ERR_GET_LIB(code) == ERR_LIB_SSL && ERR_GET_REASON(code) > SSL_AD_REASON_OFFSET;
}

bool isEnd(unsigned long code) {
  return ERR_GET_LIB(code) == ERR_LIB_SSL && ERR_GET_REASON(code) == SSL_R_UNEXPECTED_EOF_WHILE_READING;
}

// "tlsv13 alert certificate required" without what is only the library's. (Its list of alerts for people lacks those
// of TLS 1.3.)
std::string textOfAlert(unsigned long code) {
  const char* const reason = ERR_reason_error_string(code);
  if (!reason) return "alert " + std::to_string(ERR_GET_REASON(code) - SSL_AD_REASON_OFFSET);
  const std::string_view text = reason;
  constexpr std::string_view mark = " alert ";
  const std::size_t found = text.find(mark);
  return std::string(found == text.npos ? text.substr(text.find(' ') + 1) : text.substr(found + mark.size()));
}

// What the library's notes say is wrong.
Ref<NSError> protocolError(bool isEstablished) {
  const unsigned long code = ERR_peek_error();
  std::string text;
  if (isAlert(code)) {
    text = isEstablished ? "The server has ended the encryption: " : "The server has refused the TLS handshake: ";
    text += textOfAlert(code);
  } else {
    text = isEstablished ? "The encryption has failed: " : "The TLS handshake has failed: ";
    text += takeTLSFailure();
  }
  return errorWithCode(kCFURLErrorSecureConnectionFailed, text + ".");
}

// The server has shown which group it wants. A first message with a share in another one it would answer with a request
// for that, which costs every file a round trip.
void preferGroup(SSL* connection, int group) {
  const std::array usual{NID_X25519, NID_X9_62_prime256v1, NID_secp384r1, NID_secp521r1, NID_X448};
  if (std::find(usual.begin(), usual.end(), group) == usual.end()) return;
  std::array groups = usual;
  std::stable_partition(groups.begin(), groups.end(), [group](int each) { return each == group; });
  SSL_set1_groups(connection, groups.data(), static_cast<long>(groups.size()));
}

// As one of its control connection's. With a copy of the session, since a connection that is broken off or fails spoils
// its own for others.
void resume(SSL* connection, const TLSPeer::Session& session) {
  const TLSSessionObject copy(SSL_SESSION_dup(session.object.get()));
  if (copy) SSL_set_session(connection, copy.get());
}

}  // namespace

struct TLSChannel::Implementation {
  std::shared_ptr<TLSPeer> peer;
  TLSConnectionState state;
  TLSConnectionObject object;
  std::string heldBack;  // the content of a record that did not fit; the library wants to be given it once more
  Ref<NSError> error;
  bool isAtEnd = false;
  bool peerEnded = false;

  bool isEstablished() const { return SSL_is_init_finished(object.get()) == 1; }
  template <class Call>
  Progress attempt(Call call);
  Progress outcome(int result, int number);
  Progress fail(const Ref<NSError>& cause, int number);
  Progress put(const void* bytes, std::size_t size);
  Progress putHeldBack();
  void learn();
};

// A call of the library's, which would otherwise leave notes of its errors on the thread, and send SIGPIPE.
template <class Call>
Progress TLSChannel::Implementation::attempt(Call call) {
  const BrokenPipeSilencer silencer;
  ERR_clear_error();
  errno = 0;
  const int result = call();
  const int number = errno;
  const Progress progress = outcome(result, number);
  const int failure = errno;
  ERR_clear_error();
  errno = failure;
  return progress;
}

Progress TLSChannel::Implementation::outcome(int result, int number) {
  switch (SSL_get_error(object.get(), result)) {
    case SSL_ERROR_NONE:
      return Progress::Done;
    case SSL_ERROR_WANT_READ:
      return Progress::WaitsToRead;
    case SSL_ERROR_WANT_WRITE:
      return Progress::WaitsToWrite;
    case SSL_ERROR_ZERO_RETURN:
      // The other side has ended its own direction only.
      isAtEnd = peerEnded = true;
      return Progress::Failed;
    case SSL_ERROR_SYSCALL:
      isAtEnd = number == 0;
      // The system's own failure errno tells; what the server has said before it can still be read.
      errno = number;
      return Progress::Failed;
    default:
      break;
  }
  isAtEnd = isEnd(ERR_peek_error());
  if (isAtEnd) return Progress::Failed;
  return fail(state.certificateError ? state.certificateError : protocolError(isEstablished()), EPROTO);
}

// Sets errno, for those who read no further than that.
Progress TLSChannel::Implementation::fail(const Ref<NSError>& cause, int number) {
  if (!error) error = cause;
  errno = number;
  return Progress::Failed;
}

TLSChannel::TLSChannel(std::shared_ptr<TLSPeer> peer, int descriptor, Use use)
    : implementation_(
          std::make_unique<Implementation>(Implementation{peer, {*peer, use == Use::Control, nil}, {}, {}, {}})) {
  ERR_clear_error();
  TLSConnectionObject& object = implementation_->object;
  object.reset(SSL_new(peer->context().implementation().object.get()));
  if (!object || SSL_set_fd(object.get(), descriptor) != 1) throw std::bad_alloc();
  setTLSState(object.get(), implementation_->state);
  SSL_set_connect_state(object.get());
  // An address is not a name (RFC 6066, section 3).
  if (!peer->isAddress()) SSL_set_tlsext_host_name(object.get(), peer->name().c_str());
  if (use == Use::Control) return;
  // Control connections carry too little to be worth it.
  SSL_set_options(object.get(), SSL_OP_ENABLE_KTLS);
  if (peer->session()) resume(object.get(), *peer->session());
  preferGroup(object.get(), peer->group());
}

TLSChannel::~TLSChannel() = default;

// Also of a server that gives no sessions, whose every data connection agrees on keys from the start.
void TLSChannel::Implementation::learn() {
  if (state.isOfControl) peer->setGroup(static_cast<int>(SSL_get_negotiated_group(object.get())));
}

bool TLSChannel::isEstablished() const { return implementation_->isEstablished(); }
std::size_t TLSChannel::heldBack() const { return implementation_->heldBack.size(); }
bool TLSChannel::hasPeerEnded() const { return implementation_->peerEnded; }
const Ref<NSError>& TLSChannel::error() const { return implementation_->error; }

Progress TLSChannel::shakeHands() {
  if (implementation_->error) return Progress::Failed;
  const Progress progress = implementation_->attempt([&] { return SSL_do_handshake(implementation_->object.get()); });
  if (progress == Progress::Done) implementation_->learn();
  if (progress != Progress::Failed || !implementation_->isAtEnd) return progress;
  constexpr std::string_view text = "The server closed the connection during the TLS handshake.";
  return implementation_->fail(errorWithCode(kCFURLErrorNetworkConnectionLost, text), ECONNRESET);
}

std::int64_t TLSChannel::read(void* buffer, std::size_t size) {
  if (implementation_->isAtEnd) return 0;
  std::size_t received = 0;
  const Progress progress =
      implementation_->attempt([&] { return SSL_read_ex(implementation_->object.get(), buffer, size, &received); });
  if (progress == Progress::Done) return static_cast<std::int64_t>(received);
  if (progress == Progress::Failed) return implementation_->isAtEnd ? 0 : -1;
  errno = EAGAIN;
  return -1;
}

Progress TLSChannel::Implementation::put(const void* bytes, std::size_t size) {
  std::size_t taken = 0;
  const Progress progress = attempt([&] { return SSL_write_ex(object.get(), bytes, size, &taken); });
  // After an end that nobody has announced the library takes nothing more.
  if (progress == Progress::Failed && errno == 0) errno = ECONNRESET;
  return progress;
}

Progress TLSChannel::Implementation::putHeldBack() {
  if (heldBack.empty()) return Progress::Done;
  const Progress progress = put(heldBack.data(), heldBack.size());
  if (progress == Progress::Done) heldBack.clear();
  return progress;
}

// Record by record. One that does not fit has been encrypted already, and must be put again as it is: it counts as
// taken and is held back, so that callers are free in what they write next.
std::int64_t TLSChannel::write(const void* bytes, std::size_t size) {
  const Progress before = implementation_->putHeldBack();
  if (before != Progress::Done) return before == Progress::Failed ? -1 : 0;
  const auto* const data = static_cast<const char*>(bytes);
  std::size_t taken = 0;
  while (taken < size) {
    const std::size_t part = std::min(recordSize, size - taken);
    const Progress progress = implementation_->put(data + taken, part);
    if (progress == Progress::Failed) return -1;
    taken += part;
    if (progress == Progress::Done) continue;
    implementation_->heldBack.assign(data + taken - part, part);
    break;
  }
  return static_cast<std::int64_t>(taken);
}

// Where the system encrypts, it can also move a file without a copy.
std::int64_t TLSChannel::sendFile(int file, std::size_t size) {
  SSL* const object = implementation_->object.get();
  if (BIO_get_ktls_send(SSL_get_wbio(object)) == 0) return -1;
  const Progress before = implementation_->putHeldBack();
  if (before != Progress::Done) return before == Progress::Failed ? -1 : 0;
  const off_t offset = ::lseek(file, 0, SEEK_CUR);
  if (offset < 0) return -1;
  ossl_ssize_t sent = 0;
  const Progress progress = implementation_->attempt([&] {
    sent = SSL_sendfile(object, file, offset, size, 0);
    return sent > 0 ? 1 : static_cast<int>(sent);
  });
  if (sent > 0) return ::lseek(file, offset + sent, SEEK_SET) < 0 ? -1 : sent;
  return progress == Progress::WaitsToWrite ? 0 : -1;
}

Progress TLSChannel::end() {
  const Progress before = implementation_->putHeldBack();
  if (before != Progress::Done) return before;
  int result = 0;
  const Progress progress = implementation_->attempt([&] {
    result = SSL_shutdown(implementation_->object.get());
    return result < 0 ? result : 1;
  });
  if (result >= 0) return Progress::Done;
  if (progress == Progress::Failed && errno == 0) errno = ECONNRESET;
  return progress;
}

}  // namespace cfnetwork

}  // namespace telvo
