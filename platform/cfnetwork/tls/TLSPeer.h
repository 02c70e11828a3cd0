#pragma once

#include <memory>
#include <string>

#include "cfnetwork/tls/TLSContext.h"

inline namespace telvo {

namespace cfnetwork {

// The server at the other end of one control connection, and of the data connections that belong to it: by which name
// it is known, and the session that they resume to show that they belong together. On one thread.
class TLSPeer {
 public:
  // The host as in the URL: a name or an address.
  TLSPeer(TLSContext::Shared context, const std::string& host);
  TLSPeer(const TLSPeer&) = delete;
  TLSPeer& operator=(const TLSPeer&) = delete;
  ~TLSPeer();

  const TLSContext& context() const { return *context_; }
  // As certificates hold it: in ASCII, without a dot at the end; of an address, only the address.
  const std::string& name() const { return name_; }
  bool isAddress() const { return isAddress_; }

  struct Session;
  // The control connection's newest session, or null.
  const Session* session() const { return session_.get(); }
  void setSession(std::unique_ptr<Session> session);

  // In which group of keys the control connection has agreed with the server, as the library numbers them; not
  // positive: unknown.
  int group() const { return group_; }
  void setGroup(int group) { group_ = group; }

 private:
  const TLSContext::Shared context_;
  std::string name_;
  bool isAddress_ = false;
  std::unique_ptr<Session> session_;
  int group_ = 0;
};

}  // namespace cfnetwork

}  // namespace telvo
