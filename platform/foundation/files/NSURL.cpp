#include "foundation/files/NSURL.h"

#include <filesystem>

#include <sys/stat.h>

#include "foundation/collections/NSNumber.h"
#include "foundation/files/PercentEncoding.h"
#include "foundation/files/URLParser.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

using foundation::URLParts;

namespace {

Ref<NSString> writtenText(const std::optional<std::string>& part) {
  return part ? NSString::stringWithUTF8String(*part) : nil;
}

Ref<NSString> decodedText(const std::optional<std::string>& part) {
  return part ? NSString::stringWithUTF8String(foundation::percentDecoded(*part)) : nil;
}

bool isExistingFolder(const std::string& path) {
  struct stat status {};
  // The system would read a path with a NUL inside as the shorter path in front of it.
  return path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string absolutePath(const std::string& path) {
  if (path.starts_with('/')) return path;
  std::error_code failure;
  const std::filesystem::path folder = std::filesystem::current_path(failure);
  return (failure ? std::filesystem::path("/") : folder) / path;
}

std::string withoutLastSlash(std::string path) {
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

// The path without its last component. "." and ".." are no names that could be taken off: where they lead to, the
// folder is one further up.
std::string folderOfReference(std::string path) {
  path = withoutLastSlash(std::move(path));
  const std::size_t nameStart = path.rfind('/') + 1;  // 0 without a slash
  const std::string_view name = std::string_view(path).substr(nameStart);
  if (name == "..") return path + "/../";
  const bool staysInPlace = name == ".";
  path.resize(nameStart);
  if (staysInPlace) return path + "../";
  return path.empty() ? "./" : path;
}

}  // namespace

Class NSURL::classObject() {
  static const NSClass object("NSURL", NSObject::classObject(),
                              {
                                  method("absoluteString"_sel, &NSURL::absoluteString),
                                  method("relativeString"_sel, &NSURL::relativeString),
                                  method("baseURL"_sel, &NSURL::baseURL),
                                  method("absoluteURL"_sel, &NSURL::absoluteURL),
                                  method("scheme"_sel, &NSURL::scheme),
                                  method("user"_sel, &NSURL::user),
                                  method("password"_sel, &NSURL::password),
                                  method("host"_sel, &NSURL::host),
                                  method("port"_sel, &NSURL::port),
                                  method("path"_sel, &NSURL::path),
                                  method("query"_sel, &NSURL::query),
                                  method("fragment"_sel, &NSURL::fragment),
                                  method("isFileURL"_sel, &NSURL::isFileURL),
                                  method("lastPathComponent"_sel, &NSURL::lastPathComponent),
                                  method("pathExtension"_sel, &NSURL::pathExtension),
                              });
  return &object;
}

NSURL::NSURL(std::string text, Ref<NSURL> baseURL, foundation::URLParts parts)
    : text_(std::move(text)),
      baseURL_(std::move(baseURL)),
      parts_(std::make_unique<const foundation::URLParts>(std::move(parts))) {}

NSURL::~NSURL() = default;

Ref<NSURL> NSURL::URLWithString(const Ref<NSString>& text) { return URLWithString_relativeToURL(text, nil); }

Ref<NSURL> NSURL::URLWithString_relativeToURL(const Ref<NSString>& text, const Ref<NSURL>& baseURL) {
  if (!text || text->length() == 0) return nil;
  std::string bytes = text->UTF8String();
  std::optional<foundation::URLParts> parts = foundation::parseURL(bytes);
  if (!parts) return nil;
  if (!baseURL || parts->scheme) return make<NSURL>(std::move(bytes), nil, *std::move(parts));
  return make<NSURL>(std::move(bytes), baseURL, foundation::resolveURL(*parts, *baseURL->parts_));
}

Ref<NSURL> NSURL::fileURLWithPath(const Ref<NSString>& path) {
  return fileURLWithPath_isDirectory(path, path && isExistingFolder(path->fileSystemRepresentation()));
}

Ref<NSURL> NSURL::fileURLWithPath_isDirectory(const Ref<NSString>& path, bool isDirectory) {
  if (!path || path->length() == 0) return nil;
  foundation::URLParts parts;
  parts.scheme = "file";
  parts.authority = "";
  parts.host = "";
  parts.path =
      foundation::percentEncoded(absolutePath(path->fileSystemRepresentation()), foundation::URLPathCharacters);
  if (isDirectory && !parts.path.ends_with('/')) parts.path.push_back('/');
  std::string text = foundation::textOfURL(parts);
  return make<NSURL>(std::move(text), nil, std::move(parts));
}

Ref<NSString> NSURL::absoluteString() const {
  return NSString::stringWithUTF8String(baseURL_ ? foundation::textOfURL(*parts_) : text_);
}

Ref<NSString> NSURL::relativeString() const { return NSString::stringWithUTF8String(text_); }

Ref<NSURL> NSURL::absoluteURL() const {
  return baseURL_ ? make<NSURL>(foundation::textOfURL(*parts_), nil, *parts_) : as<NSURL>(self());
}

Ref<NSString> NSURL::scheme() const { return writtenText(parts_->scheme); }
Ref<NSString> NSURL::user() const { return decodedText(parts_->user); }
Ref<NSString> NSURL::password() const { return writtenText(parts_->password); }

Ref<NSString> NSURL::host() const {
  return parts_->host && !parts_->host->empty() ? decodedText(parts_->host) : Ref<NSString>();
}

Ref<NSNumber> NSURL::port() const { return parts_->port ? NSNumber::numberWithInteger(*parts_->port) : nil; }

Ref<NSString> NSURL::path() const {
  return parts_->isOpaque() ? Ref<NSString>() : NSString::stringWithUTF8String(fileSystemRepresentation());
}

Ref<NSString> NSURL::query() const { return parts_->isOpaque() ? Ref<NSString>() : writtenText(parts_->query); }
Ref<NSString> NSURL::fragment() const { return writtenText(parts_->fragment); }

bool NSURL::hasDirectoryPath() const { return !parts_->isOpaque() && parts_->path.ends_with('/'); }

bool NSURL::isFileURL() const {
  const Ref<NSString> name = scheme();
  return name && name->caseInsensitiveCompare("file"_ns) == NSOrderedSame;
}

std::string NSURL::fileSystemRepresentation() const {
  if (parts_->isOpaque()) return {};
  return foundation::percentDecoded(withoutLastSlash(parts_->path));
}

Ref<NSString> NSURL::lastPathComponent() const {
  return parts_->isOpaque() ? Ref<NSString>() : path()->lastPathComponent();
}

Ref<NSString> NSURL::pathExtension() const { return parts_->isOpaque() ? Ref<NSString>() : path()->pathExtension(); }

Ref<NSURL> NSURL::URLByAppendingPathComponent(const Ref<NSString>& component) const {
  if (!component || parts_->isOpaque()) return nil;
  URLParts own = ownParts();
  // A reference without host and path means its base's path.
  if (own.path.empty() && !own.authority) own.path = parts_->path;
  if (!own.path.ends_with('/')) own.path.push_back('/');
  const std::string added = foundation::percentEncoded(component->UTF8String(), foundation::URLPathCharacters);
  own.path.append(added, added.starts_with('/') ? 1 : 0);
  return URLWithOwnParts(std::move(own));
}

Ref<NSURL> NSURL::URLByDeletingLastPathComponent() const {
  if (parts_->isOpaque()) return nil;
  URLParts own = ownParts();
  if (!own.path.empty()) {
    own.path = folderOfReference(std::move(own.path));
  } else if (!own.authority) {
    own.path = hasDirectoryPath() ? "../" : "./";
  }
  return URLWithOwnParts(std::move(own));
}

// The parts of the text that the URL was made from, not yet seen from the base.
URLParts NSURL::ownParts() const { return baseURL_ ? *foundation::parseURL(text_) : *parts_; }

Ref<NSURL> NSURL::URLWithOwnParts(URLParts own) const {
  // Without a host before them, two slashes at the start of the path would read as the mark of one.
  if (!own.authority && own.path.starts_with("//")) own.path.insert(0, "/.");
  std::string text = foundation::textOfURL(own);
  if (!baseURL_) return make<NSURL>(std::move(text), nil, std::move(own));
  return make<NSURL>(std::move(text), baseURL_, foundation::resolveURL(own, *baseURL_->parts_));
}

Ref<NSString> NSURL::description() const {
  return baseURL_ ? NSString::stringWithFormat("%@ -- %@"_ns, relativeString(), baseURL_) : relativeString();
}

bool NSURL::isEqual(const id& other) const {
  const auto url = as<NSURL>(other);
  return url && text_ == url->text_ && NSEqualObjects(baseURL_, url->baseURL_);
}

NSUInteger NSURL::hash() const { return std::hash<std::string>()(text_); }

}  // namespace telvo
