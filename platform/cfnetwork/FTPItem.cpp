#include "cfnetwork/FTPItem.h"

#include <string_view>

#include "cfnetwork/CFNetworkErrors.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSError.h"
#include "foundation/files/NSURL.h"
#include "foundation/files/PercentEncoding.h"
#include "foundation/text/NSString.h"

namespace {

bool breaksLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

// The name that the server gets: what follows the host and one slash, so that "ftp://host//name" is "/name". "?" and
// "#" mean nothing in FTP and belong to the name.
std::string remotePath(std::string_view url) {
  constexpr std::string_view mark = "//";
  const std::size_t host = url.find(mark);
  const std::size_t slash = host == std::string_view::npos ? host : url.find('/', host + mark.size());
  return slash == std::string_view::npos ? std::string() : foundation::percentDecoded(url.substr(slash + 1));
}

std::string bytesOf(const Ref<NSString>& text) { return text ? text->UTF8String() : std::string(); }

cfnetwork::Route routeFrom(const id& settings) {
  cfnetwork::Route route;
  const auto dictionary = as<NSDictionary>(settings);
  if (!dictionary) return route;
  route.useProxies = true;
  route.proxy = bytesOf(as<NSString>(dictionary->objectForKey("FTPProxy"_ns)));
  if (const auto exceptions = as<NSArray>(dictionary->objectForKey("ExceptionsList"_ns))) {
    for (const id& exception : *exceptions) route.exceptions.push_back(bytesOf(as<NSString>(exception)));
  }
  return route;
}

FTPEndpoint endpointFrom(const NSURL& url, const FTPProperties& properties) {
  const bool ownLogin = properties.userName && properties.userName->length() > 0;
  FTPEndpoint endpoint;
  endpoint.host = bytesOf(url.host());
  endpoint.port = url.port() ? static_cast<std::uint16_t>(url.port()->unsignedIntegerValue()) : 21;
  endpoint.user = bytesOf(ownLogin ? properties.userName : url.user());
  // A URL leaves the escapes in its password.
  endpoint.password = ownLogin ? bytesOf(properties.password) : foundation::percentDecoded(bytesOf(url.password()));
  if (endpoint.user.empty()) {
    endpoint.user = "anonymous";
    endpoint.password = "anonymous@";
  }
  endpoint.route = routeFrom(properties.proxies);
  endpoint.passive = properties.passive;
  return endpoint;
}

}  // namespace

Ref<NSError> FTPItemFromURL(const Ref<NSURL>& url, const FTPProperties& properties, FTPItem& item) {
  const std::string text = url->absoluteString()->UTF8String();
  item = {endpointFrom(*url, properties), remotePath(text), text.ends_with('/')};
  if (item.isFolder && !item.path.empty()) item.path.pop_back();
  if (item.path.empty()) {
    return cfnetwork::errorWithCode(kCFURLErrorBadURL, "The URL names neither a file nor a folder.");
  }
  const FTPEndpoint& endpoint = item.endpoint;
  if (breaksLine(item.path) || breaksLine(endpoint.user) || breaksLine(endpoint.password) ||
      breaksLine(endpoint.host)) {
    return cfnetwork::errorWithCode(kCFURLErrorBadURL, "A carriage return, line feed or NUL cannot be sent over FTP.");
  }
  return nil;
}
