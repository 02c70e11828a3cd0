#include <algorithm>
#include <csignal>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "cfnetwork/FTPConnection.h"
#include "cfnetwork/tls/TLSContext.h"
#include "foundation/Foundation.h"
#include "testing/tls/TestCertificate.h"
#include "tests/fuzz/FuzzInput.h"

using namespace cfnetwork;

namespace {

// What a server says, cut from the input at these bytes: in the clear before AUTH TLS, in the clear in answer to it,
// then instead of the handshake, or else behind it.
constexpr char separator = '\xFE';

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

  std::string_view next() {
    const std::string_view part = rest_.substr(0, rest_.find(separator));
    rest_.remove_prefix(std::min(rest_.size(), part.size() + 1));
    return part;
  }

 private:
  std::string_view rest_;
};

const TestCertificate& certificate() {
  static const TestCertificate made = TestCertificate::make();
  return made;
}

SSL_CTX* serverContext() {
  static SSL_CTX* const context = [] {
    SSL_CTX* const made = SSL_CTX_new(TLS_server_method());
    const std::string& both = certificate().both();
    BIO* const memory = BIO_new_mem_buf(both.data(), static_cast<int>(both.size()));
    SSL_CTX_use_PrivateKey(made, PEM_read_bio_PrivateKey(memory, nullptr, nullptr, nullptr));
    SSL_CTX_use_certificate(made, PEM_read_bio_X509(memory, nullptr, nullptr, nullptr));
    BIO_free_all(memory);
    return made;
  }();
  return context;
}

int listeningSocket(std::uint16_t& port) {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  require(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && ::listen(listener, 4) == 0);
  socklen_t size = sizeof address;
  getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
  port = ntohs(address.sin_port);
  return listener;
}

void say(int socket, std::string_view text) { (void)!::send(socket, text.data(), text.size(), MSG_NOSIGNAL); }

// What the client has said in the clear, as far as it is a line.
std::string lineFrom(int socket) {
  std::string line;
  char byte = 0;
  while (line.size() < 64 && ::recv(socket, &byte, 1, 0) == 1) {
    line += byte;
    if (byte == '\n') break;
  }
  return line;
}

void shakeHands(int socket, std::string_view behind) {
  SSL* const connection = SSL_new(serverContext());
  SSL_set_fd(connection, socket);
  if (SSL_accept(connection) == 1 && !behind.empty()) {
    SSL_write(connection, behind.data(), static_cast<int>(behind.size()));
  }
  SSL_shutdown(connection);
  SSL_free(connection);
}

// One session of the server's, up to the end of what it has to say.
void serve(int listener, Input input) {
  const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  // A client that has been told nothing to answer waits for more; it is not waited for.
  const timeval longest{0, 5000};
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest);
  say(socket, input.next());
  const std::string_view answer = input.next();
  const std::string_view instead = input.next();
  const std::string_view behind = input.next();
  const std::string line = lineFrom(socket);
  // Nothing else is ever said in the clear, least of all the login.
  require(line.empty() || line == "AUTH TLS\r\n");
  if (!line.empty()) {
    say(socket, answer);
    say(socket, instead);
    if (instead.empty()) shakeHands(socket, behind);
  }
  ::close(socket);
}

class Client : private FTPConnection::Delegate {
 public:
  explicit Client(std::uint16_t port) {
    FTPEndpoint endpoint;
    endpoint.host = "127.0.0.1";
    endpoint.port = port;
    endpoint.user = "anna";
    endpoint.password = "secret";
    auto context = TLSContext::withSettings({"", certificate().fingerprint, "", ""});
    endpoint.security = {FTPEncryption::Explicit, std::get<TLSContext::Shared>(std::move(context))};
    FTPConnection::Delegate& delegate = *this;
    connection_ = std::make_shared<FTPConnection>(NSRunLoop::currentRunLoop(), endpoint, FTPLimits(), delegate);
    connection_->open();
  }

  void run() {
    while (!isOver_) {
      NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(),
                                                      NSDate::dateWithTimeIntervalSinceNow(0.01));
    }
    connection_->close();
  }

 private:
  void connectionDidLogIn() override { isOver_ = true; }
  void connectionDidFail(const Ref<NSError>& error, FTPConnection::Loss) override {
    require(error && error->localizedDescription()->length() > 0);
    isOver_ = true;
  }

  std::shared_ptr<FTPConnection> connection_;
  bool isOver_ = false;
};

}  // namespace

// Whatever a server says around the handshake, nothing but the wish for it is said in the clear, and the connection
// ends.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::uint16_t port = 0;
  static const int listener = [] {
    std::signal(SIGPIPE, SIG_IGN);  // of the server here, which is plain
    return listeningSocket(port);
  }();
  std::thread server([&] { serve(listener, Input(data, size)); });
  Client(port).run();
  server.join();
  return 0;
}
