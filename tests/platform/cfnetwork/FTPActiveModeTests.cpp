#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "foundation/files/FileIO.h"
#include "testing/ScriptedFTPServer.h"
#include "testing/Sockets.h"
#include "tests/platform/cfnetwork/Upload.h"

// Data connections that the server makes.

namespace {

using namespace scripted;

// The port that a client has opened, from the argument of EPRT.
std::uint16_t openPort(const std::string& argument) {
  const std::string beforePort = "|1|127.0.0.1|";
  EXPECT_EQ(argument.find(beforePort), 0U) << argument;
  return static_cast<std::uint16_t>(std::stoi(argument.substr(beforePort.size())));
}

void makeActive(const Upload& upload) {
  upload.stream->setProperty_forKey(NSNumber::numberWithBool(false), kCFStreamPropertyFTPUsePassiveMode());
}

// Connects to the port from another address than the server's; what it is sent until it is thrown out.
std::string sentToStranger(std::uint16_t port) {
  const foundation::FileDescriptor stranger(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  inet_pton(AF_INET, "127.0.0.2", &address.sin_addr);
  EXPECT_EQ(::bind(stranger.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
  address.sin_port = htons(port);
  EXPECT_EQ(::connect(stranger.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  std::string sent;
  char buffer[1000];
  for (ssize_t size = 0; (size = ::recv(stranger.get(), buffer, sizeof buffer, 0)) > 0;) {
    sent.append(buffer, static_cast<std::size_t>(size));
  }
  return sent;
}

TEST(FTPActiveMode, AStrangerAtTheOpenPortIsSentAwayAndTheServerIsTakenAllTheSame) {
  ScriptedFTPServer server;
  std::string sent;
  server.on("EPRT", [&](Session& session, const std::string& argument) {
    const std::uint16_t port = openPort(argument);
    sent = sentToStranger(port);
    session.useActive("127.0.0.1", port);
    session.reply("200 Understood.");
  });
  Upload upload(server, "/a", "content");
  makeActive(upload);
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a"), "content");
  EXPECT_EQ(sent, "");
}

// For as long as it exists, this process can open nothing more.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    rlimit few = before_;
    few.rlim_cur = static_cast<rlim_t>(foundation::openFile("/dev/null", O_RDONLY).get());
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  }
  NoMoreDescriptors(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;
  ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

// The system goes on saying that somebody waits at the port.
TEST(FTPActiveMode, WithoutADescriptorTheItemFailsAndTheNextOneIsSent) {
  ScriptedFTPServer server;
  std::atomic<bool> hasFailed = false;
  server.on("EPRT", [&](Session& session, const std::string& argument) {
    const foundation::FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    Endpoint port("127.0.0.1", openPort(argument));
    const NoMoreDescriptors limit;
    EXPECT_EQ(::connect(socket.get(), port.pointer(), port.size), 0);
    for (int i = 0; i < 3000 && !hasFailed; ++i) session.sleep(0.01);
    session.reply("200 Understood.");
  });
  Upload upload(server, "/a", "content");
  makeActive(upload);
  upload.whenError = [&] {
    hasFailed = true;
    upload.close();
  };
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), EMFILE) << upload.errorText();
  Upload next(server, "/b", "content");
  makeActive(next);
  EXPECT_TRUE(next.stores()) << next.errorText();
  EXPECT_EQ(server.sessions(), 1U);
}

// How this process's listener at the port controls congestion; empty when there is none.
std::string congestionControlAt(std::uint16_t port) {
  constexpr int mostDescriptors = 1024;
  for (int descriptor = 0; descriptor < mostDescriptors; ++descriptor) {
    int listens = 0;
    socklen_t size = sizeof listens;
    Endpoint own;
    if (getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) != 0 || listens == 0) continue;
    getsockname(descriptor, own.pointer(), &own.size);
    if (own.family() != AF_INET || ntohs(reinterpret_cast<sockaddr_in&>(own.storage).sin_port) != port) continue;
    char name[16] = {};
    size = sizeof name - 1;
    getsockopt(descriptor, IPPROTO_TCP, TCP_CONGESTION, name, &size);
    return name;
  }
  return "";
}

// What connects inherits it, and could not be given it any more.
TEST(FTPActiveMode, TheOpenPortIsPreparedForData) {
  ScriptedFTPServer server;
  std::string congestionControl;
  server.on("EPRT", [&](Session& session, const std::string& argument) {
    congestionControl = congestionControlAt(openPort(argument));
    session.useActive("127.0.0.1", openPort(argument));
    session.reply("200 Understood.");
  });
  Upload upload(server, "/a", "content");
  makeActive(upload);
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(congestionControl, "reno");
}

}  // namespace
