#include <filesystem>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/files/NSURL.h"

namespace {

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }

Ref<NSURL> url(std::string_view text) { return NSURL::URLWithString(NSString::stringWithUTF8String(text)); }

std::string resolved(std::string_view reference) {
  const auto base = url("http://a/b/c/d;p?q");
  return utf8(NSURL::URLWithString_relativeToURL(NSString::stringWithUTF8String(reference), base)->absoluteString());
}

TEST(NSURL, TakesATextApart) {
  const auto whole = url("ftp://us%40er:pass:wo%3ard@host.example:2121//pub/a%20b.txt?q=%41#frag%20ment");
  EXPECT_EQ(utf8(whole->scheme()), "ftp");
  EXPECT_EQ(utf8(whole->user()), "us@er");
  EXPECT_EQ(utf8(whole->password()), "pass:wo%3ard") << "the platform leaves its escapes in place";
  EXPECT_EQ(utf8(whole->host()), "host.example");
  EXPECT_EQ(whole->port()->integerValue(), 2121);
  EXPECT_EQ(utf8(whole->path()), "//pub/a b.txt");
  EXPECT_EQ(utf8(whole->query()), "q=%41");
  EXPECT_EQ(utf8(whole->fragment()), "frag%20ment");
  EXPECT_FALSE(whole->hasDirectoryPath());
}

TEST(NSURL, KeepsTheTextAsGiven) {
  const std::string text = "FTP://h//a%7eb/../c.txt";
  EXPECT_EQ(utf8(url(text)->absoluteString()), text);
  EXPECT_EQ(utf8(url(text)->relativeString()), text);
  EXPECT_EQ(utf8(url(text)->description()), text);
}

TEST(NSURL, KeepsDotSegmentsWhereNoBaseIsGiven) {
  for (const char* text : {"http://a/b/../c/./d", "http://a/..", "http://a/./", "../a/./b", "./..", "x:/./a/../b"}) {
    EXPECT_EQ(utf8(url(text)->absoluteString()), text);
    EXPECT_EQ(utf8(url(text)->absoluteURL()->absoluteString()), text);
  }
  EXPECT_EQ(utf8(url("http://a/b/../c/./d")->path()), "/b/../c/./d");
  const auto absolute = NSURL::URLWithString_relativeToURL("http://a/b/../c"_ns, url("http://h/"));
  EXPECT_EQ(utf8(absolute->absoluteString()), "http://a/b/../c") << "a text with a scheme takes no base";
}

TEST(NSURL, AnEmptyTextIsNoURL) {
  EXPECT_EQ(url(""), nil);
  EXPECT_EQ(NSURL::URLWithString_relativeToURL(""_ns, url("http://a/b")), nil);
}

TEST(NSURL, AnEmptyAuthorityHasNoHost) {
  for (const char* text : {"file:///x", "http:///", "ftp://", "x://?q"}) {
    ASSERT_TRUE(url(text)) << text;
    EXPECT_EQ(url(text)->host(), nil) << text;
    EXPECT_EQ(utf8(url(text)->absoluteString()), text);
  }
  EXPECT_EQ(NSURL::fileURLWithPath("/x"_ns)->host(), nil);
  EXPECT_EQ(url("ftp://:21/x")->host(), nil);
}

// RFC 2396 calls them opaque: what follows the scheme and its colon is no path.
TEST(NSURL, OpaqueURLsHaveNeitherPathNorQuery) {
  for (const char* text : {"mailto:a@b", "g:h", "mailto:a@b?subject=c", "data:,a/b.txt", "news:a?b/c", "x:", "x:?q"}) {
    const auto opaque = url(text);
    ASSERT_TRUE(opaque) << text;
    EXPECT_EQ(utf8(opaque->absoluteString()), text);
    EXPECT_EQ(opaque->path(), nil) << text;
    EXPECT_EQ(opaque->query(), nil) << text;
    EXPECT_EQ(opaque->host(), nil) << text;
    EXPECT_EQ(opaque->lastPathComponent(), nil) << text;
    EXPECT_EQ(opaque->pathExtension(), nil) << text;
    EXPECT_EQ(opaque->fileSystemRepresentation(), "") << text;
    EXPECT_FALSE(opaque->hasDirectoryPath()) << text;
    EXPECT_EQ(opaque->URLByAppendingPathComponent("c"_ns), nil) << text;
    EXPECT_EQ(opaque->URLByDeletingLastPathComponent(), nil) << text;
  }
  EXPECT_EQ(utf8(url("g:h")->scheme()), "g");
  EXPECT_EQ(utf8(url("mailto:a@b#c")->fragment()), "c");
  EXPECT_FALSE(url("x:a/")->hasDirectoryPath());
  EXPECT_EQ(utf8(url("x:/a?q")->path()), "/a");
  EXPECT_EQ(utf8(url("x:/a?q")->query()), "q");
  EXPECT_EQ(utf8(url("a/b?q")->path()), "a/b") << "a relative reference has no scheme to be opaque behind";
  EXPECT_EQ(NSURL::URLWithString_relativeToURL("c"_ns, url("mailto:a@b"))->path(), nil);
}

