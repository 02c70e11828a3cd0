#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "foundation/files/FileIO.h"
#include "testing/ScriptedFTPServer.h"
#include "testing/tls/TestCertificate.h"

// Encrypts the connections of a ScriptedFTPServer, which goes on in the clear behind it. Must outlive the server.
//
//   TLSServer tls(certificate);
//   ScriptedFTPServer server;
//   tls.serve(server);
class TLSServer {
 public:
  struct Behaviour {
    bool announcesEnd = true;                  // by close_notify; otherwise its connections merely end
    bool announcesEndAtOnce = false;           // before the client has sent anything
    std::size_t cutAfter = std::string::npos;  // bytes of data, cut as if the file ended there
    bool takesOldVersionsOnly = false;         // older than TLS 1.2
    bool isLimitedTo12 = false;
    bool givesSessions = true;
    bool waitsForEnd = false;     // of a data connection itself, behind close_notify, before it says anything more
    std::string groups;           // of keys that it takes, as OpenSSL writes them; empty: the usual ones
    std::string clientAuthority;  // PEM; not empty: clients need a certificate of it
  };

  explicit TLSServer(const TestCertificate& certificate) : TLSServer(certificate, Behaviour()) {}
  TLSServer(const TestCertificate& certificate, const Behaviour& behaviour);
  TLSServer(const TLSServer&) = delete;
  TLSServer& operator=(const TLSServer&) = delete;
  ~TLSServer();

  // Has the server offer AUTH TLS, PBSZ and PROT.
  void serve(ScriptedFTPServer& server);
  // From here on what goes over the session's control connection is encrypted.
  void encryptControl(ScriptedFTPServer::Session& session);

  std::size_t dataConnections() const { return dataConnections_; }
  // How many of them have resumed a session.
  std::size_t resumed() const { return resumed_; }
  // How often the client has begun a handshake on them; more often than that, where it was asked for another group.
  std::size_t dataHellos() const { return dataHellos_; }
  // How many connections the client has ended by close_notify.
  std::size_t announcedEnds() const { return announcedEnds_; }

 private:
  enum class Channel { Control, Data };
  struct Library;
  class Relay;
  // The other end of the connection, decrypted.
  foundation::FileDescriptor decrypt(foundation::FileDescriptor encrypted, Channel channel);

  const Behaviour behaviour_;
  std::unique_ptr<Library> library_;
  std::mutex mutex_;
  std::vector<std::thread> threads_;
  std::atomic<bool> isOver_ = false;
  std::atomic<std::size_t> dataConnections_ = 0;
  std::atomic<std::size_t> resumed_ = 0;
  std::atomic<std::size_t> dataHellos_ = 0;
  std::atomic<std::size_t> announcedEnds_ = 0;
};
