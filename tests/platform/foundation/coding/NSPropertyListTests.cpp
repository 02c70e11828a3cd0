#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/coding/NSPropertyListUID.h"
#include "testing/TemporaryDirectory.h"

namespace {

constexpr NSPropertyListFormat XML = NSPropertyListXMLFormat_v1_0;
constexpr NSPropertyListFormat binary = NSPropertyListBinaryFormat_v1_0;

Ref<NSData> encoded(const id& list, NSPropertyListFormat format) {
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, format, 0, nullptr);
}

id decoded(const Ref<NSData>& data, NSUInteger options = NSPropertyListImmutable) {
  return NSPropertyListSerialization::propertyListWithData_options_format_error(data, options, nullptr, nullptr);
}

id decodedText(const std::string& text) { return decoded(NSData::dataWithBytes(text)); }

id decodedElement(const std::string& element) { return decodedText("<plist version=\"1.0\">" + element + "</plist>"); }

id again(const id& list, NSPropertyListFormat format) { return decoded(encoded(list, format)); }

Ref<NSString> textOf(std::u16string units) { return NSString::stringWithUnits(std::move(units)); }

Ref<NSDictionary> everyType() {
  const auto number = [](auto value) { return NSNumber::numberWithInteger(value); };
  std::string allBytes;
  for (int i = 0; i < 256; ++i) allBytes.push_back(static_cast<char>(i));
  return NSDictionary::dictionary({
      {"text"_ns, "a < b & c > d \"e\" 'f' \t \n é 漢 \xF0\x9F\x98\x80"_ns},
      {"carriage return"_ns, "a\r\nb\rc"_ns},
      {"spaces"_ns, "  a  "_ns},
      {""_ns, ""_ns},
      {"long text"_ns, NSString::stringWithUTF8String(std::string(70000, 'x'))},
      {"true"_ns, NSNumber::numberWithBool(true)},
      {"false"_ns, NSNumber::numberWithBool(false)},
      {"zero"_ns, number(0)},
      {"one"_ns, number(1)},
      {"minus"_ns, number(-1)},
      {"255"_ns, number(255)},
      {"65536"_ns, number(65536)},
      {"lowest"_ns, number(std::numeric_limits<NSInteger>::min())},
      {"highest"_ns, number(NSIntegerMax)},
      {"unsigned"_ns, NSNumber::numberWithUnsignedInteger(NSUIntegerMax)},
      {"real"_ns, NSNumber::numberWithDouble(0.1)},
      {"tiny"_ns, NSNumber::numberWithDouble(std::numeric_limits<double>::denorm_min())},
      {"infinite"_ns, NSNumber::numberWithDouble(-std::numeric_limits<double>::infinity())},
      {"date"_ns, NSDate::dateWithTimeIntervalSinceReferenceDate(-12345678901.0)},
      {"data"_ns, NSData::dataWithBytes(allBytes)},
      {"no data"_ns, NSData::data()},
      {"array"_ns, NSArray::arrayWithObjects({"a"_ns, NSArray::array(), NSDictionary::dictionary()})},
      {"uid"_ns, NSPropertyListUID::uidWithValue(70000)},
  });
}

TEST(NSPropertyList, EveryTypeComesBackEqualAndOfItsKind) {
  for (const auto format : {XML, binary}) {
    const auto list = everyType();
    const auto back = as<NSDictionary>(again(list, format));
    ASSERT_TRUE(back);
    for (const auto& [key, value] : *list) {
      const id read = back->objectForKey(key);
      ASSERT_TRUE(read) << key->description()->UTF8String();
      EXPECT_TRUE(NSEqualObjects(read, value))
          << key->description()->UTF8String() << " " << read->description()->UTF8String();
      EXPECT_EQ(read->isa(), value->isa());
    }
    EXPECT_EQ(back->count(), list->count());
    EXPECT_TRUE(as<NSNumber>(back->objectForKey("true"_ns))->isBool());
    EXPECT_FALSE(as<NSNumber>(back->objectForKey("one"_ns))->isBool());
    EXPECT_TRUE(as<NSNumber>(back->objectForKey("real"_ns))->isReal());
    EXPECT_FALSE(as<NSNumber>(back->objectForKey("zero"_ns))->isReal());
  }
}

