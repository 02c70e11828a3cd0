#pragma once

#include <memory>
#include <string>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSNumber;
class NSString;

namespace foundation {
struct URLParts;
}

// A URL (RFC 3986), possibly relative to another one. Immutable, any thread.
class NSURL : public NSObject {
  NS_OBJECT(NSURL, NSObject)

 public:
  NSURL(std::string text, Ref<NSURL> baseURL, foundation::URLParts parts);
  ~NSURL() override;

  // Nil for nil, for an empty text, and for every text that breaks the grammar: a space, text beyond ASCII, one of
  // "<>\^`{|}, a "%" that two hexadecimal digits do not follow, brackets outside an IPv6 address, a port above 65535.
  // Nothing is escaped or mended on the way. A relative reference such as "a/b" is accepted, also without a base. A
  // text with a scheme of its own takes no base.
  static Ref<NSURL> URLWithString(const Ref<NSString>& text);
  static Ref<NSURL> URLWithString_relativeToURL(const Ref<NSString>& text, const Ref<NSURL>& baseURL);
  // The "file" URL of any path, escaped as needed; a relative path starts at the process's current folder, and the URL
  // of an existing folder ends in a slash. Nil for a nil or empty path.
  static Ref<NSURL> fileURLWithPath(const Ref<NSString>& path);
  // The same without looking at the disk.
  static Ref<NSURL> fileURLWithPath_isDirectory(const Ref<NSString>& path, bool isDirectory);

  // The whole URL, resolved against the base.
  Ref<NSString> absoluteString() const;
  // The text that the URL was made from.
  Ref<NSString> relativeString() const;
  Ref<NSURL> baseURL() const { return baseURL_; }
  // The same URL without a base.
  Ref<NSURL> absoluteURL() const;

  // Parts of the resolved URL, nil when there is none. Escapes are decoded in user, host and path, where bytes that are
  // no UTF-8 are carried as NSString says; password, query and fragment stay as they are written. Of an opaque URL,
  // such as "mailto:a@b", there are a scheme and a fragment only.
  Ref<NSString> scheme() const;
  Ref<NSString> user() const;
  Ref<NSString> password() const;
  Ref<NSString> host() const;  // never empty; an IPv6 address without its brackets
  Ref<NSNumber> port() const;
  // One slash at the end is left out (hasDirectoryPath() tells), save where the path is "/".
  Ref<NSString> path() const;
  Ref<NSString> query() const;
  Ref<NSString> fragment() const;

  // Whether the path ends in a slash.
  bool hasDirectoryPath() const;
  bool isFileURL() const;
  // The path's bytes for the system's calls; none when there is no path.
  std::string fileSystemRepresentation() const;

  Ref<NSString> lastPathComponent() const;
  Ref<NSString> pathExtension() const;
  // The component is any text, escaped as needed; query, fragment and base stay. Nil when there is no path.
  Ref<NSURL> URLByAppendingPathComponent(const Ref<NSString>& component) const;
  // The folder that holds the last component, with a slash at its end; query, fragment and base stay. Nil when there is
  // no path.
  Ref<NSURL> URLByDeletingLastPathComponent() const;

  // The text as given; with a base, "text -- base".
  Ref<NSString> description() const override;
  // Equal texts relative to equal bases.
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  foundation::URLParts ownParts() const;
  Ref<NSURL> URLWithOwnParts(foundation::URLParts own) const;

  std::string text_;
  Ref<NSURL> baseURL_;
  std::unique_ptr<const foundation::URLParts> parts_;  // of the resolved URL
};

TELVO_NAMESPACE_END
