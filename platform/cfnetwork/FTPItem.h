#pragma once

#include <string>
#include <variant>

#include "cfnetwork/FTPEndpoint.h"
#include "foundation/runtime/NSObject.h"

inline namespace telvo {

class NSError;
class NSString;
class NSURL;

namespace cfnetwork {

// A file to be stored on a server, or a folder to be made there.
struct FTPItem {
  FTPEndpoint endpoint;
  std::string path;  // raw bytes, as the server gets it; a folder's does not end with the URL's slash
  bool isFolder = false;
  std::string temporaryPath = {};  // of a file until it is complete; empty for none
  bool isRemoved = false;          // instead of stored or made
  bool mayExist = false;           // a folder
};

// What can be set on a stream beside its URL.
struct FTPProperties {
  Ref<NSString> userName;  // nil or empty: the URL's, or else anonymous
  Ref<NSString> password;
  id proxies;  // a dictionary of system proxy settings, or nil for none
  bool passive = true;
  Ref<NSString> temporaryName;  // nil for none
  bool removesItem = false;
  bool folderMayExist = false;
  bool announcesUTF8 = false;
  id security;  // a dictionary of security settings, or nil for what the proxy settings say
};

// What the URL names (RFC 1738, section 3.2); a name that ends with "/" is a folder's. An error when it names nothing,
// when a text holds a carriage return, line feed or NUL, which cannot be sent, when a name would lead into another
// folder once its escapes are resolved, or when the connection cannot be encrypted as the properties want it.
std::variant<FTPItem, Ref<NSError>> FTPItemFromURL(const Ref<NSURL>& url, const FTPProperties& properties);

}  // namespace cfnetwork

}  // namespace telvo