TEST(NSPropertyList, EveryTypeCanBeTheRoot) {
  for (const auto format : {XML, binary}) {
    const auto list = everyType();
    for (const auto& [key, value] : *list) EXPECT_TRUE(NSEqualObjects(again(value, format), value));
  }
}

TEST(NSPropertyList, TellsTheFormatOnSuccess) {
  auto format = XML;
  NSPropertyListSerialization::propertyListWithData_options_format_error(encoded("x"_ns, binary), 0, &format, nullptr);
  EXPECT_EQ(format, binary);
  NSPropertyListSerialization::propertyListWithData_options_format_error(encoded("x"_ns, XML), 0, &format, nullptr);
  EXPECT_EQ(format, XML);
}

TEST(NSPropertyList, WritesTheUsualXMLForm) {
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

TEST(NSPropertyList, EqualListsGiveEqualBytes) {
  const auto one = NSDictionary::dictionary({{"a"_ns, "1"_ns}, {"b"_ns, "2"_ns}});
  const auto other = NSDictionary::dictionary({{"b"_ns, "2"_ns}, {"a"_ns, "1"_ns}});
  for (const auto format : {XML, binary}) EXPECT_TRUE(NSEqualObjects(encoded(one, format), encoded(other, format)));
}

TEST(NSPropertyList, DatesInXMLKeepTheSecondThatTheyAreDescribedBy) {
  for (const double seconds : {0.0, 0.999999, -0.000001, 1700000000.75, -1e10 - 0.5, 4e9 + 0.5, 1e14}) {
    const auto date = NSDate::dateWithTimeIntervalSince1970(seconds);
    const auto back = as<NSDate>(again(date, XML));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->timeIntervalSince1970(), std::floor(seconds));
    EXPECT_TRUE(NSEqualObjects(back->description(), date->description()));
    EXPECT_TRUE(NSEqualObjects(again(date, binary), date)) << "in the binary format nothing is lost";
  }
}

