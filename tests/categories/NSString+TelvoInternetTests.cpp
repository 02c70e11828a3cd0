#include <gtest/gtest.h>

#include "categories/NSString+Telvo.h"
#include "foundation/Foundation.h"

namespace {

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }

std::string cleaned(std::string_view text, const Ref<NSString>& scheme = nil) {
  return utf8(telvo_stringByCleaningURLWithDefaultScheme(NSString::stringWithUTF8String(text), scheme));
}

std::string stripped(std::string_view text) {
  return utf8(telvo_stringByStrippingHTML(NSString::stringWithUTF8String(text)));
}

// ---- Percent escapes

TEST(NSStringTelvoInternet, EscapesWhatIsNotLegalAndEveryCharacterWithAMeaning) {
  const auto extraSet = "!*'\"();:@&=+$,/?%#[]% "_ns;
  ASSERT_EQ(extraSet->length(), 22U);
  EXPECT_EQ(utf8(telvo_stringByAddingPercentEscapes(extraSet)),
            "%21%2A%27%22%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D%25%20");
  EXPECT_EQ(utf8(telvo_stringByAddingPercentEscapes("<>\\^`{|}\n\x7f"_ns)), "%3C%3E%5C%5E%60%7B%7C%7D%0A%7F");
}

TEST(NSStringTelvoInternet, LeavesUnreservedCharactersAlone) {
  EXPECT_EQ(utf8(telvo_stringByAddingPercentEscapes("AZaz09-._~"_ns)), "AZaz09-._~");
}

TEST(NSStringTelvoInternet, EscapesTextBeyondASCIIAsUTF8) {
  EXPECT_EQ(utf8(telvo_stringByAddingPercentEscapes("é漢😀"_ns)), "%C3%A9%E6%BC%A2%F0%9F%98%80");
  EXPECT_EQ(utf8(telvo_stringByAddingPercentEscapes(NSString::stringWithUTF8String("\xff"))), "%FF");
  EXPECT_EQ(telvo_stringByAddingPercentEscapes(nil), nil);
}

TEST(NSStringTelvoInternet, EscapesEscapesOnceMore) {
  EXPECT_EQ(utf8(telvo_stringByAddingPercentEscapes("%20"_ns)), "%2520");
}

TEST(NSStringTelvoInternet, DecodesEveryEscape) {
  EXPECT_EQ(utf8(telvo_stringByReplacingPercentEscapes("a%20b%2Fc%2fd%25%C3%A9"_ns)), "a b/c/d%é");
  EXPECT_EQ(utf8(telvo_stringByReplacingPercentEscapes("%2541"_ns)), "%41") << "once";
  EXPECT_EQ(utf8(telvo_stringByReplacingPercentEscapes("+"_ns)), "+");
  EXPECT_EQ(utf8(telvo_stringByReplacingPercentEscapes("100% %4 %zz %"_ns)), "100% %4 %zz %");
  EXPECT_EQ(utf8(telvo_stringByReplacingPercentEscapes("%FF"_ns)), "\xff");
  EXPECT_EQ(telvo_stringByReplacingPercentEscapes(nil), nil);
}

TEST(NSStringTelvoInternet, DecodingUndoesEscaping) {
  const auto text = NSString::stringWithUTF8String("a %41 é\t😀 e\u0301\xff\xfe/?");
  EXPECT_TRUE(telvo_stringByReplacingPercentEscapes(telvo_stringByAddingPercentEscapes(text))->isEqual(text));
}

TEST(NSStringTelvoInternet, MakingURLSafeDropsDiacriticalMarks) {
  EXPECT_EQ(utf8(telvo_stringByMakingURLSafe("Crème brûlée"_ns)), "Creme%20brulee");
  EXPECT_EQ(utf8(telvo_stringByMakingURLSafe("ß"_ns)), "%C3%9F");
  EXPECT_EQ(telvo_stringByMakingURLSafe(nil), nil);
}

// ---- Typed addresses

TEST(NSStringTelvoInternet, CompletesABareWord) {
  EXPECT_EQ(cleaned("example"), "https://example.com/");
  EXPECT_EQ(utf8(telvo_stringByCleaningURL("example"_ns)), "https://example.com/");
  EXPECT_EQ(cleaned("example/a/b"), "https://example.com/a/b");
  EXPECT_EQ(cleaned("example.org"), "https://example.org/");
  EXPECT_EQ(cleaned("example:8080"), "https://example:8080.com/") << "the port counts as part of the host";
}

TEST(NSStringTelvoInternet, LocalhostStaysAsItIs) {
  EXPECT_EQ(cleaned("http://localhost"), "http://localhost/");
  EXPECT_EQ(cleaned("http://localhost:8080"), "http://localhost:8080/");
  EXPECT_EQ(cleaned("http://mylocalhosts/x"), "http://mylocalhosts/x");
  EXPECT_EQ(cleaned("http://LOCALHOST"), "http://LOCALHOST.com/") << "letter case counts";
  EXPECT_EQ(cleaned("http://host/localhost"), "http://host.com/localhost") << "only the host counts";
}

