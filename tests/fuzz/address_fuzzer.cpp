#include "categories/NSString+Telvo.h"
#include "foundation/files/NSURL.h"
#include "tests/fuzz/FuzzInput.h"

// A completed address has a scheme and a path, and needs no more completion. Escaping makes any text but the empty one,
// which is none, a URL, and decoding gives back its bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> typed = textFromInput(data, size);
  const Ref<NSString> address = telvo_stringByCleaningURL(typed);
  require(areEqual(telvo_stringByCleaningURL(address), address));
  const Ref<NSURL> url = telvo_urlValue(typed);
  if (size > 0 && typed->length() > 0) require(address->containsString("://"_ns) && address->containsString("/"_ns));
  if (url) require(areEqual(url->absoluteString(), address));

  const Ref<NSString> escaped = telvo_stringByAddingPercentEscapes(typed);
  require((NSURL::URLWithString(escaped) != nil) == (escaped->length() > 0));
  require(telvo_stringByReplacingPercentEscapes(escaped)->UTF8String() == typed->UTF8String());
  require(telvo_stringByMakingURLSafe(typed) != nil);
  return 0;
}