TEST(NSPropertyList, CharactersThatXMLCannotHoldAreReplaced) {
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

TEST(NSPropertyList, KeysThatWouldBecomeOneAreRefusedInXML) {
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

TEST(NSPropertyList, FilesWhoseKeysXMLCannotTellApartAreBinary) {
  const TemporaryDirectory folder;
  const auto list = keysThatXMLCannotTellApart();
  for (const bool atomically : {false, true}) {
    EXPECT_TRUE(list->writeToFile_atomically(folder.text("file"), atomically));
    EXPECT_TRUE(folder.read("file").starts_with("bplist00"));
    EXPECT_TRUE(NSEqualObjects(NSDictionary::dictionaryWithContentsOfFile(folder.text("file")), list));
  }
}

TEST(NSPropertyList, ReadsXMLThatOthersWrite) {
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

TEST(NSPropertyList, ReadsUTF16WithAByteOrderMark) {
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

TEST(NSPropertyList, ReadsTheEncodingThatTheDocumentDeclares) {
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

TEST(NSPropertyList, ADeclarationCountsAtTheVeryBeginningOnly) {
  const std::string list = "<plist><string>\xc3\xa9</string></plist>";
  EXPECT_TRUE(NSEqualObjects(decodedText(list + "<?xml encoding='ISO-8859-1'?>"), textOf(u"\u00e9")));
  EXPECT_TRUE(NSEqualObjects(decodedText("<?xml-stylesheet encoding='ISO-8859-1'?>" + list), textOf(u"\u00e9")));
  EXPECT_TRUE(
      NSEqualObjects(decodedText("\xEF\xBB\xBF<?xml version='1.0' encoding='ISO-8859-1'?>" + list), textOf(u"\u00e9")))
      << "the mark is stronger";
}

TEST(NSPropertyList, ReadsUTF16WithoutAByteOrderMarkByItsFirstCharacter) {
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

TEST(NSPropertyList, FilesInOtherEncodingsAreRead) {
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

TEST(NSPropertyList, CharactersByNumberAreReadToTheLimits) {
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

TEST(NSPropertyList, RefusesBrokenXMLWithAnError) {
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
           "<plist><!-- <string>a</string></plist>",
           "<plist><string><![CDATA[a</string></plist>",
           "<!DOCTYPE plist [",
           "<plist a='><string>a</string></plist>",
           "</plist>",
           "<plist></string></plist>",
           "\xFF\xFE",
           "\xEF\xBB\xBF",
       }) {
    Ref<NSError> error;
    EXPECT_FALSE(NSPropertyListSerialization::propertyListWithData_options_format_error(NSData::dataWithBytes(text), 0,
                                                                                        nullptr, &error))
        << text;
    ASSERT_TRUE(error) << text;
    EXPECT_TRUE(NSEqualObjects(error->domain(), NSCocoaErrorDomain()));
    EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
  }
  EXPECT_FALSE(decoded(nil));
}

TEST(NSPropertyList, EveryTruncationAndEveryFlippedByteIsSurvived) {
  for (const auto format : {XML, binary}) {
    const auto small = as<NSMutableDictionary>(everyType()->mutableCopy());
    small->removeObjectForKey("long text"_ns);
    const std::string whole(encoded(small, format)->view());
    for (std::size_t length = 0; length < whole.size() - 1; ++length) {
      EXPECT_FALSE(decodedText(whole.substr(0, length))) << length;
    }
    std::minstd_rand random(1);
    for (std::size_t at = 0; at < whole.size(); ++at) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ static_cast<char>(1 + random() % 255));
      const id list = decodedText(damaged);
      // Whatever it still is, it can be written and read once more.
      EXPECT_TRUE(!list || again(list, binary));
    }
  }
}

TEST(NSPropertyList, RandomBytesAreSurvived) {
  std::minstd_rand random(2);
  const std::string list(encoded(everyType(), binary)->view());
  for (int run = 0; run < 2000; ++run) {
    std::string bytes = "bplist00";
    for (std::size_t i = 0, size = random() % 200; i < size; ++i) bytes.push_back(static_cast<char>(random() % 256));
    // Half of them with a trailer that leads somewhere.
    if (run % 2) bytes += list.substr(list.size() - 32, 16) + std::string(15, '\0') + static_cast<char>(random() % 64);
    decodedText(bytes);
  }
}

std::string nestedXML(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "<array>";
  for (std::size_t i = 0; i < depth; ++i) text += "</array>";
  return text;
}

TEST(NSPropertyList, NestingIsLimitedOnBothSides) {
  EXPECT_TRUE(decodedElement(nestedXML(512)));
  EXPECT_FALSE(decodedElement(nestedXML(513)));
  EXPECT_FALSE(decodedElement(nestedXML(1'000'000)));
  std::string dictionaries;
  for (int i = 0; i < 1'000'000; ++i) dictionaries += "<dict><key>a</key>";
  EXPECT_FALSE(decodedElement(dictionaries));
  id list = NSArray::array();
  for (int depth = 1; depth < 512; ++depth) list = NSArray::arrayWithObject(list);
  for (const auto format : {XML, binary}) {
    EXPECT_TRUE(again(list, format));
    EXPECT_FALSE(encoded(NSArray::arrayWithObject(list), format));
  }
}

TEST(NSPropertyList, AContainerThatHoldsItselfCannotBeWritten) {
  const auto array = NSMutableArray::array();
  array->addObject(array);
  const auto dictionary = NSMutableDictionary::dictionary();
  dictionary->setObject_forKey(dictionary, "a"_ns);
  for (const auto format : {XML, binary}) {
    EXPECT_FALSE(encoded(array, format));
    EXPECT_FALSE(encoded(dictionary, format));
  }
  array->removeAllObjects();
  dictionary->removeAllObjects();
}

TEST(NSPropertyList, ObjectsOfOtherTypesAreRefusedWithAnError) {
  const auto keyed = NSDictionary::dictionary({{NSNumber::numberWithInteger(1), "a"_ns}});
  const auto notADate = NSDate::dateWithTimeIntervalSinceReferenceDate(std::nan(""));
  for (const auto format : {XML, binary}) {
    for (const id& list : {id(), id(NSNull::null()), id(make<NSObject>()), id(keyed), id(notADate),
                           id(NSArray::arrayWithObject(NSNull::null()))}) {
      Ref<NSError> error;
      EXPECT_FALSE(NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, format, 0, &error));
      ASSERT_TRUE(error);
      EXPECT_EQ(error->code(), NSPropertyListWriteInvalidError);
      EXPECT_FALSE(NSPropertyListSerialization::propertyList_isValidForFormat(list, format));
    }
    EXPECT_TRUE(NSPropertyListSerialization::propertyList_isValidForFormat(everyType(), format));
  }
}

// A binary property list of objects that are all in place, one byte each for references and offsets.
std::string binaryOf(const std::vector<std::string>& objects, char root) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table.push_back(static_cast<char>(bytes.size()));
    bytes += object;
  }
  const char tableOffset = static_cast<char>(bytes.size());
  const auto eight = [](char low) { return std::string(7, '\0') + low; };
  return bytes + table + std::string(6, '\0') + "\x01\x01" + eight(static_cast<char>(objects.size())) + eight(root) +
         eight(tableOffset);
}

TEST(NSPropertyList, ReadsBinaryObjectsOfEverySize) {
  EXPECT_TRUE(
      NSEqualObjects(decodedText(binaryOf({std::string("\x22\x3f\xc0\0\0", 5)}, 0)), NSNumber::numberWithDouble(1.5)));
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({"\x10\xff"}, 0)), NSNumber::numberWithInteger(255)));
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({"\x13\xff\xff\xff\xff\xff\xff\xff\xff"}, 0)),
                             NSNumber::numberWithInteger(-1)));
  EXPECT_TRUE(
      NSEqualObjects(decodedText(binaryOf({std::string("\x81\x01\0", 3)}, 0)), NSPropertyListUID::uidWithValue(256)));
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({std::string("\x52\xe9z", 3)}, 0)), textOf(u"\u00e9z")));
  const auto shared = NSArray::arrayWithObjects({"a"_ns, "a"_ns});
  EXPECT_TRUE(NSEqualObjects(decodedText(binaryOf({std::string("\xa2\x01\x01", 3),
                                                   "\x51"
                                                   "a"},
                                                  0)),
                             shared));
}

