#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "testing/TemporaryDirectory.h"
#include "tests/platform/foundation/coding/PropertyLists.h"

namespace {

TEST(XMLPropertyList, WritesTheUsualXMLForm) {
  const auto list = NSArray::arrayWithObject(NSDictionary::dictionary({
      {"b"_ns, NSDate::dateWithTimeIntervalSinceReferenceDate(0.75)},
      {"a"_ns, NSNumber::numberWithBool(true)},
      {"c"_ns, NSData::dataWithBytes("foo")},
  }));
  EXPECT_EQ(encoded(list, XML)->view(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n"
            "<array>\n"
            "\t<dict>\n"
            "\t\t<key>a</key>\n"
            "\t\t<true/>\n"
            "\t\t<key>b</key>\n"
            "\t\t<date>2001-01-01T00:00:00Z</date>\n"
            "\t\t<key>c</key>\n"
            "\t\t<data>\n"
            "\t\tZm9v\n"
            "\t\t</data>\n"
            "\t</dict>\n"
            "</array>\n"
            "</plist>\n");
}

TEST(XMLPropertyList, DatesInXMLKeepTheSecondThatTheyAreDescribedBy) {
  for (const double seconds : {0.0, 0.999999, -0.000001, 1700000000.75, -1e10 - 0.5, 4e9 + 0.5, 1e14}) {
    const auto date = NSDate::dateWithTimeIntervalSince1970(seconds);
    const auto back = as<NSDate>(again(date, XML));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->timeIntervalSince1970(), std::floor(seconds));
    EXPECT_TRUE(NSEqualObjects(back->description(), date->description()));
    EXPECT_TRUE(NSEqualObjects(again(date, binary), date)) << "in the binary format nothing is lost";
  }
}

TEST(XMLPropertyList, CharactersThatXMLCannotHoldAreReplaced) {
  const auto bytes = NSString::stringWithUTF8String("caf\xe9");
  const auto odd = textOf(u"a\u0001b\uFFFE\xD800z\xDC00\x7F\u0085");
  EXPECT_EQ(as<NSString>(again(bytes, XML))->UTF8String(), "caf\xEF\xBF\xBD");
  EXPECT_EQ(as<NSString>(again(odd, XML))->units(), u"a\uFFFDb\uFFFD\uFFFDz\uFFFD\x7F\u0085");
  for (const auto& text : {bytes, odd, textOf(std::u16string(u"\0", 1))}) {
    EXPECT_TRUE(NSEqualObjects(again(text, binary), text));
    EXPECT_TRUE(again(text, XML));
    EXPECT_TRUE(again(NSDictionary::dictionary({{text, text}}), XML));
  }
}

// Keys that differ in nothing but what XML cannot hold.
Ref<NSDictionary> keysThatXMLCannotTellApart() {
  return NSDictionary::dictionary(
      {{NSString::stringWithUTF8String("caf\xe9"), "1"_ns}, {NSString::stringWithUTF8String("caf\xe8"), "2"_ns}});
}

TEST(XMLPropertyList, KeysThatWouldBecomeOneAreRefusedInXML) {
  const auto same = keysThatXMLCannotTellApart();
  const auto replaced = NSDictionary::dictionary({{textOf(u"a\uFFFD"), "1"_ns}, {textOf(u"a\u0001"), "2"_ns}});
  for (const id& list : {id(same), id(replaced), id(NSArray::arrayWithObjects({"x"_ns, same}))}) {
    Ref<NSError> error;
    EXPECT_FALSE(NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, XML, 0, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), NSPropertyListWriteInvalidError);
    EXPECT_TRUE(NSEqualObjects(again(list, binary), list));
  }
  const auto different = NSDictionary::dictionary({{textOf(u"a\u0001"), textOf(u"\u0001")},
                                                   {textOf(u"b\u0001"), textOf(u"\u0002")},
                                                   {"a"_ns, keysThatXMLCannotTellApart()->allKeys()}});
  EXPECT_EQ(as<NSDictionary>(again(different, XML))->count(), 3U) << "what is written of these differs";
}

TEST(XMLPropertyList, FilesWhoseKeysXMLCannotTellApartAreBinary) {
  const TemporaryDirectory folder;
  const auto list = keysThatXMLCannotTellApart();
  for (const bool atomically : {false, true}) {
    EXPECT_TRUE(list->writeToFile_atomically(folder.text("file"), atomically));
    EXPECT_TRUE(folder.read("file").starts_with("bplist00"));
    EXPECT_TRUE(NSEqualObjects(NSDictionary::dictionaryWithContentsOfFile(folder.text("file")), list));
  }
}

