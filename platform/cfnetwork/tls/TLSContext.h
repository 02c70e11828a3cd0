#pragma once

#include <memory>
#include <variant>

#include "cfnetwork/tls/TLSSettings.h"
#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSError;

namespace cfnetwork {

// What all encrypted connections with the same settings share: TLS 1.2 and 1.3, the certificates that are trusted and
// the client's own one. The files are read once, when it is made. Any thread.
class TLSContext {
 public:
  using Shared = std::shared_ptr<const TLSContext>;

  // The calling thread's context for these settings, made when there is none in use. An error when one of the files
  // cannot be used.
  static std::variant<Shared, Ref<NSError>> withSettings(const TLSSettings& settings);

  struct Implementation;

  TLSContext(TLSSettings settings, std::unique_ptr<Implementation> implementation);
  TLSContext(const TLSContext&) = delete;
  TLSContext& operator=(const TLSContext&) = delete;
  ~TLSContext();

  const TLSSettings& settings() const { return settings_; }
  // For the other files that know of TLS.
  const Implementation& implementation() const { return *implementation_; }

 private:
  const TLSSettings settings_;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace cfnetwork

}  // namespace telvo