TEST(NSPropertyList, RefusesBinaryObjectsThatCannotBe) {
  EXPECT_FALSE(decodedText(binaryOf({std::string(1, '\0')}, 0))) << "null";
  EXPECT_FALSE(decodedText(binaryOf({"\x09"}, 1))) << "a root that is not there";
  EXPECT_FALSE(decodedText(binaryOf({"\x4f\x13\x7f\xff\xff\xff\xff\xff\xff\xff"}, 0))) << "data beyond the end";
  EXPECT_FALSE(decodedText(binaryOf({"\x6f\x13\xff\xff\xff\xff\xff\xff\xff\xff"}, 0))) << "text beyond the end";
  EXPECT_FALSE(decodedText(binaryOf({"\xaf\x13\xff\xff\xff\xff\xff\xff\xff\xff"}, 0))) << "array beyond the end";
  EXPECT_FALSE(decodedText(binaryOf({"\xa1\x05"}, 0))) << "an object that is not there";
  EXPECT_FALSE(decodedText(binaryOf({std::string("\xa1\0", 2)}, 0))) << "an array that holds itself";
  EXPECT_FALSE(decodedText(binaryOf({std::string("\xd1\0\0", 3)}, 0))) << "a dictionary that is its own key";
  EXPECT_FALSE(decodedText(binaryOf({"\xd1\x01\x01", "\x09"}, 0))) << "a key that is no text";
  EXPECT_FALSE(decodedText(binaryOf({"\x33\x7f\xf8\x01\x01\x01\x01\x01\x01"}, 0))) << "a date that is not a number";
  EXPECT_FALSE(decodedText(binaryOf({"\x15" + std::string(32, '\x01')}, 0))) << "a huge integer";
  EXPECT_FALSE(decodedText(binaryOf({"\x14" + std::string(16, '\x01')}, 0))) << "a large integer";
}