TEST(XMLPropertyList, ReadsXMLThatOthersWrite) {
  EXPECT_TRUE(NSEqualObjects(decodedText("<string>bare</string>"), "bare"_ns));
  EXPECT_TRUE(NSEqualObjects(decodedText("\xEF\xBB\xBF<plist><string>mark</string></plist>\n<!-- end -->"), "mark"_ns));
  EXPECT_TRUE(NSEqualObjects(decodedText("<?xml version='1.0'?><!-- <plist> --><!DOCTYPE plist [<!ENTITY a \"b>\">]>"
                                         "<plist version = '1>0' ><string a='>'>x</string ></plist >"),
                             "x"_ns));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<string>a&#x41;&#66;&#x1F600;&quot;&apos;<!-- no -->b"
                                            "<![CDATA[<&amp;>]]>c</string>"),
                             "aAB\xF0\x9F\x98\x80\"'b<&amp;>c"_ns));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<string>a\r\nb\rc</string>"), "a\nb\nc"_ns));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<string/>"), ""_ns));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<integer> 0x1F </integer>"), NSNumber::numberWithInteger(31)));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<integer>+5</integer>"), NSNumber::numberWithInteger(5)));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<real>1e400</real>"),
                             NSNumber::numberWithDouble(std::numeric_limits<double>::infinity())));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<real>+2.5</real>"), NSNumber::numberWithDouble(2.5)));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<true></true>"), NSNumber::numberWithBool(true)));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<dict><key>a</key><array/><key>a</key><dict/></dict>"),
                             NSDictionary::dictionary({{"a"_ns, NSDictionary::dictionary()}})));
  EXPECT_TRUE(NSEqualObjects(decodedElement("<data>\n\tZm9v\n\t</data>"), NSData::dataWithBytes("foo")));
  EXPECT_TRUE(std::isnan(as<NSNumber>(decodedElement("<real>nan</real>"))->doubleValue()));
}

std::string littleEndian(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) bytes += {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
  return bytes;
}

std::string bigEndian(std::u16string_view text) {
  std::string bytes;
  for (const char16_t unit : text) bytes += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
  return bytes;
}

TEST(XMLPropertyList, ReadsUTF16WithAByteOrderMark) {
  const std::u16string text = u"<plist><string>\u00e9\U0001F600</string></plist>";
  const std::string little = "\xFF\xFE" + littleEndian(text);
  const std::string big = "\xFE\xFF" + bigEndian(text);
  EXPECT_TRUE(NSEqualObjects(decodedText(little), textOf(u"\u00e9\U0001F600")));
  EXPECT_TRUE(NSEqualObjects(decodedText(big), textOf(u"\u00e9\U0001F600")));
  EXPECT_FALSE(decodedText(little + "x"));
}

// A document that declares that encoding.
std::string declared(const std::string& declaration, const std::string& text) {
  return "<?xml " + declaration + "?>\n<plist version=\"1.0\"><string>" + text + "</string></plist>";
}

TEST(XMLPropertyList, ReadsTheEncodingThatTheDocumentDeclares) {
  for (const char* declaration :
       {"version=\"1.0\" encoding=\"ISO-8859-1\"", "version='1.0' encoding='iso-8859-1' standalone='no'",
        "version = \"1.0\"\n encoding = 'ISO-8859-1'", "version=\"1.0\" encoding=\"latin1\""}) {
    EXPECT_TRUE(NSEqualObjects(decodedText(declared(declaration, "caf\xe9 \x80")), textOf(u"caf\u00e9 \u0080")))
        << declaration;
  }
  const auto inEncoding = [](const std::string& name, const std::string& text) {
    const auto read = as<NSString>(decodedText(declared("version=\"1.0\" encoding=\"" + name + "\"", text)));
    return read ? read->UTF8String() : "(nil)";
  };
  EXPECT_EQ(inEncoding("windows-1252", "\x80"), "\u20ac");
  EXPECT_EQ(inEncoding("KOI8-R", "\xf0"), "\u041f");
  EXPECT_EQ(inEncoding("Shift_JIS", "\x82\xa0"), "\u3042");
  EXPECT_EQ(inEncoding("UTF-8", "\xe2\x82\xac"), "\u20ac");
  EXPECT_EQ(inEncoding("utf-8", "\xe2\x82\xac"), "\u20ac");
  EXPECT_EQ(inEncoding("US-ASCII", "plain"), "plain");
  EXPECT_EQ(inEncoding("x-no-such-encoding", "plain"), "(nil)");
  EXPECT_EQ(inEncoding("", "plain"), "(nil)");
  EXPECT_EQ(inEncoding("UTF-8", "caf\xe9"), "(nil)") << "not what it declares";
  EXPECT_EQ(inEncoding("US-ASCII", "caf\xe9"), "(nil)");
  EXPECT_EQ(inEncoding("Shift_JIS", "\x82"), "(nil)") << "half a character";
  EXPECT_EQ(inEncoding("UTF-16", "plain"), "(nil)") << "the bytes are none";
  EXPECT_EQ(as<NSString>(decodedText(declared("version='1.0'", "\xc3\xa9")))->UTF8String(), "\u00e9") << "UTF-8";
  EXPECT_FALSE(decodedText("<?xml version='1.0' encoding='ISO-8859-1'"));
  EXPECT_FALSE(decodedText("<?xml version='1.0' encoding='ISO-8859-1?><string>a</string>"));
}