TEST(NSURL, KeepsTheTwoSlashesBehindTheHost) {
  EXPECT_EQ(utf8(url("ftp://h//a.txt")->path()), "//a.txt");
  EXPECT_EQ(utf8(url("ftp://h//site/docs/")->path()), "//site/docs");
  EXPECT_TRUE(url("ftp://h//site/docs/")->hasDirectoryPath());
  EXPECT_EQ(utf8(url("ftp://h/")->path()), "/");
  EXPECT_TRUE(url("ftp://h/")->hasDirectoryPath());
  EXPECT_EQ(utf8(url("ftp://h")->path()), "");
}

TEST(NSURL, MissingPartsAreNilAndEmptyOnesEmpty) {
  EXPECT_EQ(url("ftp://h/a")->user(), nil);
  EXPECT_EQ(url("ftp://h/a")->password(), nil);
  EXPECT_EQ(url("ftp://h/a")->port(), nil);
  EXPECT_EQ(url("ftp://h:/a")->port(), nil);
  EXPECT_EQ(url("ftp://h/a")->query(), nil);
  EXPECT_EQ(url("a/b")->scheme(), nil);
  EXPECT_EQ(url("a/b")->host(), nil);
  EXPECT_EQ(utf8(url("ftp://:@h/a?#")->user()), "");
  EXPECT_EQ(utf8(url("ftp://:@h/a?#")->password()), "");
  EXPECT_EQ(utf8(url("ftp://:@h/a?#")->query()), "");
  EXPECT_EQ(utf8(url("ftp://:@h/a?#")->fragment()), "");
}

TEST(NSURL, AcceptsAddressesInBrackets) {
  const auto local = url("ftp://[::1]:2121//x/");
  ASSERT_TRUE(local);
  EXPECT_EQ(utf8(local->host()), "::1");
  EXPECT_EQ(local->port()->integerValue(), 2121);
  EXPECT_EQ(utf8(local->path()), "//x");
  EXPECT_TRUE(local->hasDirectoryPath());
  EXPECT_EQ(utf8(url("ftp://u:p@[fe80::1%25eth0]/x")->host()), "fe80::1%eth0");
  EXPECT_EQ(utf8(url("ftp://[::ffff:127.0.0.1]/x")->host()), "::ffff:127.0.0.1");
  EXPECT_EQ(utf8(url("ftp://[v1.a:b]/x")->host()), "v1.a:b");
}

TEST(NSURL, AcceptsEveryCharacterOfTheGrammar) {
  EXPECT_TRUE(url("a+b-c.1:"));
  EXPECT_TRUE(url("http://-._~!$&'()*+,;=%00:1/-._~!$&'()*+,;=:@%ff?-._~!$&'()*+,;=:@/?%C3#-._~!$&'()*+,;=:@/?%a9"));
  EXPECT_TRUE(url("mailto:a@b"));
  EXPECT_TRUE(url("./a:b"));
  EXPECT_TRUE(url("/a:b"));
  EXPECT_TRUE(url("?a"));
  EXPECT_TRUE(url("#a"));
}

