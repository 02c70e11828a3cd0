#include "systemconfiguration/SCDynamicStore.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSNumber.h"

inline namespace telvo {

namespace {

// The first of the variables that is set to something.
std::string environmentValue(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const char* value = std::getenv(name);
    if (value && *value) return value;
  }
  return {};
}

Ref<NSArray> exceptions() {
  std::vector<id> names;
  const std::string list = environmentValue({"no_proxy", "NO_PROXY"});
  for (std::size_t from = 0; from < list.size();) {
    const std::size_t end = std::min(list.find_first_of(", \t\n", from), list.size());
    std::string_view name = std::string_view(list).substr(from, end - from);
    // An address may be written as in a URL, whose brackets only count before a port.
    if (name.starts_with('[') && name.ends_with(']')) name = name.substr(1, name.size() - 2);
    if (!name.empty()) names.push_back(NSString::stringWithUTF8String(name));
    from = end + 1;
  }
  return NSArray::arrayWithVector(std::move(names));
}

// Under the keys that the FTP client knows (kCFStreamPropertyFTPSecurity); nil for none.
Ref<NSDictionary> security() {
  struct Setting {
    const char* variable;
    Ref<NSString> key;
  };
  const std::array settings{Setting{"FTP_SECURITY", "Level"_ns},
                            Setting{"FTP_TLS_CERTIFICATE_AUTHORITY", "CertificateAuthority"_ns},
                            Setting{"FTP_TLS_FINGERPRINT", "Fingerprint"_ns},
                            Setting{"FTP_TLS_CERTIFICATE", "Certificate"_ns}, Setting{"FTP_TLS_KEY", "Key"_ns}};
  const auto dictionary = NSMutableDictionary::dictionary();
  for (const Setting& setting : settings) {
    const std::string value = environmentValue({setting.variable});
    if (!value.empty()) dictionary->setObject_forKey(NSString::stringWithUTF8String(value), setting.key);
  }
  if (!dictionary->objectForKey("Level"_ns)) return nil;
  return as<NSDictionary>(dictionary->copy());
}

}  // namespace

const Ref<NSString>& kSCPropNetProxiesFTPPassive() { return "FTPPassive"_ns; }
const Ref<NSString>& kSCPropNetProxiesFTPProxy() { return "FTPProxy"_ns; }
const Ref<NSString>& kSCPropNetProxiesExceptionsList() { return "ExceptionsList"_ns; }
const Ref<NSString>& kSCPropNetProxiesFTPSecurity() { return "FTPSecurity"_ns; }
const Ref<NSString>& kSCPropNetProxiesFTPConnections() { return "FTPConnections"_ns; }

Ref<NSDictionary> SCDynamicStoreCopyProxies() {
  const auto settings = NSMutableDictionary::dictionary();
  const std::string mode = environmentValue({"FTP_PASSIVE_MODE"});
  settings->setObject_forKey(NSNumber::numberWithBool(mode != "no" && mode != "0"), kSCPropNetProxiesFTPPassive());
  std::string proxy = environmentValue({"ftp_proxy", "FTP_PROXY", "all_proxy", "ALL_PROXY"});
  const Ref<NSArray> direct = exceptions();
  if (direct->containsObject("*"_ns)) {
    proxy = "direct://";
  } else if (!proxy.empty()) {
    if (proxy.find("://") == std::string::npos) proxy.insert(0, "http://");
    // A name that stands for itself and for resolving at the proxy's side.
    if (proxy.starts_with("socks5h://")) proxy.erase(6, 1);
  }
  if (!proxy.empty()) {
    settings->setObject_forKey(NSString::stringWithUTF8String(proxy), kSCPropNetProxiesFTPProxy());
  }
  if (const int connections = std::atoi(environmentValue({"FTP_CONNECTIONS"}).c_str()); connections > 0) {
    settings->setObject_forKey(NSNumber::numberWithInteger(connections), kSCPropNetProxiesFTPConnections());
  }
  if (const auto encryption = security()) settings->setObject_forKey(encryption, kSCPropNetProxiesFTPSecurity());
  if (direct->count() > 0) settings->setObject_forKey(direct, kSCPropNetProxiesExceptionsList());
  return as<NSDictionary>(settings->copy());
}

}  // namespace telvo
