#include "testing/tls/TLSServer.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include "foundation/runtime/Releaser.h"
#include "testing/Sockets.h"

using foundation::FileDescriptor;
using foundation::Releaser;

namespace {

using Connection = std::unique_ptr<SSL, Releaser<SSL_free>>;
using Memory = std::unique_ptr<BIO, Releaser<BIO_free_all>>;

constexpr int turn = 50;  // milliseconds, after which a thread looks whether the test is over

Memory memoryWith(const std::string& text) {
  return Memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

// The library knows no MSG_NOSIGNAL.
void blockBrokenPipes() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool isReady(int descriptor, short events, int milliseconds = turn) {
  pollfd polled{descriptor, events, 0};
  return ::poll(&polled, 1, milliseconds) > 0;
}

void waitForEnd(int descriptor, const std::atomic<bool>& isOver) {
  char byte = 0;
  while (!isOver && (!isReady(descriptor, POLLIN) || ::recv(descriptor, &byte, 1, 0) > 0)) {
  }
}

void countHellos(int isWritten, int, int type, const void* bytes, std::size_t size, SSL*, void* counter) {
  const bool isHello =
      type == SSL3_RT_HANDSHAKE && size > 0 && *static_cast<const char*>(bytes) == SSL3_MT_CLIENT_HELLO;
  if (isWritten == 0 && isHello) ++*static_cast<std::atomic<std::size_t>*>(counter);
}

bool sendAll(int descriptor, const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = ::send(descriptor, bytes, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

struct TLSServer::Library {
  std::unique_ptr<SSL_CTX, Releaser<SSL_CTX_free>> context{SSL_CTX_new(TLS_server_method())};
};

TLSServer::TLSServer(const TestCertificate& certificate, const Behaviour& behaviour)
    : behaviour_(behaviour), library_(std::make_unique<Library>()) {
  SSL_CTX* const context = library_->context.get();
  const std::unique_ptr<X509, Releaser<X509_free>> shown(
      PEM_read_bio_X509(memoryWith(certificate.certificate).get(), nullptr, nullptr, nullptr));
  const std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>> key(
      PEM_read_bio_PrivateKey(memoryWith(certificate.key).get(), nullptr, nullptr, nullptr));
  if (SSL_CTX_use_certificate(context, shown.get()) != 1 || SSL_CTX_use_PrivateKey(context, key.get()) != 1) {
    throw std::runtime_error("no certificate to be used");
  }
  constexpr unsigned char purpose[] = "test";
  SSL_CTX_set_session_id_context(context, purpose, sizeof purpose);
  if (!behaviour.groups.empty()) SSL_CTX_set1_groups_list(context, behaviour.groups.c_str());
  if (!behaviour.givesSessions) {
    SSL_CTX_set_num_tickets(context, 0);
    SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
  }
  if (behaviour.isLimitedTo12) SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION);
  if (behaviour.takesOldVersionsOnly) {
    SSL_CTX_set_security_level(context, 0);
    SSL_CTX_set_min_proto_version(context, TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context, TLS1_1_VERSION);
  }
  if (behaviour.clientAuthority.empty()) return;
  const std::unique_ptr<X509, Releaser<X509_free>> authority(
      PEM_read_bio_X509(memoryWith(behaviour.clientAuthority).get(), nullptr, nullptr, nullptr));
  X509_STORE_add_cert(SSL_CTX_get_cert_store(context), authority.get());
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
}

TLSServer::~TLSServer() {
  isOver_ = true;
  for (std::thread& thread : threads_) thread.join();
}

void TLSServer::encryptControl(ScriptedFTPServer::Session& session) {
  session.filterControl([this](FileDescriptor socket) { return decrypt(std::move(socket), Channel::Control); });
}

void TLSServer::serve(ScriptedFTPServer& server) {
  server.always("AUTH", [this](ScriptedFTPServer::Session& session, const std::string&) {
    session.reply("234 Go ahead.");
    encryptControl(session);
  });
  server.always("PBSZ", scripted::reply("200 Done."));
  server.always("SIZE", [&server](ScriptedFTPServer::Session& session, const std::string& path) {
    const auto content = server.file(path);
    session.reply(content ? "213 " + std::to_string(content->size()) : "550 There is no such file.");
  });
  server.always("PROT", [this](ScriptedFTPServer::Session& session, const std::string&) {
    session.filterData([this](FileDescriptor socket) { return decrypt(std::move(socket), Channel::Data); });
    session.reply("200 Done.");
  });
}

// One connection on its way: what the client sends is handed over decrypted up to the client's end, and then what comes
// back is encrypted.
class TLSServer::Relay {
 public:
  Relay(TLSServer& server, int encrypted, int plain, Channel channel)
      : server_(server),
        encrypted_(encrypted),
        plain_(plain),
        channel_(channel),
        connection_(SSL_new(server.library_->context.get())) {
    ::fcntl(encrypted, F_SETFL, O_NONBLOCK);
    SSL_set_fd(connection_.get(), encrypted);
    SSL_set_accept_state(connection_.get());
    if (channel != Channel::Data) return;
    SSL_set_msg_callback(connection_.get(), countHellos);
    SSL_set_msg_callback_arg(connection_.get(), &server.dataHellos_);
  }

  // Up to the end of either side, or the test's.
  void run() {
    if (!shakeHands()) return;
    if (channel_ == Channel::Data) {
      ++server_.dataConnections_;
      server_.resumed_ += SSL_session_reused(connection_.get()) == 1 ? 1 : 0;
      if (server_.behaviour_.announcesEndAtOnce) SSL_shutdown(connection_.get());
    }
    while (!server_.isOver_) {
      if (!takeFromClient()) return;
      pollfd descriptors[] = {{hasClientEnded_ ? -1 : encrypted_, POLLIN, 0}, {plain_, POLLIN, 0}};
      if (::poll(descriptors, 2, turn) > 0 && descriptors[1].revents != 0 && !giveToClient()) return;
    }
  }

 private:
  bool shakeHands() {
    while (SSL_do_handshake(connection_.get()) != 1) {
      if (server_.isOver_ || (!SSL_want_read(connection_.get()) && !SSL_want_write(connection_.get()))) return false;
      isReady(encrypted_, SSL_want_write(connection_.get()) ? POLLOUT : POLLIN);
    }
    return true;
  }

  // Everything that has come. False when the connection is over.
  bool takeFromClient() {
    while (!server_.isOver_ && !hasClientEnded_) {
      std::size_t size = 0;
      const int result = SSL_read_ex(connection_.get(), buffer_, sizeof buffer_, &size);
      received_ += size;
      if (channel_ == Channel::Data && received_ > server_.behaviour_.cutAfter) return false;
      if (result != 1) return waitsOrHasEnded(result);
      if (!sendAll(plain_, buffer_, size)) return false;
    }
    return true;
  }

  bool waitsOrHasEnded(int result) {
    const int reason = SSL_get_error(connection_.get(), result);
    if (reason == SSL_ERROR_WANT_READ) return true;
    if (reason != SSL_ERROR_ZERO_RETURN) return false;
    ++server_.announcedEnds_;
    hasClientEnded_ = true;
    if (channel_ == Channel::Data && server_.behaviour_.waitsForEnd) waitForEnd(encrypted_, server_.isOver_);
    ::shutdown(plain_, SHUT_WR);
    return true;
  }

  bool giveToClient() {
    const ssize_t taken = ::recv(plain_, buffer_, sizeof buffer_, 0);
    if (taken <= 0) {
      if (server_.behaviour_.announcesEnd) SSL_shutdown(connection_.get());
      return false;
    }
    std::size_t sent = 0;
    while (!server_.isOver_ && SSL_write_ex(connection_.get(), buffer_, static_cast<std::size_t>(taken), &sent) != 1) {
      if (SSL_get_error(connection_.get(), 0) != SSL_ERROR_WANT_WRITE) return false;
      isReady(encrypted_, POLLOUT);
    }
    return true;
  }

  TLSServer& server_;
  const int encrypted_;
  const int plain_;
  const Channel channel_;
  const Connection connection_;
  std::size_t received_ = 0;
  bool hasClientEnded_ = false;
  char buffer_[16384];
};

FileDescriptor TLSServer::decrypt(FileDescriptor encrypted, Channel channel) {
  int pair[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) throw std::runtime_error("no socket pair");
  FileDescriptor inner(pair[0]);
  const std::lock_guard lock(mutex_);
  threads_.emplace_back([this, channel, socket = std::move(encrypted), plain = FileDescriptor(pair[1])] {
    blockBrokenPipes();
    Relay(*this, socket.get(), plain.get(), channel).run();
    if (!behaviour_.announcesEnd && channel == Channel::Data) abortOnClose(socket);
    ERR_clear_error();
  });
  return inner;
}