TEST(NSStringTelvoInternet, KeepsASchemeThatWasTyped) {
  EXPECT_EQ(cleaned("ftp://server/pub/x"), "ftp://server.com/pub/x");
  EXPECT_EQ(cleaned("ftp://server/pub/x", "http://"_ns), "ftp://server.com/pub/x");
  EXPECT_EQ(cleaned("a://b://c"), "a://b:.com//c") << "up to the first separator";
  EXPECT_EQ(cleaned("://x"), "://x.com/");
}

TEST(NSStringTelvoInternet, UsesTheDefaultScheme) {
  EXPECT_EQ(cleaned("example", "ftp://"_ns), "ftp://example.com/");
  EXPECT_EQ(cleaned("example", "file://"_ns), "file://example/");
  EXPECT_EQ(cleaned("example", ""_ns), "https://example.com/");
}

TEST(NSStringTelvoInternet, FileAddressesStayTheSame) {
  EXPECT_EQ(cleaned("file:///a/b"), "file:///a/b");
  EXPECT_EQ(cleaned("file://host/a"), "file://host/a");
  EXPECT_EQ(cleaned("FILE:///a"), "FILE://.com/a") << "only exactly file:// is meant";
}

TEST(NSStringTelvoInternet, AQueryWithoutSlashBelongsToTheHost) {
  EXPECT_EQ(cleaned("example.org?q=1"), "https://example.org?q=1/");
  EXPECT_EQ(cleaned("example?q=1"), "https://example?q=1.com/");
  EXPECT_EQ(cleaned("example.org/?q=a.b"), "https://example.org/?q=a.b");
}

TEST(NSStringTelvoInternet, AnEmptyAddressStaysEmpty) {
  const auto empty = ""_ns;
  EXPECT_EQ(telvo_stringByCleaningURL(empty), empty);
  EXPECT_EQ(telvo_stringByCleaningURLWithDefaultScheme(empty, "ftp://"_ns), empty);
  EXPECT_EQ(telvo_stringByCleaningURL(nil), nil);
  EXPECT_EQ(cleaned("/"), "https://.com/");
}

TEST(NSStringTelvoInternet, URLValueCompletesTheAddress) {
  EXPECT_EQ(utf8(telvo_urlValue("example"_ns)->absoluteString()), "https://example.com/");
  EXPECT_EQ(utf8(telvo_urlValue("ftp://h.org//a%20b.txt"_ns)->path()), "//a b.txt");
  EXPECT_EQ(telvo_urlValue(""_ns), nil);
  EXPECT_EQ(telvo_urlValue(nil), nil);
  EXPECT_EQ(telvo_urlValue("two words"_ns), nil);
  EXPECT_EQ(telvo_urlValue("exämple.org"_ns), nil);
  EXPECT_EQ(telvo_urlValue("example:8080"_ns), nil) << "completion makes no port of it";
}

// ---- HTML

TEST(NSStringTelvoInternet, StripsTags) {
  EXPECT_EQ(stripped("<b>bold</b> text"), "bold text");
  EXPECT_EQ(stripped("<p><i>a</i><b>b</b></p>"), "ab");
  EXPECT_EQ(stripped("a<br/>b\n<!-- c -->d"), "ab\nd");
  EXPECT_EQ(stripped("<a title=\"한😀\">é</a>"), "é");
  EXPECT_EQ(stripped("no tags &amp; entities"), "no tags &amp; entities");
  EXPECT_EQ(stripped(""), "");
  EXPECT_EQ(telvo_stringByStrippingHTML(nil), nil);
}

TEST(NSStringTelvoInternet, KeepsWhiteSpaceAroundTags) { EXPECT_EQ(stripped("  <b>\t a </b>\n "), "  \t a \n "); }

TEST(NSStringTelvoInternet, AnUnclosedTagSwallowsTheRest) {
  EXPECT_EQ(stripped("a<b"), "a");
  EXPECT_EQ(stripped("a<"), "a");
  EXPECT_EQ(stripped("a < b"), "a ");
  EXPECT_EQ(stripped("<i>a</i> <b x"), "a ");
  EXPECT_EQ(stripped("<a<b>c"), "c");
}

TEST(NSStringTelvoInternet, ALeftOverClosingBracketTakesWhatStandsBeforeIt) {
  EXPECT_EQ(stripped("a > b"), " b");
  EXPECT_EQ(stripped("href=\"x\">link</a>"), "link");
  EXPECT_EQ(stripped("a > b > c"), " b > c") << "only up to the first";
  EXPECT_EQ(stripped("<b>a</b> > c"), " c");
}

TEST(NSStringTelvoInternet, AnEmptyTagLeavesItsClosingBracketOver) {
  EXPECT_EQ(stripped("a<>b"), "b");
  EXPECT_EQ(stripped("<>"), "");
}

}  // namespace
