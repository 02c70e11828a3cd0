#include "cfnetwork/FTPItem.h"

#include <string_view>

#include "cfnetwork/FTPErrors.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSError.h"
#include "foundation/files/NSURL.h"
#include "foundation/files/PercentEncoding.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace cfnetwork {

namespace {

bool breaksLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

// What follows the host and one slash, so that "ftp://host//name" is "/name". "?" and "#" mean nothing in FTP and
// belong to the name.
std::string_view remotePath(std::string_view url) {
  constexpr std::string_view mark = "//";
  const std::size_t host = url.find(mark);
  const std::size_t slash = host == std::string_view::npos ? host : url.find('/', host + mark.size());
  return slash == std::string_view::npos ? std::string_view() : url.substr(slash + 1);
}

// Whether a name, once its escapes are resolved, leads into another folder than the one that it stands in. Where it
// says so openly, in the path to the item, it is meant.
bool leadsElsewhere(std::string_view name, bool isLast) {
  const std::string decoded = foundation::percentDecoded(name);
  if (decoded.find('/') != std::string::npos) return true;
  return (decoded == "." || decoded == "..") && (isLast || decoded != name);
}

// The path as in the URL, of a file: without a slash at its end.
bool leadsAstray(std::string_view path) {
  // The way to write an absolute path after a single slash.
  constexpr std::string_view root = "%2F";
  constexpr std::string_view lowerCaseRoot = "%2f";
  if (path.starts_with(root) || path.starts_with(lowerCaseRoot)) path.remove_prefix(root.size());
  while (true) {
    const std::size_t slash = path.find('/');
    if (leadsElsewhere(path.substr(0, slash), slash == std::string_view::npos)) return true;
    if (slash == std::string_view::npos) return false;
    path.remove_prefix(slash + 1);
  }
}

std::string bytesOf(const Ref<NSString>& text) { return text ? text->UTF8String() : std::string(); }

Route routeFrom(const id& settings) {
  Route route;
  const auto dictionary = as<NSDictionary>(settings);
  if (!dictionary) return route;
  route.useProxies = true;
  route.proxy = bytesOf(as<NSString>(dictionary->objectForKey("FTPProxy"_ns)));
  if (const auto exceptions = as<NSArray>(dictionary->objectForKey("ExceptionsList"_ns))) {
    for (const id& exception : *exceptions) route.exceptions.push_back(bytesOf(as<NSString>(exception)));
  }
  return route;
}

constexpr std::uint16_t usualPort = 21;
constexpr std::uint16_t implicitPort = 990;

FTPEndpoint endpointFrom(const NSURL& url, const FTPProperties& properties, const FTPSecurity& security) {
  const bool ownLogin = properties.userName && properties.userName->length() > 0;
  FTPEndpoint endpoint;
  endpoint.host = bytesOf(url.host());
  endpoint.security = security;
  endpoint.port = security.encryption == FTPEncryption::Implicit ? implicitPort : usualPort;
  if (url.port()) endpoint.port = static_cast<std::uint16_t>(url.port()->unsignedIntegerValue());
  endpoint.user = bytesOf(ownLogin ? properties.userName : url.user());
  // A URL leaves the escapes in its password.
  endpoint.password = ownLogin ? bytesOf(properties.password) : foundation::percentDecoded(bytesOf(url.password()));
  if (endpoint.user.empty()) {
    endpoint.user = "anonymous";
    endpoint.password = "anonymous@";
  }
  endpoint.route = routeFrom(properties.proxies);
  endpoint.passive = properties.passive;
  endpoint.announcesUTF8 = properties.announcesUTF8;
  return endpoint;
}

std::variant<FTPSecurity, Ref<NSError>> securityFrom(const FTPProperties& properties) {
  if (properties.security) return FTPSecurityFromSettings(properties.security);
  const auto system = as<NSDictionary>(properties.proxies);
  return FTPSecurityFromSettings(system ? system->objectForKey("FTPSecurity"_ns) : id());
}

bool breaksLine(const FTPItem& item) {
  const FTPEndpoint& endpoint = item.endpoint;
  return breaksLine(item.path) || breaksLine(item.temporaryPath) || breaksLine(endpoint.user) ||
         breaksLine(endpoint.password) || breaksLine(endpoint.host);
}

Ref<NSError> badURL(std::string_view reason) { return errorWithCode(kCFURLErrorBadURL, reason); }

}  // namespace

std::variant<FTPItem, Ref<NSError>> FTPItemFromURL(const Ref<NSURL>& url, const FTPProperties& properties) {
  const std::string text = url->absoluteString()->UTF8String();
  std::string_view path = remotePath(text);
  const bool isFolder = path.ends_with('/');
  if (isFolder) path.remove_suffix(1);
  if (path.empty()) return badURL("The URL names neither a file nor a folder.");
  if (leadsAstray(path)) return badURL("A name with a slash in it, \".\" and \"..\" lead into another folder.");
  const auto security = securityFrom(properties);
  if (const auto* error = std::get_if<Ref<NSError>>(&security)) return errorBeforeLogin(*error);
  FTPItem item{endpointFrom(*url, properties, std::get<FTPSecurity>(security)), foundation::percentDecoded(path),
               isFolder};
  item.isRemoved = properties.removesItem;
  item.mayExist = properties.folderMayExist;
  if (properties.temporaryName && !isFolder) {
    item.temporaryPath = item.path.substr(0, item.path.rfind('/') + 1) + bytesOf(properties.temporaryName);
  }
  if (breaksLine(item)) return badURL("A carriage return, line feed or NUL cannot be sent over FTP.");
  return item;
}

}  // namespace cfnetwork

}  // namespace telvo
