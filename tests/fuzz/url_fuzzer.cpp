#include "foundation/collections/NSNumber.h"
#include "foundation/files/NSURL.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

void readParts(const Ref<NSURL>& url) {
  const Ref<NSNumber> port = url->port();
  require(!port || (port->integerValue() >= 0 && port->integerValue() <= 65535));
  require(url->description() != nil);
  require((url->path() == nil) == (url->lastPathComponent() == nil));
  require(url->path() || !url->query());
  require(!url->password() || url->user());
  url->query();
  url->fragment();
  url->hasDirectoryPath();
  url->isFileURL();
}

}  // namespace

// A URL keeps its text. Seen from a base it is a URL again, with the same meaning without the base.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Ref<NSURL> base = NSURL::URLWithString("ftp://user@host:21/a/b/../c?d#e"_ns);
  static const Ref<NSURL> baseWithoutHost = NSURL::URLWithString("x:/a/b"_ns);
  const Ref<NSString> text = textFromInput(data, size);
  const Ref<NSURL> url = NSURL::URLWithString(text);
  if (!url) return 0;
  require(areEqual(url->absoluteString(), text));
  readParts(url);
  if (const auto folder = url->URLByDeletingLastPathComponent()) readParts(folder);
  if (const auto below = url->URLByAppendingPathComponent(text)) readParts(below);
  for (const Ref<NSURL>& start : {base, baseWithoutHost}) {
    const Ref<NSURL> relative = NSURL::URLWithString_relativeToURL(text, start);
    readParts(relative);
    const Ref<NSURL> parsedAgain = NSURL::URLWithString(relative->absoluteString());
    require(parsedAgain != nil);
    require(NSEqualObjects(parsedAgain->path(), relative->path()));
    require(NSEqualObjects(parsedAgain->host(), relative->host()));
  }
  return 0;
}
