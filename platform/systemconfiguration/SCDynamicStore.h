#pragma once

#include "foundation/collections/NSDictionary.h"
#include "foundation/text/NSString.h"

TELVO_NAMESPACE_BEGIN

// How the system wants FTP servers to be reached:
//
//   const auto settings = SCDynamicStoreCopyProxies();
//   const auto passive = as<NSNumber>(settings->objectForKey(kSCPropNetProxiesFTPPassive()));
//   stream->setProperty_forKey(passive, kCFStreamPropertyFTPUsePassiveMode());
//   stream->setProperty_forKey(settings, kCFStreamPropertyFTPProxy());

// Keys of the proxy settings.
const Ref<NSString>& kSCPropNetProxiesFTPPassive();  // boolean number: FTP uses passive mode
const Ref<NSString>& kSCPropNetProxiesFTPProxy();    // text: its URL for FTP, "direct://": none; missing: the desktop's
const Ref<NSString>& kSCPropNetProxiesExceptionsList();  // array of texts: what is reached without a proxy
const Ref<NSString>& kSCPropNetProxiesFTPSecurity();     // dictionary: how connections to FTP servers are encrypted
const Ref<NSString>& kSCPropNetProxiesFTPConnections();  // number: the most control connections to one FTP server

// The system's proxy settings at this moment. From the environment come the proxy ("ftp_proxy", else "all_proxy", each
// in small or capital letters; "http://" when no scheme is given), the exceptions ("no_proxy", names between commas or
// blanks; "*" excepts everything), the mode (passive unless "FTP_PASSIVE_MODE" is "no" or "0"), the number of
// connections ("FTP_CONNECTIONS") and, when "FTP_SECURITY" is set, their encryption ("FTP_TLS_CERTIFICATE_AUTHORITY",
// "FTP_TLS_FINGERPRINT", "FTP_TLS_CERTIFICATE", "FTP_TLS_KEY"). What the desktop is set to is not in here; it is looked
// up for each host when no proxy is named. Any thread that may read the environment.
Ref<NSDictionary> SCDynamicStoreCopyProxies();

TELVO_NAMESPACE_END
