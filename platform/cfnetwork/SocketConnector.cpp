#include "cfnetwork/SocketConnector.h"

#include <cerrno>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <gio/gio.h>
#include <unistd.h>

#include "cfnetwork/FTPErrors.h"
#include "cfnetwork/LimitTimer.h"
#include "cfnetwork/SocketOptions.h"
#include "foundation/errors/NSError.h"
#include "foundation/events/EventSource.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/runtime/Releaser.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

template <class T>
using Object = std::unique_ptr<T, foundation::Releaser<g_object_unref>>;

Ref<NSError> errorFrom(const GError* error) {
  if (error->domain == G_RESOLVER_ERROR) return errorWithCode(kCFHostErrorHostNotFound, error->message);
  if (error->domain == G_IO_ERROR && error->code == G_IO_ERROR_CONNECTION_REFUSED) {
    return NSError::errorWithPOSIXCode(ECONNREFUSED);
  }
  return errorWithCode(kCFURLErrorNetworkConnectionLost, error->message);
}

Ref<NSError> timeoutError() { return errorWithCode(kCFURLErrorTimedOut, "The connection was not made in time."); }

SocketConnector::Result failure(const Ref<NSError>& error) {
  SocketConnector::Result result;
  result.error = error;
  return result;
}

// The proxy's URL with a port, the usual one of its kind when none is given. Nothing when it is no URL of a proxy.
std::optional<std::string> completeProxy(const std::string& text) {
  constexpr int socksPort = 1080;
  constexpr int httpPort = 80;
  const std::unique_ptr<GUri, foundation::Releaser<g_uri_unref>> uri(
      g_uri_parse(text.c_str(), G_URI_FLAGS_ENCODED, nullptr));
  if (!uri) return std::nullopt;
  const std::string_view scheme = g_uri_get_scheme(uri.get());
  if (scheme == "direct") return text;
  const char* const host = g_uri_get_host(uri.get());
  if (!host || !*host) return std::nullopt;
  if (g_uri_get_port(uri.get()) != -1) return text;
  const int port = scheme.starts_with("socks") ? socksPort : httpPort;
  const std::unique_ptr<char, foundation::Releaser<g_free>> complete(
      g_uri_join(G_URI_FLAGS_ENCODED, g_uri_get_scheme(uri.get()), g_uri_get_userinfo(uri.get()), host, port, "",
                 nullptr, nullptr));
  return complete.get();
}

// By name, through GIO: name resolution off this thread, both address families, proxies.
class HostConnector : public SocketConnector {
 public:
  HostConnector(const Ref<NSRunLoop>& runLoop, Completion completion)
      : attempt_(std::make_shared<Attempt>()),
        timer_(runLoop, [attempt = attempt_] { finish(attempt, failure(attempt->error)); }) {
    attempt_->completion = std::move(completion);
    attempt_->cancellable.reset(g_cancellable_new());
  }
  HostConnector(const HostConnector&) = delete;
  HostConnector& operator=(const HostConnector&) = delete;
  ~HostConnector() override {
    attempt_->completion = nullptr;
    g_cancellable_cancel(attempt_->cancellable.get());
  }

  void start(const std::string& host, std::uint16_t port, const Route& route, NSTimeInterval limit) {
    const std::optional<std::string> proxy = completeProxy(route.proxy);
    // Never straight to the host instead: the proxy was meant to be the only road.
    if (route.useProxies && !route.proxy.empty() && !proxy) {
      attempt_->error = errorWithCode(kCFURLErrorBadURL, "The proxy's URL cannot be read.");
      timer_.start(0);
      return;
    }
    timer_.start(limit);
    const Object<GSocketClient> client(g_socket_client_new());
    g_socket_client_set_enable_proxy(client.get(), route.useProxies);
    if (route.useProxies && proxy) setProxy(client.get(), *proxy, route.exceptions);
    // A proxy is chosen by what the connection is for.
    const Object<GSocketConnectable> target(G_SOCKET_CONNECTABLE(g_object_new(
        G_TYPE_NETWORK_ADDRESS, "hostname", host.c_str(), "port", static_cast<guint>(port), "scheme", "ftp", nullptr)));
    g_socket_client_connect_async(client.get(), target.get(), attempt_->cancellable.get(), &connected,
                                  new std::shared_ptr<Attempt>(attempt_));
  }

 private:
  // Shared with the operation under way, which may report after the connector has gone.
  struct Attempt {
    Completion completion;
    Object<GCancellable> cancellable;
    Ref<NSError> error = timeoutError();  // told when the timer fires
  };

