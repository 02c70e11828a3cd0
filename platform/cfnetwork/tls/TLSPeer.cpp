#include "cfnetwork/tls/TLSPeer.h"

#include <utility>

#include <gio/gio.h>

#include "cfnetwork/tls/TLSObjects.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

// A name beyond ASCII travels, and is certified, in its other spelling.
std::string asciiName(const std::string& host) {
  const std::unique_ptr<char, foundation::Releaser<g_free>> name(g_hostname_to_ascii(host.c_str()));
  return name ? name.get() : host;
}

}  // namespace

TLSPeer::TLSPeer(TLSContext::Shared context, const std::string& host) : context_(std::move(context)) {
  // The zone of an address is this computer's own affair.
  const std::string address = host.substr(0, host.find('%'));
  isAddress_ = g_hostname_is_ip_address(address.c_str()) != 0;
  name_ = isAddress_ ? address : asciiName(host);
  if (!isAddress_ && name_.ends_with('.')) name_.pop_back();
}

TLSPeer::~TLSPeer() = default;

void TLSPeer::setSession(std::unique_ptr<Session> session) { session_ = std::move(session); }

}  // namespace cfnetwork

}  // namespace telvo
