// NSString(TelvoInternet): text of URLs and of HTML.

#include <algorithm>

#include "categories/NSString+Telvo.h"
#include "foundation/files/NSURL.h"
#include "foundation/files/PercentEncoding.h"

inline namespace telvo {

namespace {

struct TypedAddress {
  Ref<NSString> scheme;  // with its "://"; nil when none was typed
  Ref<NSString> host;
  Ref<NSString> path;
};

TypedAddress takenApart(const Ref<NSString>& text) {
  TypedAddress address{nil, text, "/"_ns};
  const NSRange separator = text->rangeOfString("://"_ns);
  if (separator.location != NSNotFound) {
    address.scheme = text->substringToIndex(NSMaxRange(separator));
    address.host = text->substringFromIndex(NSMaxRange(separator));
  }
  const NSRange slash = address.host->rangeOfString("/"_ns);
  if (slash.location != NSNotFound) {
    address.path = address.host->substringFromIndex(slash.location);
    address.host = address.host->substringToIndex(slash.location);
  }
  return address;
}

bool lacksDomain(const TypedAddress& address) {
  const bool isFile = address.scheme && address.scheme->isEqualToString("file://"_ns);
  return !isFile && !address.host->containsString("."_ns) && !address.host->containsString("localhost"_ns);
}

const NSCategory category(
    NSString::classObject(),
    {
        method("telvo_stringByReplacingPercentEscapes"_sel, &telvo_stringByReplacingPercentEscapes),
        method("telvo_stringByAddingPercentEscapes"_sel, &telvo_stringByAddingPercentEscapes),
        method("telvo_stringByMakingURLSafe"_sel, &telvo_stringByMakingURLSafe),
        method("telvo_stringByStrippingHTML"_sel, &telvo_stringByStrippingHTML),
        method("telvo_stringByCleaningURL"_sel, &telvo_stringByCleaningURL),
        method("telvo_stringByCleaningURLWithDefaultScheme:"_sel, &telvo_stringByCleaningURLWithDefaultScheme),
        method("telvo_urlValue"_sel, &telvo_urlValue),
    });

}  // namespace

Ref<NSString> telvo_stringByReplacingPercentEscapes(const Ref<NSString>& text) {
  return text ? NSString::stringWithUTF8String(foundation::percentDecoded(text->UTF8String())) : nil;
}

Ref<NSString> telvo_stringByAddingPercentEscapes(const Ref<NSString>& text) {
  if (!text) return nil;
  // Of the characters that URLs allow, those with a meaning (!*'();:@&=+$,/?%#[]) are escaped as well.
  return NSString::stringWithUTF8String(foundation::percentEncoded(text->UTF8String(), foundation::URLUnreserved));
}

Ref<NSString> telvo_stringByMakingURLSafe(const Ref<NSString>& text) {
  return telvo_stringByAddingPercentEscapes(telvo_stringByRemovingDiacriticalMarks(text));
}

Ref<NSString> telvo_stringByStrippingHTML(const Ref<NSString>& text) {
  if (!text) return nil;
  const std::u16string_view html = text->units();
  std::u16string result;
  for (std::size_t at = 0; at < html.size();) {
    const std::size_t open = std::min(html.find(u'<', at), html.size());
    result.append(html.substr(at, open - at));
    at = open + 1;
    if (open == html.size()) break;
    const std::size_t close = std::min(html.find(u'>', at), html.size());
    // Between "<" and ">" there must be something to read; the ">" of "<>" stays, as a tag's tail.
    if (close > at) at = close + 1;
  }
  const std::size_t tail = result.find(u'>');
  if (tail != std::u16string::npos) result.erase(0, tail + 1);
  return NSString::stringWithUnits(std::move(result));
}

Ref<NSString> telvo_stringByCleaningURL(const Ref<NSString>& text) {
  return telvo_stringByCleaningURLWithDefaultScheme(text, nil);
}

Ref<NSString> telvo_stringByCleaningURLWithDefaultScheme(const Ref<NSString>& text,
                                                         const Ref<NSString>& defaultScheme) {
  if (!telvo_containsSomething(text)) return text;
  TypedAddress address = takenApart(text);
  if (!address.scheme && telvo_containsSomething(defaultScheme)) address.scheme = defaultScheme;
  if (lacksDomain(address)) address.host = address.host->stringByAppendingString(".com"_ns);
  if (!address.scheme) address.scheme = "https://"_ns;
  return NSString::stringWithFormat("%@%@%@"_ns, address.scheme, address.host, address.path);
}

Ref<NSURL> telvo_urlValue(const Ref<NSString>& text) {
  return telvo_containsSomething(text) ? NSURL::URLWithString(telvo_stringByCleaningURL(text)) : nil;
}

}  // namespace telvo