  static void setProxy(GSocketClient* client, const std::string& proxy, const std::vector<std::string>& exceptions) {
    std::vector<char*> direct;
    direct.reserve(exceptions.size() + 1);
    for (const std::string& exception : exceptions) direct.push_back(const_cast<char*>(exception.c_str()));
    direct.push_back(nullptr);
    const Object<GProxyResolver> resolver(g_simple_proxy_resolver_new(proxy.c_str(), direct.data()));
    g_socket_client_set_proxy_resolver(client, resolver.get());
  }

  static void connected(GObject* client, GAsyncResult* asyncResult, gpointer data) {
    const std::unique_ptr<std::shared_ptr<Attempt>> attempt(static_cast<std::shared_ptr<Attempt>*>(data));
    GError* failure = nullptr;
    const Object<GSocketConnection> connection(
        g_socket_client_connect_finish(G_SOCKET_CLIENT(client), asyncResult, &failure));
    Result result;
    if (connection) {
      const Object<GSocketAddress> remote(g_socket_connection_get_remote_address(connection.get(), nullptr));
      result.throughProxy = remote && G_IS_PROXY_ADDRESS(remote.get());
      // A duplicate, so that the connection's object can go.
      const int descriptor = g_socket_get_fd(g_socket_connection_get_socket(connection.get()));
      result.descriptor = foundation::FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
      if (!result.descriptor) result.error = NSError::errorWithPOSIXCode(errno);
    } else {
      result.error = errorFrom(failure);
      g_error_free(failure);
    }
    finish(*attempt, std::move(result));
  }

  static void finish(const std::shared_ptr<Attempt>& attempt, Result result) {
    const Completion completion = std::exchange(attempt->completion, nullptr);
    if (completion) completion(std::move(result));
  }

  std::shared_ptr<Attempt> attempt_;
  LimitTimer timer_;
};

// To an address that is known already.
class AddressConnector : public SocketConnector {
 public:
  AddressConnector(Ref<NSRunLoop> runLoop, Completion completion)
      : runLoop_(std::move(runLoop)),
        completion_(std::move(completion)),
        timer_(runLoop_, [this] { finish(failure(timeoutError())); }) {}
  AddressConnector(const AddressConnector&) = delete;
  AddressConnector& operator=(const AddressConnector&) = delete;

  void start(const SocketAddress& address, NSTimeInterval limit) {
    socket_ =
        foundation::FileDescriptor(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    error_ = socket_ ? 0 : errno;
    if (socket_) prepareForData(socket_.get(), address);
    if (socket_ && ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address.storage), address.size) != 0) {
      error_ = errno == EINPROGRESS ? 0 : errno;
    }
    if (error_ != 0) {
      timer_.start(0);
      return;
    }
    timer_.start(limit);
    source_.emplace(runLoop_, socket_.get(), foundation::DescriptorSource::Writable, [this] { ready(); });
  }

 private:
  void ready() {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(socket_.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    if (error != 0) {
      finish(failure(NSError::errorWithPOSIXCode(error)));
    } else {
      Result result;
      result.descriptor = std::move(socket_);
      finish(std::move(result));
    }
  }

  void finish(Result result) {
    source_.reset();
    timer_.cancel();
    if (error_ != 0) result.error = NSError::errorWithPOSIXCode(error_);
    const Completion completion = std::exchange(completion_, nullptr);
    if (completion) completion(std::move(result));  // may destroy this connector
  }

  Ref<NSRunLoop> runLoop_;
  Completion completion_;
  foundation::FileDescriptor socket_;
  int error_ = 0;  // of an attempt that failed at once
  LimitTimer timer_;
  std::optional<foundation::DescriptorSource> source_;
};

}  // namespace

std::unique_ptr<SocketConnector> SocketConnector::connectToHost(const Ref<NSRunLoop>& runLoop, const std::string& host,
                                                                std::uint16_t port, const Route& route,
                                                                NSTimeInterval limit, Completion completion) {
  auto connector = std::make_unique<HostConnector>(runLoop, std::move(completion));
  connector->start(host, port, route, limit);
  return connector;
}

std::unique_ptr<SocketConnector> SocketConnector::connectToAddress(const Ref<NSRunLoop>& runLoop,
                                                                   const SocketAddress& address, NSTimeInterval limit,
                                                                   Completion completion) {
  auto connector = std::make_unique<AddressConnector>(runLoop, std::move(completion));
  connector->start(address, limit);
  return connector;
}

}  // namespace cfnetwork

}  // namespace telvo