TEST(NSURL, RejectsCharactersThatAURLDoesNotAllow) {
  for (const char* character : {" ",  "\"",   "<",        ">",    "\\", "^", "`", "{",  "|",   "}",   "\t",
                                "\n", "\x7f", "\xc3\xa9", "\xff", "[",  "]", "%", "%4", "%4g", "%g4", "%%41"}) {
    const std::string text(character);
    EXPECT_EQ(url("ftp://h/a" + text), nil) << text;
    EXPECT_EQ(url("ftp://h/a" + text + "z/c"), nil) << text;
    EXPECT_EQ(url("ftp://h/a?" + text), nil) << text;
    EXPECT_EQ(url("ftp://h/a#" + text), nil) << text;
    EXPECT_EQ(url("ftp://h" + text + "/a"), nil) << text;
    EXPECT_EQ(url("ftp://u" + text + "@h/a"), nil) << text;
    EXPECT_EQ(url("ftp://u:p" + text + "@h/a"), nil) << text;
  }
  EXPECT_EQ(url("ftp://h/a#b#c"), nil);
  EXPECT_EQ(NSURL::URLWithString(NSString::stringWithUnits(std::u16string(1, u'\0'))), nil);
  EXPECT_EQ(NSURL::URLWithString(nil), nil);
}

TEST(NSURL, RejectsBrokenSchemesHostsAndPorts) {
  for (const char* text : {":",
                           "1a:b",
                           "a_b:c",
                           "é:",
                           "ftp://a@b@h/",
                           "ftp://h:port/",
                           "ftp://h:-1/",
                           "ftp://h:65536/",
                           "ftp://h:99999999999999999999/",
                           "ftp://::1/",
                           "ftp://[::1/",
                           "ftp://::1]/",
                           "ftp://[]/",
                           "ftp://[::1]x/",
                           "ftp://[1.2.3.4]/",
                           "ftp://[::g]/",
                           "ftp://[::1%25]/",
                           "ftp://[::1%eth0]/",
                           "ftp://[v.a]/",
                           "ftp://[v1.]/",
                           "ftp://[vg.a]/",
                           "ftp://[v1]/"}) {
    EXPECT_EQ(url(text), nil) << text;
  }
  const std::string withNUL = std::string("ftp://[::1") + '\0' + "x]/";
  EXPECT_EQ(NSURL::URLWithString(NSString::stringWithUTF8String(withNUL)), nil);
  EXPECT_EQ(url("ftp://h:65535/")->port()->integerValue(), 65535);
  EXPECT_EQ(url("ftp://h:00021/")->port()->integerValue(), 21);
}

TEST(NSURL, PathCarriesBytesThatAreNoUTF8) {
  EXPECT_EQ(url("ftp://h/%ff%C3%A9%00x")->fileSystemRepresentation(), std::string("/\xff\xc3\xa9\0x", 6));
  EXPECT_EQ(url("ftp://h/%ff")->path()->characterAtIndex(1), 0xDCFF);
  EXPECT_EQ(url("ftp://h/%ff")->path()->UTF8String(), "/\xff");
}

TEST(NSURL, DecodesEscapesOnce) { EXPECT_EQ(utf8(url("ftp://h/%2541")->path()), "/%41"); }

TEST(NSURL, MakesFileURLsOfAnyPath) {
  const std::string name = "/tmp/a b%41?#[é]\xff;x";
  const auto file = NSURL::fileURLWithPath(NSString::stringWithUTF8String(name));
  EXPECT_EQ(utf8(file->absoluteString()), "file:///tmp/a%20b%2541%3F%23%5B%C3%A9%5D%FF;x");
  EXPECT_EQ(file->fileSystemRepresentation(), name);
  EXPECT_EQ(utf8(file->path()), name);
  EXPECT_TRUE(file->isFileURL());
  EXPECT_TRUE(url("FILE:///x")->isFileURL());
  EXPECT_FALSE(url("ftp://h/x")->isFileURL());
  EXPECT_FALSE(url("x")->isFileURL());
  EXPECT_EQ(NSURL::fileURLWithPath(nil), nil);
  EXPECT_EQ(NSURL::fileURLWithPath(""_ns), nil);
}

TEST(NSURL, FileURLsOfFoldersEndInASlash) {
  EXPECT_EQ(utf8(NSURL::fileURLWithPath("/tmp"_ns)->absoluteString()), "file:///tmp/");
  EXPECT_EQ(utf8(NSURL::fileURLWithPath("/tmp/"_ns)->absoluteString()), "file:///tmp/");
  EXPECT_EQ(utf8(NSURL::fileURLWithPath("/tmp"_ns)->path()), "/tmp");
  EXPECT_EQ(utf8(NSURL::fileURLWithPath("/"_ns)->path()), "/");
  EXPECT_EQ(utf8(NSURL::fileURLWithPath("/no such item"_ns)->absoluteString()), "file:///no%20such%20item");
  EXPECT_EQ(utf8(NSURL::fileURLWithPath_isDirectory("/no such item"_ns, true)->absoluteString()),
            "file:///no%20such%20item/");
}

