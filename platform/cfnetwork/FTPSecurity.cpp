#include "cfnetwork/FTPSecurity.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "cfnetwork/CFFTPStream.h"
#include "cfnetwork/FTPErrors.h"
#include "cfnetwork/tls/TLSContext.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/errors/NSError.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

Ref<NSError> unusable(const std::string& text) { return errorWithCode(kCFURLErrorSecureConnectionFailed, text); }

// Empty when there is none.
std::string textForKey(const NSDictionary& settings, const Ref<NSString>& key) {
  const auto text = as<NSString>(settings.objectForKey(key));
  return text ? text->UTF8String() : std::string();
}

std::optional<FTPEncryption> encryptionNamed(std::string_view level) {
  if (level == "none") return FTPEncryption::None;
  if (level == "tls") return FTPEncryption::Explicit;
  if (level == "implicit") return FTPEncryption::Implicit;
  return std::nullopt;
}

// As 64 small digits; nothing when it is no SHA-256. Colons may stand between the bytes, as programs print them.
std::optional<std::string> plainFingerprint(std::string_view text) {
  constexpr std::size_t digits = 64;
  std::string plain;
  for (const char character : text) {
    if (character == ':') continue;
    const char small = character >= 'A' && character <= 'F' ? static_cast<char>(character - 'A' + 'a') : character;
    const bool isDigit = (small >= '0' && small <= '9') || (small >= 'a' && small <= 'f');
    if (!isDigit) return std::nullopt;
    plain += small;
  }
  return plain.size() == digits ? std::optional(plain) : std::nullopt;
}

}  // namespace

std::variant<FTPSecurity, Ref<NSError>> FTPSecurityFromSettings(const id& settings) {
  if (!settings) return FTPSecurity{};
  const auto dictionary = as<NSDictionary>(settings);
  if (!dictionary) return unusable("The security settings are no dictionary.");
  const std::string level = textForKey(*dictionary, kCFStreamFTPSecurityLevel());
  const auto encryption = encryptionNamed(level);
  if (!encryption) return unusable("The security is none, tls or implicit, not \"" + level + "\".");
  const std::string given = textForKey(*dictionary, kCFStreamFTPSecurityFingerprint());
  const auto fingerprint = given.empty() ? std::optional(std::string()) : plainFingerprint(given);
  if (!fingerprint) return unusable("A SHA-256 fingerprint has 64 hexadecimal digits, unlike \"" + given + "\".");
  const TLSSettings tls{textForKey(*dictionary, kCFStreamFTPSecurityCertificateAuthority()), *fingerprint,
                        textForKey(*dictionary, kCFStreamFTPSecurityCertificate()),
                        textForKey(*dictionary, kCFStreamFTPSecurityKey())};
  if (*encryption == FTPEncryption::None) {
    if (tls == TLSSettings{}) return FTPSecurity{};
    return unusable("Certificates and fingerprints are of no use without encryption.");
  }
  if (tls.certificate.empty() && !tls.key.empty()) return unusable("A key needs its certificate.");
  auto context = TLSContext::withSettings(tls);
  if (const auto* error = std::get_if<Ref<NSError>>(&context)) return *error;
  return FTPSecurity{*encryption, std::get<TLSContext::Shared>(std::move(context))};
}

}  // namespace cfnetwork

}  // namespace telvo
