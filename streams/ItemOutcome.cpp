#include "streams/ItemOutcome.h"

#include <cerrno>

#include "cfnetwork/CFNetworkErrors.h"
#include "foundation/Foundation.h"

inline namespace telvo {

namespace streams {

namespace {

// "Not logged in", "need account": whatever the command, nothing goes without a login.
constexpr NSInteger notLoggedIn = 530;
constexpr NSInteger needAccount = 532;
constexpr NSInteger wrongLogin = 430;
// "Service not available", which one server also says to everybody whose login is not encrypted.
constexpr NSInteger notAvailable = 421;

bool isOfDomain(const NSError& error, const Ref<NSString>& domain) { return error.domain()->isEqualToString(domain); }

// The code of the reply that was the cause, or 0.
NSInteger replyCodeOf(const NSError& error) {
  if (!isOfDomain(error, kCFErrorDomainCFNetwork()) || !error.userInfo()) return 0;
  const auto code = as<NSNumber>(error.userInfo()->objectForKey(kCFFTPStatusCodeKey()));
  return code ? code->integerValue() : 0;
}

bool isNetworkTrouble(const NSError& error) {
  if (isOfDomain(error, kCFErrorDomainCFNetwork())) {
    return error.code() == kCFURLErrorTimedOut || error.code() == kCFURLErrorNetworkConnectionLost ||
           error.code() == kCFURLErrorBadServerResponse;
  }
  if (!isOfDomain(error, NSPOSIXErrorDomain())) return false;
  switch (error.code()) {
    case ECONNREFUSED:
    case ECONNRESET:
    case ECONNABORTED:
    case EPIPE:
    case ETIMEDOUT:
    case ENETRESET:
    case EHOSTUNREACH:
    case ENETUNREACH:
    case ENETDOWN:
      return true;
    default:
      return false;
  }
}

bool isInsecurity(const NSError& error) {
  return isOfDomain(error, kCFErrorDomainCFNetwork()) && error.code() == kCFURLErrorSecureConnectionFailed;
}

bool isConnectionLost(const NSError& error) {
  if (isOfDomain(error, kCFErrorDomainCFNetwork())) return error.code() == kCFURLErrorNetworkConnectionLost;
  return isOfDomain(error, NSPOSIXErrorDomain()) && (error.code() == ECONNRESET || error.code() == EPIPE);
}

// Whether the server says that it takes encrypted logins only.
bool asksForEncryption(const NSError& error) {
  const auto text = error.localizedDescription()->lowercaseString();
  for (const auto& word : {"cleartext"_ns, "tls"_ns, "ssl"_ns, "encrypt"_ns}) {
    if (text->rangeOfString(word).location != NSNotFound) return true;
  }
  return false;
}

// Whether the next item would meet the same. A server that has too many users at the moment says so with a code of the
// 400s, or closes the connection, and may have room soon.
bool isForAllItems(const NSError& error, NSInteger replyCode) {
  if (replyCode == notLoggedIn || replyCode == needAccount) return true;
  const auto beforeLogin =
      error.userInfo() ? as<NSNumber>(error.userInfo()->objectForKey(kCFFTPBeforeLoginKey())) : Ref<NSNumber>();
  if (!beforeLogin) return false;
  if (isInsecurity(error)) return true;
  if (replyCode == notAvailable) return asksForEncryption(error);
  if (replyCode != 0) return replyCode >= 500 || replyCode == wrongLogin;
  return !isConnectionLost(error);
}

}  // namespace

ItemOutcome ItemOutcome::failure(const id& error) {
  ItemOutcome outcome;
  outcome.result = Result::Failed;
  if (const auto text = as<NSString>(error)) outcome.error = text;
  const auto cause = as<NSError>(error);
  if (!cause) return outcome;
  outcome.error = cause->localizedDescription();
  outcome.replyCode = replyCodeOf(*cause);
  outcome.isPassing = (outcome.replyCode >= 400 && outcome.replyCode < 500) || isNetworkTrouble(*cause);
  outcome.isInsecure = isInsecurity(*cause);
  outcome.endsRun = isForAllItems(*cause, outcome.replyCode);
  return outcome;
}

Ref<NSString> ItemOutcome::name() const {
  switch (result) {
    case Result::Sent:
      return "sent"_ns;
    case Result::Removed:
      return "removed"_ns;
    case Result::Failed:
      return "failed"_ns;
    case Result::Skipped:
      break;
  }
  return "skipped"_ns;
}

}  // namespace streams

}  // namespace telvo