TEST(NSURL, RelativePathsStartAtTheCurrentFolder) {
  const std::string folder = std::filesystem::current_path();
  EXPECT_EQ(NSURL::fileURLWithPath("no such item"_ns)->fileSystemRepresentation(), folder + "/no such item");
}

TEST(NSURL, APathWithANULInsideIsNotTheFolderBeforeIt) {
  const auto path = NSString::stringWithUTF8String(std::string_view("/tmp\0x", 6));
  EXPECT_EQ(utf8(NSURL::fileURLWithPath(path)->absoluteString()), "file:///tmp%00x");
}

TEST(NSURL, ResolvesReferencesAsTheStandardsExamples) {
  EXPECT_EQ(resolved("g:h"), "g:h");
  EXPECT_EQ(resolved("g"), "http://a/b/c/g");
  EXPECT_EQ(resolved("./g"), "http://a/b/c/g");
  EXPECT_EQ(resolved("g/"), "http://a/b/c/g/");
  EXPECT_EQ(resolved("/g"), "http://a/g");
  EXPECT_EQ(resolved("//g"), "http://g");
  EXPECT_EQ(resolved("?y"), "http://a/b/c/d;p?y");
  EXPECT_EQ(resolved("g?y"), "http://a/b/c/g?y");
  EXPECT_EQ(resolved("#s"), "http://a/b/c/d;p?q#s");
  EXPECT_EQ(resolved("g?y#s"), "http://a/b/c/g?y#s");
  EXPECT_EQ(resolved(";x"), "http://a/b/c/;x");
  EXPECT_EQ(resolved("."), "http://a/b/c/");
  EXPECT_EQ(resolved(".."), "http://a/b/");
  EXPECT_EQ(resolved("../g"), "http://a/b/g");
  EXPECT_EQ(resolved("../../.."), "http://a/");
  EXPECT_EQ(resolved("../../../g"), "http://a/g");
  EXPECT_EQ(resolved("/./g"), "http://a/g");
  EXPECT_EQ(resolved("/../g"), "http://a/g");
  EXPECT_EQ(resolved("g."), "http://a/b/c/g.");
  EXPECT_EQ(resolved("..g"), "http://a/b/c/..g");
  EXPECT_EQ(resolved("./g/."), "http://a/b/c/g/");
  EXPECT_EQ(resolved("g;x=1/../y"), "http://a/b/c/y");
  EXPECT_EQ(resolved("g?y/../x"), "http://a/b/c/g?y/../x");
}

TEST(NSURL, RelativeURLKeepsItsTextAndItsBase) {
  const auto base = url("ftp://u:p@h:21/a/b");
  const auto relative = NSURL::URLWithString_relativeToURL("c?d"_ns, base);
  EXPECT_EQ(utf8(relative->relativeString()), "c?d");
  EXPECT_EQ(relative->baseURL(), base);
  EXPECT_EQ(utf8(relative->description()), "c?d -- ftp://u:p@h:21/a/b");
  EXPECT_EQ(utf8(relative->path()), "/a/c");
  EXPECT_EQ(utf8(relative->user()), "u");
  EXPECT_EQ(utf8(relative->absoluteURL()->absoluteString()), "ftp://u:p@h:21/a/c?d");
  EXPECT_EQ(relative->absoluteURL()->baseURL(), nil);
  EXPECT_EQ(base->absoluteURL(), base);
  EXPECT_EQ(NSURL::URLWithString_relativeToURL("x:y"_ns, base)->baseURL(), nil);
}

TEST(NSURL, AReferenceWithoutHostNeverGainsOne) {
  const auto relative = NSURL::URLWithString_relativeToURL("..//b"_ns, url("x:/a/"));
  EXPECT_EQ(utf8(relative->absoluteString()), "x:/.//b");
  EXPECT_EQ(relative->host(), nil);
}

TEST(NSURL, EqualityGoesByTextAndBase) {
  EXPECT_TRUE(url("ftp://h/a")->isEqual(url("ftp://h/a")));
  EXPECT_EQ(url("ftp://h/a")->hash(), url("ftp://h/a")->hash());
  EXPECT_FALSE(url("ftp://h/a")->isEqual(url("ftp://h/A")));
  EXPECT_FALSE(url("ftp://h/a")->isEqual("ftp://h/a"_ns));
  EXPECT_FALSE(url("ftp://h/a")->isEqual(nil));
  EXPECT_FALSE(url("a")->isEqual(NSURL::URLWithString_relativeToURL("a"_ns, url("ftp://h/"))));
  const auto one = url("a");
  EXPECT_EQ(one->copy(), one);
}