TEST(NSPropertyList, AFileThatUnfoldsWithoutEndIsRefused) {
  // Each array holds the next one sixteen times: 16^20 objects in a few hundred bytes.
  std::vector<std::string> objects;
  for (char level = 1; level <= 13; ++level) objects.push_back("\xaf\x10\x10" + std::string(16, level));
  objects.emplace_back("\x09");
  EXPECT_FALSE(decodedText(binaryOf(objects, 0)));
}

TEST(NSPropertyList, AFileMayBeAskedToUnfoldInProportionOnly) {
  constexpr auto inProportion = foundation::PropertyListUnfolding::InProportion;
  const TemporaryDirectory folder;
  const auto unfolded = [&](const id& list, NSPropertyListFormat format) {
    encoded(list, format)->writeToFile_atomically(folder.text("list"), false);
    EXPECT_TRUE(NSEqualObjects(foundation::propertyListWithContentsOfFile(folder.text("list")), list));
    return foundation::propertyListWithContentsOfFile(folder.text("list"), nullptr, inProportion) != nil;
  };
  // A file of 100 kB whose description would have 500 MB.
  const auto references = NSMutableArray::array();
  const auto text = NSString::stringWithUnits(std::u16string(50'000, u'x'));
  for (int i = 0; i < 10'000; ++i) references->addObject(text);
  EXPECT_FALSE(unfolded(references, binary));
  EXPECT_TRUE(unfolded(NSArray::arrayWithObjects({text, text, text}), binary));
  const auto data = NSMutableArray::array();
  for (int i = 0; i < 10'000; ++i) data->addObject(NSData::dataWithBytes(std::string(50'000, 'x')));
  EXPECT_FALSE(unfolded(data, binary));
  // Each line would be indented by 2,000 spaces.
  const auto numbers = NSMutableArray::array();
  for (int i = 0; i < 10'000; ++i) numbers->addObject(NSNumber::numberWithBool(true));
  Ref<NSArray> deep = numbers;
  for (int depth = 1; depth < 500; ++depth) deep = NSArray::arrayWithObject(deep);
  EXPECT_FALSE(unfolded(deep, binary));
  EXPECT_TRUE(unfolded(deep, XML)) << "the file itself is indented";
  std::string flat = "<array>";
  for (int depth = 1; depth < 500; ++depth) flat += "<array>";
  for (int i = 0; i < 10'000; ++i) flat += "<true/>";
  for (int depth = 0; depth < 500; ++depth) flat += "</array>";
  folder.write("flat", flat);
  EXPECT_TRUE(foundation::propertyListWithContentsOfFile(folder.text("flat")));
  EXPECT_FALSE(foundation::propertyListWithContentsOfFile(folder.text("flat"), nullptr, inProportion));
}

TEST(NSPropertyList, TheShortestRecordsUnfoldInProportion) {
  const TemporaryDirectory folder;
  const auto records = NSMutableArray::array();
  const auto date = NSDate::dateWithTimeIntervalSince1970(1);
  for (int i = 0; i < 100'000; ++i) {
    const auto path = NSString::stringWithFormat("/%x"_ns, i);
    records->addObject(NSDictionary::dictionary({{"LocalPath"_ns, path},
                                                 {"RemoteDirectory"_ns, "/"_ns},
                                                 {"IsDirectory"_ns, NSNumber::numberWithBool(false)},
                                                 {"ModificationDate"_ns, date}}));
  }
  for (const auto format : {XML, binary}) {
    encoded(records, format)->writeToFile_atomically(folder.text("list"), false);
    const id read = foundation::propertyListWithContentsOfFile(folder.text("list"), nullptr,
                                                               foundation::PropertyListUnfolding::InProportion);
    EXPECT_TRUE(NSEqualObjects(read, records));
  }
}

TEST(NSPropertyList, MutabilityIsAsAskedFor) {
  const auto list = NSArray::arrayWithObjects(
      {NSDictionary::dictionary({{"a"_ns, "b"_ns}}), NSData::dataWithBytes("x"), "b"_ns, "b"_ns});
  for (const auto format : {XML, binary}) {
    const auto immutable = as<NSArray>(decoded(encoded(list, format), NSPropertyListImmutable));
    EXPECT_FALSE(as<NSMutableArray>(immutable));
    EXPECT_FALSE(as<NSMutableDictionary>(immutable->objectAtIndex(0)));
    const auto containers = as<NSMutableArray>(decoded(encoded(list, format), NSPropertyListMutableContainers));
    ASSERT_TRUE(containers);
    EXPECT_TRUE(as<NSMutableDictionary>(containers->objectAtIndex(0)));
    EXPECT_FALSE(as<NSMutableString>(containers->objectAtIndex(2)));
    const auto leaves = as<NSMutableArray>(decoded(encoded(list, format), NSPropertyListMutableContainersAndLeaves));
    ASSERT_TRUE(leaves);
    EXPECT_TRUE(as<NSMutableData>(leaves->objectAtIndex(1)));
    EXPECT_TRUE(as<NSMutableString>(leaves->objectAtIndex(2)));
    as<NSMutableString>(leaves->objectAtIndex(2))->appendString("c"_ns);
    EXPECT_TRUE(NSEqualObjects(leaves->objectAtIndex(3), "b"_ns)) << "equal texts are not one object";
    EXPECT_TRUE(NSEqualObjects(as<NSDictionary>(leaves->objectAtIndex(0))->objectForKey("a"_ns), "b"_ns));
  }
}

TEST(NSPropertyList, AnArrayFileRoundTripsInPlaceAndAtomically) {
  const TemporaryDirectory folder;
  const auto array = NSArray::arrayWithObjects({everyType(), "x"_ns});
  for (const bool atomically : {false, true}) {
    EXPECT_TRUE(array->writeToFile_atomically(folder.text("file"), atomically));
    EXPECT_TRUE(folder.read("file").starts_with("<?xml"));
    EXPECT_TRUE(NSEqualObjects(NSArray::arrayWithContentsOfFile(folder.text("file")), array));
    EXPECT_FALSE(NSDictionary::dictionaryWithContentsOfFile(folder.text("file"))) << "another root type";
  }
  EXPECT_TRUE(everyType()->writeToFile_atomically(folder.text("file"), false));
  EXPECT_TRUE(NSEqualObjects(NSDictionary::dictionaryWithContentsOfFile(folder.text("file")), everyType()));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text("file")));
  EXPECT_TRUE(encoded(array, binary)->writeToFile_atomically(folder.text("file"), false));
  EXPECT_TRUE(NSEqualObjects(NSArray::arrayWithContentsOfFile(folder.text("file")), array));
}

TEST(NSPropertyList, FilesThatAreNoPropertyListsReadAsNil) {
  const TemporaryDirectory folder;
  folder.write("empty");
  folder.write("damaged", "<plist><array><string>");
  folder.write("text", "hello");
  ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
  for (const char* name : {"empty", "damaged", "text", "fifo", "missing"}) {
    EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text(name))) << name;
  }
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text()));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(nil));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile("/dev/zero"_ns));
}

