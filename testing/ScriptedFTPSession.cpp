#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "testing/ScriptedFTPServer.h"
#include "testing/Sockets.h"

using foundation::FileDescriptor;

void ScriptedFTPServer::Session::run() {
  try {
    perform("GREETING", "");
    while (true) serveNext();
  } catch (const Over&) {
  }
  server_.note([this] {
    listener_.close();
    data_.close();
    held_.clear();
    control_.close();
    open_ = false;
  });
}

// False when the test is over.
bool ScriptedFTPServer::Session::wait(const FileDescriptor& descriptor, short events) {
  pollfd descriptors[] = {{descriptor.get(), events, 0}, {server_.closing_.get(), POLLIN, 0}};
  while (::poll(descriptors, 2, -1) < 0) {
  }
  return descriptors[1].revents == 0;
}

std::string ScriptedFTPServer::Session::nextLine() {
  while (true) {
    if (const std::size_t end = unread_.find('\n'); end != std::string::npos) {
      std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      if (line.ends_with('\r')) line.pop_back();
      return line;
    }
    readMore();
  }
}

void ScriptedFTPServer::Session::readMore() {
  char buffer[4096];
  const ssize_t size = wait(control_, POLLIN) ? ::recv(control_.get(), buffer, sizeof buffer, 0) : 0;
  if (size <= 0) throw Over();
  unread_.append(buffer, static_cast<std::size_t>(size));
}

void ScriptedFTPServer::Session::serveNext() {
  const std::string line = nextLine();
  const std::size_t space = std::min(line.find(' '), line.size());
  perform(line.substr(0, space), line.substr(std::min(space + 1, line.size())));
}

bool ScriptedFTPServer::Session::isReadable(const FileDescriptor& descriptor, double seconds) {
  pollfd polled{descriptor.get(), POLLIN, 0};
  return ::poll(&polled, 1, static_cast<int>(seconds * 1000)) > 0;
}

void ScriptedFTPServer::Session::lookForCommandsAhead() {
  char byte = 0;
  const bool hasMore = isReadable(control_) && ::recv(control_.get(), &byte, 1, MSG_PEEK) > 0;
  if (!unread_.empty() || hasMore) ++server_.timesAhead_;
}