TEST(NSURL, AppendsAndRemovesPathComponents) {
  EXPECT_EQ(utf8(url("ftp://h/a?q")->URLByAppendingPathComponent("b c%"_ns)->absoluteString()), "ftp://h/a/b%20c%25?q");
  EXPECT_EQ(utf8(url("ftp://h/a/")->URLByAppendingPathComponent("/b/"_ns)->absoluteString()), "ftp://h/a/b/");
  EXPECT_EQ(utf8(url("ftp://h")->URLByAppendingPathComponent("b"_ns)->absoluteString()), "ftp://h/b");
  EXPECT_EQ(url("ftp://h")->URLByAppendingPathComponent(nil), nil);
  EXPECT_EQ(utf8(url("file:///a/b.txt")->URLByDeletingLastPathComponent()->absoluteString()), "file:///a/");
  EXPECT_EQ(utf8(url("file:///a/b/")->URLByDeletingLastPathComponent()->absoluteString()), "file:///a/");
  EXPECT_EQ(utf8(url("file:///")->URLByDeletingLastPathComponent()->absoluteString()), "file:///");
  EXPECT_EQ(utf8(url("file:///a%20b.t%78t")->lastPathComponent()), "a b.txt");
  EXPECT_EQ(utf8(url("file:///a%20b.t%78t")->pathExtension()), "txt");
}

TEST(NSURL, AppendingAndRemovingComponentsKeepsTheBase) {
  const auto base = url("ftp://h/a/b");
  const auto relative = NSURL::URLWithString_relativeToURL("c/d?q"_ns, base);
  const auto folder = relative->URLByDeletingLastPathComponent();
  EXPECT_EQ(folder->baseURL(), base);
  EXPECT_EQ(utf8(folder->relativeString()), "c/?q");
  EXPECT_EQ(utf8(folder->absoluteString()), "ftp://h/a/c/?q");
  const auto below = relative->URLByAppendingPathComponent("e f"_ns);
  EXPECT_EQ(below->baseURL(), base);
  EXPECT_EQ(utf8(below->relativeString()), "c/d/e%20f?q");
  EXPECT_EQ(utf8(below->absoluteString()), "ftp://h/a/c/d/e%20f?q");
  EXPECT_EQ(url("ftp://h/a/b")->URLByDeletingLastPathComponent()->baseURL(), nil);
}

// Whatever way a reference says where it leads to, its folder is the folder of that place.
TEST(NSURL, TheFolderOfAReferenceIsTheFolderOfWhatItMeans) {
  for (const char* start : {"ftp://h/a/b/c/d", "ftp://h/a/b/c/", "ftp://h/", "ftp://h//a/b", "x:/a/b"}) {
    for (const char* reference :
         {"e",   "e/",   "e/f", "e/f/", ".",     "./",      "..",   "../", "../e", "../..", "../../", "e/..",
          "e/.", "/e/f", "/",   "/..",  "/../e", "//i/j/k", "//i/", "#s",  "?q",   "e//f",  "./e"}) {
      const auto relative = NSURL::URLWithString_relativeToURL(NSString::stringWithUTF8String(reference), url(start));
      const auto direct = relative->absoluteURL()->URLByDeletingLastPathComponent();
      EXPECT_EQ(utf8(relative->URLByDeletingLastPathComponent()->path()), utf8(direct->path()))
          << start << " " << reference;
      EXPECT_EQ(utf8(relative->URLByAppendingPathComponent("x"_ns)->path()),
                utf8(relative->absoluteURL()->URLByAppendingPathComponent("x"_ns)->path()))
          << start << " " << reference;
    }
  }
  EXPECT_EQ(utf8(url("a")->URLByDeletingLastPathComponent()->relativeString()), "./");
  EXPECT_EQ(utf8(url("ftp://h")->URLByDeletingLastPathComponent()->absoluteString()), "ftp://h");
}

TEST(NSURL, AnswersItsPartsByName) {
  EXPECT_EQ(utf8(as<NSString>(url("ftp://h/a")->valueForKey("host"_ns))), "h");
  EXPECT_TRUE(url("ftp://h/a")->respondsToSelector("absoluteString"_sel));
}

}  // namespace