TEST(XMLPropertyList, ADeclarationCountsAtTheVeryBeginningOnly) {
  const std::string list = "<plist><string>\xc3\xa9</string></plist>";
  EXPECT_TRUE(NSEqualObjects(decodedText(list + "<?xml encoding='ISO-8859-1'?>"), textOf(u"\u00e9")));
  EXPECT_TRUE(NSEqualObjects(decodedText("<?xml-stylesheet encoding='ISO-8859-1'?>" + list), textOf(u"\u00e9")));
  EXPECT_TRUE(
      NSEqualObjects(decodedText("\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?>" + list), textOf(u"\u00e9")))
      << "the mark is stronger";
}

TEST(XMLPropertyList, ReadsUTF16WithoutAByteOrderMarkByItsFirstCharacter) {
  for (const std::u16string name : {u"UTF-16", u"UTF-16LE", u"UTF-16BE"}) {
    const std::u16string text =
        u"<?xml version=\"1.0\" encoding=\"" + name + u"\"?><plist><string>\u00e9\U0001F600</string></plist>";
    EXPECT_TRUE(NSEqualObjects(decodedText(littleEndian(text)), textOf(u"\u00e9\U0001F600")));
    EXPECT_TRUE(NSEqualObjects(decodedText(bigEndian(text)), textOf(u"\u00e9\U0001F600")));
    EXPECT_TRUE(NSEqualObjects(decodedText("\xFF\xFE" + littleEndian(text)), textOf(u"\u00e9\U0001F600")));
    EXPECT_TRUE(NSEqualObjects(decodedText("\xFE\xFF" + bigEndian(text)), textOf(u"\u00e9\U0001F600")));
  }
  EXPECT_FALSE(decodedText(littleEndian(u"<string>a\xD800</string>"))) << "half a pair";
  EXPECT_FALSE(decodedText("\xFF\xFE" + littleEndian(u"<string>a\xDCC3\xDCA9</string>"))) << "no bytes of UTF-8";
}

TEST(XMLPropertyList, FilesInOtherEncodingsAreRead) {
  const TemporaryDirectory folder;
  const std::u16string text = u"<?xml version='1.0' encoding='UTF-16'?><array><string>\u00e9</string></array>";
  folder.write("big", bigEndian(text));
  folder.write("little", littleEndian(text));
  folder.write("latin", "<?xml version='1.0' encoding='ISO-8859-1'?><array><string>\xe9</string></array>");
  for (const char* name : {"big", "little", "latin"}) {
    EXPECT_TRUE(NSEqualObjects(NSArray::arrayWithContentsOfFile(folder.text(name)),
                               NSArray::arrayWithObject(textOf(u"\u00e9"))))
        << name;
  }
}

