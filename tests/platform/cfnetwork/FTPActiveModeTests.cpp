#include <cstdint>
#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/Upload.h"

// Data connections that the server makes.

namespace {

using namespace scripted;

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
    const std::string beforePort = "|1|127.0.0.1|";
    ASSERT_EQ(argument.find(beforePort), 0U);
    const auto port = static_cast<std::uint16_t>(std::stoi(argument.substr(beforePort.size())));
    sent = sentToStranger(port);
    session.useActive("127.0.0.1", port);
    session.reply("200 Understood.");
  });
  Upload upload(server, "/a", "content");
  upload.stream->setProperty_forKey(NSNumber::numberWithBool(false), kCFStreamPropertyFTPUsePassiveMode());
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a"), "content");
  EXPECT_EQ(sent, "");
}

}  // namespace
