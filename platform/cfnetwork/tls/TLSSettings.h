#pragma once

#include <string>

inline namespace telvo {

namespace cfnetwork {

// Whom an encrypted connection trusts, and how it shows who it is itself. Files are paths of PEM files.
struct TLSSettings {
  std::string authority;    // what certificates go back to; empty: the system's store
  std::string fingerprint;  // SHA-256 of the server's own certificate, as 64 small hexadecimal digits, in place of
                            // authority and name; empty: none
  std::string certificate;  // the client's, with what leads up to its authority; empty: none
  std::string key;          // of that certificate; empty: in the same file

  bool operator==(const TLSSettings&) const = default;
};

}  // namespace cfnetwork

}  // namespace telvo