TEST(NSPropertyList, AnEnormousFileThatBeginsWronglyIsNotReadAnyFurther) {
  const TemporaryDirectory folder;
  folder.write("sparse");
  std::filesystem::resize_file(folder / "sparse", std::uintmax_t{1} << 40U);
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(folder.text("sparse")));
}

TEST(NSPropertyList, AListThatCannotBeWrittenLeavesTheFileAlone) {
  const TemporaryDirectory folder;
  folder.write("file", "old");
  const auto array = NSArray::arrayWithObject(NSNull::null());
  EXPECT_FALSE(array->writeToFile_atomically(folder.text("file"), false));
  EXPECT_FALSE(array->writeToFile_atomically(folder.text("file"), true));
  EXPECT_EQ(folder.read("file"), "old");
  EXPECT_FALSE(NSArray::array()->writeToFile_atomically("/dev/full"_ns, false));
  EXPECT_FALSE(NSArray::array()->writeToFile_atomically(nil, false));
}

// Another implementation of both formats.
struct PlistFree {
  void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;

Plist plistFrom(const Ref<NSData>& data, NSPropertyListFormat format) {
  plist_t node = nullptr;
  const char* bytes = reinterpret_cast<const char*>(data->bytes());
  const auto length = static_cast<std::uint32_t>(data->length());
  if (format == XML) {
    plist_from_xml(bytes, length, &node);
  } else {
    plist_from_bin(bytes, length, &node);
  }
  return Plist(node);
}

std::string bytesFrom(const Plist& node, NSPropertyListFormat format) {
  char* bytes = nullptr;
  std::uint32_t length = 0;
  if (format == XML) {
    plist_to_xml(node.get(), &bytes, &length);
  } else {
    plist_to_bin(node.get(), &bytes, &length);
  }
  const std::string result(bytes, length);
  std::free(bytes);
  return result;
}

TEST(NSPropertyList, AnotherImplementationReadsWhatIsWrittenAndTheOtherWayRound) {
  const auto list = as<NSMutableDictionary>(everyType()->mutableCopy());
  list->removeObjectForKey("infinite"_ns);  // not in its XML
  list->removeObjectForKey("tiny"_ns);
  for (const auto written : {binary, XML}) {
    // Its XML reader takes the form of a reference for a dictionary.
    if (written == XML) list->removeObjectForKey("uid"_ns);
    const Plist node = plistFrom(encoded(list, written), written);
    ASSERT_TRUE(node);
    EXPECT_TRUE(NSEqualObjects(decodedText(bytesFrom(node, binary)), list));
    // Its XML writer shortens reals and leaves carriage returns bare.
    const auto exact = as<NSMutableDictionary>(list->mutableCopy());
    const auto back =
        as<NSMutableDictionary>(decoded(NSData::dataWithBytes(bytesFrom(node, XML)), NSPropertyListMutableContainers));
    ASSERT_TRUE(back);
    for (const auto& each : {exact, back}) {
      each->removeObjectForKey("real"_ns);
      each->removeObjectForKey("carriage return"_ns);
      each->removeObjectForKey("uid"_ns);
    }
    EXPECT_TRUE(NSEqualObjects(back, exact));
  }
}

// ---- Checkpoints ----

Ref<NSArray> manyRecords() {
  const auto records = NSMutableArray::array();
  for (int number = 0; number < 100; ++number) {
    records->addObject(NSDictionary::dictionary({{"Number"_ns, NSNumber::numberWithInteger(number)}}));
  }
  return records;
}

TEST(NSPropertyList, ReadingAndWritingPassTheCheckpointAgainAndAgain) {
  const TemporaryDirectory folder;
  int passed = 0;
  const auto checkpoint = [&] { return ++passed > 0; };
  EXPECT_TRUE(foundation::writePropertyList(manyRecords(), folder.text("list"), false, checkpoint));
  EXPECT_GE(passed, 100);
  encoded(manyRecords(), binary)->writeToFile_atomically(folder.text("binary"), false);
  for (const auto& name : {"list"_ns, "binary"_ns}) {
    passed = 0;
    const auto path = folder.text(name->UTF8String());
    EXPECT_TRUE(NSEqualObjects(foundation::propertyListWithContentsOfFile(path, checkpoint), manyRecords()));
    EXPECT_GE(passed, 100);
  }
}

TEST(NSPropertyList, ReadingThatIsGivenUpGivesNothing) {
  const TemporaryDirectory folder;
  manyRecords()->writeToFile_atomically(folder.text("list"), false);
  int left = 50;
  EXPECT_FALSE(foundation::propertyListWithContentsOfFile(folder.text("list"), [&] { return --left > 0; }));
  EXPECT_EQ(left, 0) << "it went on";
}

TEST(NSPropertyList, WritingThatIsGivenUpLeavesTheFileAsItIs) {
  const TemporaryDirectory folder;
  folder.write("list", "what it was");
  for (const bool atomically : {false, true}) {
    int left = 50;
    EXPECT_FALSE(
        foundation::writePropertyList(manyRecords(), folder.text("list"), atomically, [&] { return --left > 0; }));
    EXPECT_EQ(left, 0) << "it went on";
    EXPECT_EQ(folder.read("list"), "what it was");
  }
}

}  // namespace