TEST(XMLPropertyList, CharactersByNumberAreReadToTheLimits) {
  const auto character = [](const std::string& number) {
    const auto text = as<NSString>(decodedElement("<string>&" + number + ";</string>"));
    return text ? text->UTF8String() : "(nil)";
  };
  EXPECT_EQ(character("#65"), "A");
  EXPECT_EQ(character("#x41"), "A");
  EXPECT_EQ(character("#x4a"), "J");
  EXPECT_EQ(character("#x4A"), "J");
  EXPECT_EQ(character("#0000065"), "A");
  EXPECT_EQ(character("#xD7FF"), "\xED\x9F\xBF");
  EXPECT_EQ(character("#xD800"), "(nil)");
  EXPECT_EQ(character("#xDFFF"), "(nil)");
  EXPECT_EQ(character("#xE000"), "\xEE\x80\x80");
  EXPECT_EQ(character("#xFFFF"), "\xEF\xBF\xBF");
  EXPECT_EQ(character("#x10000"), "\xF0\x90\x80\x80");
  EXPECT_EQ(character("#65536"), "\xF0\x90\x80\x80");
  EXPECT_EQ(character("#x1F600"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(character("#x10FFFF"), "\xF4\x8F\xBF\xBF");
  EXPECT_EQ(character("#1114111"), "\xF4\x8F\xBF\xBF");
  for (const char* number : {"#x110000", "#1114112", "#4294967361", "#x100000041", "#", "#x", "#xG", "#6A", "#-65",
                             "#+65", "# 65", "#65 ", "#X41", "#x-41", "65", "x41"}) {
    EXPECT_EQ(character(number), "(nil)") << number;
  }
}

// No property list comes of the text, and an error tells of it.
void expectRefused(const char* text) {
  Ref<NSError> error;
  EXPECT_FALSE(NSPropertyListSerialization::propertyListWithData_options_format_error(NSData::dataWithBytes(text), 0,
                                                                                      nullptr, &error))
      << text;
  ASSERT_TRUE(error) << text;
  EXPECT_TRUE(NSEqualObjects(error->domain(), NSCocoaErrorDomain()));
  EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
}

TEST(XMLPropertyList, RefusesElementsOutOfPlaceWithAnError) {
  for (const char* text : {
           "",
           " ",
           "<",
           "<plist",
           "<plist>",
           "<plist></plist>",
           "<plist/>",
           "<plist><string>a</string>",
           "<plist><string>a</plist>",
           "<plist><string>a</key></plist>",
           "<plist><string>a",
           "text",
           "<plist><string>a</string><string>b</string></plist>",
           "<plist><string>a</string></plist>x",
           "<plist><array><string>a</string></plist>",
           "<plist><array>text</array></plist>",
           "<plist><unknown/></plist>",
           "<plist><dict><string>a</string></dict></plist>",
           "<plist><dict><key>a</key></dict></plist>",
           "<plist><dict><key>a</key><key>b</key></dict></plist>",
           "<plist><!-- <string>a</string></plist>",
           "<plist><string><![CDATA[a</string></plist>",
           "<!DOCTYPE plist [",
           "<plist a='><string>a</string></plist>",
           "</plist>",
           "<plist></string></plist>",
           "\xFF\xFE",
           "\xEF\xBB\xBF",
       }) {
    expectRefused(text);
  }
  EXPECT_FALSE(decoded(nil));
}

TEST(XMLPropertyList, RefusesValuesThatCannotBeReadWithAnError) {
  for (const char* text : {
           "<plist><integer></integer></plist>",
           "<plist><integer>1x</integer></plist>",
           "<plist><integer>0x</integer></plist>",
           "<plist><integer>--1</integer></plist>",
           "<plist><integer>18446744073709551616</integer></plist>",
           "<plist><integer>-9223372036854775809</integer></plist>",
           "<plist><real>1.5x</real></plist>",
           "<plist><real></real></plist>",
           "<plist><real>+-1</real></plist>",
           "<plist><date>2001-02-30T00:00:00Z</date></plist>",
           "<plist><date>--2001-02-03T00:00:00Z</date></plist>",
           "<plist><date>2001-02-03T00:00:00</date></plist>",
           "<plist><date>2001-02-03T00:00:00Zx</date></plist>",
           "<plist><date>99999999999999999999-01-01T00:00:00Z</date></plist>",
           "<plist><date>9999999999999999999-01-01T00:00:00Z</date></plist>",
           "<plist><date/></plist>",
           "<plist><data>Zg</data></plist>",
           "<plist><true>x</true></plist>",
           "<plist><string>&unknown;</string></plist>",
           "<plist><string>&amp</string></plist>",
           "<plist><string>&#xD800;</string></plist>",
           "<plist><string>&#x110000;</string></plist>",
           "<plist><string>&#;</string></plist>",
           "<plist><string>caf\xe9</string></plist>",
       }) {
    expectRefused(text);
  }
}

}  // namespace
