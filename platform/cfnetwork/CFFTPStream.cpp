#include "cfnetwork/CFFTPStream.h"

#include "cfnetwork/FTPWriteStream.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

const Ref<NSString>& kCFStreamPropertyFTPUserName() { return "kCFStreamPropertyFTPUserName"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPPassword() { return "kCFStreamPropertyFTPPassword"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPProxy() { return "kCFStreamPropertyFTPProxy"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPUsePassiveMode() { return "kCFStreamPropertyFTPUsePassiveMode"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPTemporaryName() { return "kCFStreamPropertyFTPTemporaryName"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPRemovesItem() { return "kCFStreamPropertyFTPRemovesItem"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPFolderMayExist() { return "kCFStreamPropertyFTPFolderMayExist"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPAnnouncesUTF8() { return "kCFStreamPropertyFTPAnnouncesUTF8"_ns; }
const Ref<NSString>& kCFStreamPropertyFTPSecurity() { return "kCFStreamPropertyFTPSecurity"_ns; }
const Ref<NSString>& kCFStreamFTPSecurityLevel() { return "Level"_ns; }
const Ref<NSString>& kCFStreamFTPSecurityCertificateAuthority() { return "CertificateAuthority"_ns; }
const Ref<NSString>& kCFStreamFTPSecurityFingerprint() { return "Fingerprint"_ns; }
const Ref<NSString>& kCFStreamFTPSecurityCertificate() { return "Certificate"_ns; }
const Ref<NSString>& kCFStreamFTPSecurityKey() { return "Key"_ns; }

Ref<NSOutputStream> CFWriteStreamCreateWithFTPURL(const Ref<NSURL>& url) {
  if (!url || !url->scheme() || url->scheme()->caseInsensitiveCompare("ftp"_ns) != NSOrderedSame) return nil;
  if (!url->host() || url->host()->length() == 0) return nil;
  // A name may begin with "?" or "#", which mean nothing in FTP.
  const bool hasName = url->query() || url->fragment();
  if (!hasName && (url->path()->length() == 0 || url->path()->isEqualToString("/"_ns))) return nil;
  return make<FTPWriteStream>(url);
}

}  // namespace telvo
