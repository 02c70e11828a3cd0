#include "telvo/owner/Target.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <glib.h>
#include <unistd.h>

#include "telvo/owner/GLibObjects.h"

namespace telvo {

namespace {

constexpr std::string_view plainScheme = "ftp://";
constexpr std::string_view secureScheme = "ftps://";

bool beginsWith(const std::string& text, std::string_view scheme) {
  return g_ascii_strncasecmp(text.c_str(), scheme.data(), scheme.size()) == 0;
}

// How long the scheme in front of a URL is; 0 when it is none.
std::size_t schemeLength(const std::string& written) {
  for (const std::string_view scheme : {plainScheme, secureScheme}) {
    if (beginsWith(written, scheme)) return scheme.size();
  }
  if (written.find("://") == std::string::npos) return 0;
  throw std::invalid_argument("\"" + written + "\": of URLs, only ftp:// and ftps:// are understood");
}

std::string unescaped(const std::string& text) {
  const Text result(g_uri_unescape_string(text.c_str(), nullptr));
  if (!result) throw std::invalid_argument("\"" + text + "\" is not escaped as a URL has to be");
  return result.get();
}

void checkPort(std::string_view port) {
  constexpr int largest = 65535;
  int number = 0;
  for (const char digit : port) {
    if (digit < '0' || digit > '9' || number > largest)
      number = largest + 1;
    else
      number = number * 10 + (digit - '0');
  }
  if (number < 1 || number > largest) throw std::invalid_argument("\"" + std::string(port) + "\" is not a port");
}

// Where the port's colon is, the text's size when there is none.
std::size_t portColon(std::string_view host) {
  const std::size_t colon = host.rfind(':');
  const std::size_t bracket = host.rfind(']');
  if (colon == std::string_view::npos || (bracket != std::string_view::npos && bracket > colon)) return host.size();
  return colon;
}

void checkHost(std::string_view host) {
  const std::size_t colon = portColon(host);
  const std::string_view name = host.substr(0, colon);
  if (name.empty() || name == "[]") throw std::invalid_argument("the host is missing");
  if (!name.starts_with('[') && name.find(':') != std::string_view::npos) {
    throw std::invalid_argument("an IPv6 address belongs in brackets: [" + std::string(host) + "]");
  }
  if (name.starts_with('[') != name.ends_with(']')) throw std::invalid_argument("a bracket of the host is missing");
  if (colon < host.size()) checkPort(host.substr(colon + 1));
}

// As the host's name is looked up: letters beyond ASCII have a form of their own there.
std::string encoded(const std::string& host) {
  const std::size_t colon = portColon(host);
  const std::string name = host.substr(0, colon);
  if (!g_hostname_is_non_ascii(name.c_str())) return host;
  const Text ascii(g_hostname_to_ascii(name.c_str()));
  if (!ascii) throw std::invalid_argument("\"" + name + "\" is no name that a host can have");
  return ascii.get() + host.substr(colon);
}

// A line end in any part would end the command that it becomes part of.
void checkCharacters(const std::string& text) {
  const auto isControl = [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F; };
  if (std::ranges::any_of(text, isControl)) throw std::invalid_argument("the target holds a control character");
}

std::string absoluteFolder(std::string folder) {
  while (folder.ends_with('/')) folder.pop_back();
  const std::size_t first = folder.find_first_not_of('/');
  return first == std::string::npos ? std::string() : "/" + folder.substr(first);
}

std::string text(const std::filesystem::path& path) { return path.string(); }

std::filesystem::path cacheFolder() { return std::filesystem::path(g_get_user_cache_dir()) / "telvo-upload"; }

}  // namespace

std::string Target::hostName() const {
  std::string name = host.substr(0, portColon(host));
  return name.starts_with('[') ? name.substr(1, name.size() - 2) : name;
}

Target parseTarget(const std::string& written) {
  const std::string whole = written.substr(schemeLength(written));
  const bool isURL = whole.size() < written.size();
  const std::size_t slash = std::min(whole.find('/'), whole.size());
  const std::string authority = whole.substr(0, slash);
  const std::size_t at = authority.rfind('@');
  Target target;
  target.isImplicitlySecure = beginsWith(written, secureScheme);
  target.host = at == std::string::npos ? authority : authority.substr(at + 1);
  if (at != std::string::npos) target.user = authority.substr(0, at);
  if (target.user.find(':') != std::string::npos) {
    throw std::invalid_argument("a password is not accepted here, where others can read it");
  }
  if (isURL) target.user = unescaped(target.user);
  target.folder = absoluteFolder(isURL ? unescaped(whole.substr(slash)) : whole.substr(slash));
  for (const std::string& part : {target.host, target.user, target.folder}) checkCharacters(part);
  checkHost(target.host);
  target.host = encoded(target.host);
  return target;
}

Security securityFor(const std::string& word, const Target& target) {
  const bool isImplicit = target.isImplicitlySecure;
  if (word.empty()) return isImplicit ? Security::implicit : Security::none;
  if (word == "implicit") return Security::implicit;
  if (word != "tls" && word != "none") throw std::invalid_argument("security is none, tls or implicit, not " + word);
  if (isImplicit) throw std::invalid_argument("an ftps:// URL stands for implicit encryption, not for " + word);
  return word == "tls" ? Security::tls : Security::none;
}

std::string cacheFileFor(const std::string& source, const Target& target, bool contentsOnly) {
  std::string pair;
  for (const std::string& part : {source, target.user, target.host, target.folder}) pair.append(part).push_back('\0');
  pair.append(contentsOnly ? "contents" : "folder");
  const Text digest(g_compute_checksum_for_string(G_CHECKSUM_SHA256, pair.data(), static_cast<gssize>(pair.size())));
  return text(cacheFolder() / (std::string(digest.get()) + ".plist"));
}

void makeCacheFolder() {
  constexpr int forThisUser = 0700;
  const std::filesystem::path folder = cacheFolder();
  if (g_mkdir_with_parents(folder.c_str(), forThisUser) == 0 && access(folder.c_str(), W_OK | X_OK) == 0) return;
  throw std::runtime_error(text(folder) + ": " + std::generic_category().message(errno));
}

}  // namespace telvo