void ScriptedFTPServer::Session::send(std::string_view bytes) {
  lookForCommandsAhead();
  while (!bytes.empty()) {
    const ssize_t sent =
        wait(control_, POLLOUT) ? ::send(control_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) : -1;
    if (sent < 0 && errno == EAGAIN) continue;
    if (sent <= 0) throw Over();
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void ScriptedFTPServer::Session::sendOneByOne(std::string_view bytes) {
  for (const char& byte : bytes) {
    send({&byte, 1});
    std::this_thread::yield();
  }
}

void ScriptedFTPServer::Session::sleep(double seconds) {
  pollfd descriptor{server_.closing_.get(), POLLIN, 0};
  if (::poll(&descriptor, 1, static_cast<int>(seconds * 1000)) > 0) throw Over();
}

void ScriptedFTPServer::Session::waitForTheEnd() {
  pollfd descriptor{server_.closing_.get(), POLLIN, 0};
  while (::poll(&descriptor, 1, -1) < 0) {
  }
  throw Over();
}

void ScriptedFTPServer::Session::drop() {
  ::shutdown(control_.get(), SHUT_WR);
  char rest[4096];
  while (wait(control_, POLLIN) && ::recv(control_.get(), rest, sizeof rest, 0) > 0) {
  }
  throw Over();
}

void ScriptedFTPServer::Session::reset() {
  abortOnClose(control_);
  throw Over();
}

std::uint16_t ScriptedFTPServer::Session::listen() {
  data_.close();
  activePort_ = 0;
  listener_ = listeningSocket(server_.host_, server_.receiveBuffer_);
  const int segment = server_.largestSegment_;
  if (segment > 0) setsockopt(listener_.get(), IPPROTO_TCP, TCP_MAXSEG, &segment, sizeof segment);
  return portOf(listener_);
}

std::uint16_t ScriptedFTPServer::Session::listenAtFixedPort() {
  const std::lock_guard lock(server_.mutex_);
  if (!server_.sharedListener_) server_.sharedListener_ = listeningSocket(server_.host_);
  data_.close();
  activePort_ = 0;
  listener_ = FileDescriptor(::fcntl(server_.sharedListener_.get(), F_DUPFD_CLOEXEC, 0));
  return portOf(listener_);
}

std::uint16_t ScriptedFTPServer::Session::closedPort() {
  listener_.close();
  held_.push_back(boundSocket(server_.host_));
  return portOf(held_.back());
}

std::uint16_t ScriptedFTPServer::Session::fullPort() {
  FileDescriptor listener = boundSocket(server_.host_);
  ::listen(listener.get(), 0);
  const std::uint16_t port = portOf(listener);
  Endpoint address(server_.host_, port);
  for (int i = 0; i < 4; ++i) {
    FileDescriptor filler(::socket(address.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    [[maybe_unused]] const int pending = ::connect(filler.get(), address.pointer(), address.size);
    held_.push_back(std::move(filler));
  }
  held_.push_back(std::move(listener));
  return port;
}

void ScriptedFTPServer::Session::useActive(const std::string& host, std::uint16_t port) {
  activeHost_ = host;
  activePort_ = port;
}

bool ScriptedFTPServer::Session::openData() {
  dataEnd_.reset();
  if (data_) return true;
  if (activePort_ != 0) {
    Endpoint peer(activeHost_, activePort_);
    data_ = FileDescriptor(::socket(peer.family(), SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(data_.get(), peer.pointer(), peer.size) != 0) data_.close();
  } else {
    if (!listener_) return false;
    pollfd descriptors[] = {
        {listener_.get(), POLLIN, 0}, {control_.get(), POLLRDHUP, 0}, {server_.closing_.get(), POLLIN, 0}};
    while (::poll(descriptors, 3, -1) < 0) {
    }
    if (descriptors[0].revents == 0) throw Over();
    data_ = FileDescriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    listener_.close();
  }
  if (data_ && dataFilter_) data_ = dataFilter_(std::move(data_));
  return static_cast<bool>(data_);
}

bool ScriptedFTPServer::Session::dataComes(double seconds) { return isReadable(data_, seconds); }

// One packet. False at the data's end.
bool ScriptedFTPServer::Session::readData(std::string& content, std::size_t limit) {
  char buffer[65536];
  const ssize_t size = ::recv(data_.get(), buffer, std::min(sizeof buffer, limit - content.size()), 0);
  if (size > 0) {
    content.append(buffer, static_cast<std::size_t>(size));
    return true;
  }
  dataEnd_ = size == 0 ? End::Orderly : End::Reset;
  return false;
}

std::string ScriptedFTPServer::Session::receive(std::size_t limit) {
  std::string content;
  while (content.size() < limit) {
    if (!wait(data_, POLLIN)) throw Over();
    if (!readData(content, limit)) break;
  }
  return content;
}

void ScriptedFTPServer::Session::sendData(std::string_view bytes) {
  while (!bytes.empty() && wait(data_, POLLOUT)) {
    const ssize_t sent = ::send(data_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno != EAGAIN) return;
    if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

void ScriptedFTPServer::Session::closeData() {
  data_.close();
  if (!dataEnd_) dataEnd_ = End::ByServer;
}

void ScriptedFTPServer::Session::resetData() {
  abortOnClose(data_);
  closeData();
}

void ScriptedFTPServer::Session::note(const std::string& path, const std::string& content, bool isFile) {
  server_.note([&] {
    server_.transfers_.push_back({path, content, dataEnd_.value_or(End::ByServer)});
    if (isFile || dataEnd_ == End::Orderly) server_.files_[path] = content;
  });
}
