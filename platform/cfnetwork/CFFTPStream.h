#pragma once

#include "foundation/events/NSStream.h"
#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

class NSString;
class NSURL;

// A file for an FTP server. The delegate is told when there is room for bytes, and of a failure; close() runs the run
// loop and returns when the server has confirmed the file, or has refused it, which is told as the error event before
// it returns. Streams that one thread opens one after the other share connections. An error has the domain
// kCFErrorDomainCFNetwork (CFNetworkErrors.h) or the system's.
//
//   const auto stream = CFWriteStreamCreateWithFTPURL(NSURL::URLWithString("ftp://ftp.example.com/index.html"_ns));
//   stream->setProperty_forKey("anna"_ns, kCFStreamPropertyFTPUserName());
//   stream->setProperty_forKey(SCDynamicStoreCopyProxies(), kCFStreamPropertyFTPProxy());
//   stream->setDelegate(this);
//   stream->scheduleInRunLoop_forMode(NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode());
//   stream->open();  // then write_maxLength() at each NSStreamEventHasSpaceAvailable, and close()

// Stream properties, set before the stream is opened (RFC 959, RFC 2428 for IPv6 and extended passive mode).
const Ref<NSString>& kCFStreamPropertyFTPUserName();  // text; without it the URL's own login, else "anonymous"
const Ref<NSString>& kCFStreamPropertyFTPPassword();  // text
// The system's proxy settings, a dictionary. "FTPProxy" in it is the text of a proxy's URL (socks5://, socks4://,
// socks4a:// or http://host:port, port 1080 or 80 when none is given, a login in the URL is used; direct:// is none),
// "ExceptionsList" an array of host names, domains (".example.org" or "*.example.org"), addresses and address blocks
// that are reached directly. Without "FTPProxy" the desktop's own settings are asked for the host. Without the property
// every connection is direct. "FTPConnections" in it is the number of control connections to one server that a run of
// files may use, one to three (the default).
const Ref<NSString>& kCFStreamPropertyFTPProxy();
// Boolean number: the client makes the data connection (passive, the default) or the server does (active). Through a
// proxy it is always passive.
const Ref<NSString>& kCFStreamPropertyFTPUsePassiveMode();
// Text: the name, in the URL's folder, under which the file is stored until the server has confirmed all of it; then it
// is renamed, in place of what was there. Without the property it is stored under its own name at once.
const Ref<NSString>& kCFStreamPropertyFTPTemporaryName();
// Boolean number: the file or folder that the URL names is removed instead, without any data. What is not there is
// removed.
const Ref<NSString>& kCFStreamPropertyFTPRemovesItem();
// Boolean number: the folder that the URL names may be there already.
const Ref<NSString>& kCFStreamPropertyFTPFolderMayExist();
// Boolean number: a server that can say so is told that names are UTF-8 (RFC 2640).
const Ref<NSString>& kCFStreamPropertyFTPAnnouncesUTF8();
// How the connections are encrypted, a dictionary with the texts below; nil is the same as "none". Without the property
// "FTPSecurity" in the proxy settings counts, a dictionary of the same kind. Settings that cannot be used are an error
// of the stream (kCFURLErrorSecureConnectionFailed), and nothing is connected.
const Ref<NSString>& kCFStreamPropertyFTPSecurity();
// "none"; "tls": the client asks for encryption (RFC 4217) and sends nothing without it; "implicit": encrypted from the
// first byte on, at port 990 when the URL gives none. TLS 1.2 or 1.3, for the control and the data connections. The
// server's certificate is checked against the system's store and the host of the URL, unless something below says
// otherwise.
const Ref<NSString>& kCFStreamFTPSecurityLevel();
// The path of a PEM file with certificates that are trusted in place of the system's store.
const Ref<NSString>& kCFStreamFTPSecurityCertificateAuthority();
// The SHA-256 of the server's certificate: 64 hexadecimal digits, small or capital, with or without colons. In place of
// the checks of authority, name and dates.
const Ref<NSString>& kCFStreamFTPSecurityFingerprint();
// The paths of PEM files with the client's own certificate and its key, which must not need a passphrase. Without the
// second one the first holds both.
const Ref<NSString>& kCFStreamFTPSecurityCertificate();
const Ref<NSString>& kCFStreamFTPSecurityKey();

// A stream that stores what is written to it as a file at an "ftp" URL; a URL that ends in a slash makes that folder
// instead. Nil when the URL is nil, of another scheme or without a host or name. Nothing is connected before open().
Ref<NSOutputStream> CFWriteStreamCreateWithFTPURL(const Ref<NSURL>& url);

TELVO_NAMESPACE_END
