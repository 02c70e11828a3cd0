#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "appkit/NSAttributedString+AppKit.h"
#include "appkit/NSColor.h"
#include "appkit/NSFont.h"
#include "appkit/NSParagraphStyle.h"
#include "foundation/Foundation.h"

namespace {

using Entries = std::vector<NSDictionary::Entry>;

Ref<NSData> rtfOf(const Ref<NSAttributedString>& text) { return NSRTFFromAttributedString(text, {0, text->length()}); }

Ref<NSAttributedString> written(const Ref<NSAttributedString>& text) { return NSAttributedStringFromRTF(rtfOf(text)); }

Ref<NSMutableAttributedString> styled(const Ref<NSString>& text, Entries attributes) {
  return make<NSMutableAttributedString>(text, NSDictionary::dictionaryWithEntries(std::move(attributes)));
}

void expectReadsBack(const Ref<NSAttributedString>& text) {
  const auto back = written(text);
  ASSERT_NE(back, nil);
  EXPECT_TRUE(back->isEqual(text)) << rtfOf(text)->view() << "\n"
                                   << text->description()->UTF8String() << "\nbut\n"
                                   << back->description()->UTF8String();
}

id number(NSInteger value) { return NSNumber::numberWithInteger(value); }

TEST(RTFWriter, WritesASCIIOnly) {
  const auto data =
      rtfOf(styled("äöü €\n😀\x01"_ns, {{NSFontAttributeName(), NSFont::fontWithName_size("ＭＳ"_ns, 9)}}));
  EXPECT_TRUE(std::ranges::all_of(data->view(), [](char c) { return c == '\n' || (c >= ' ' && c < 0x7F); }));
  EXPECT_TRUE(data->view().starts_with("{\\rtf1\\ansi"));
}

TEST(RTFWriter, EmptyTextIsAnEmptyDocument) { EXPECT_EQ(written(make<NSAttributedString>())->length(), 0U); }

TEST(RTFWriter, NilHasNoDocument) { EXPECT_EQ(NSRTFFromAttributedString(nil, {0, 0}), nil); }

TEST(RTFWriter, WritesTheRangeOnly) {
  const auto text = make<NSAttributedString>("abcdef"_ns);
  EXPECT_TRUE(NSAttributedStringFromRTF(NSRTFFromAttributedString(text, {2, 3}))->string()->isEqual("cde"_ns));
  EXPECT_THROW(NSRTFFromAttributedString(text, {2, 5}), Ref<NSException>);
}

TEST(RTFWriter, TextWithoutAttributesReadsBackWithoutAny) {
  expectReadsBack(make<NSAttributedString>("plain\n text\n\n"_ns));
}

TEST(RTFWriter, EveryCharacterReadsBack) {
  std::u16string units;
  for (char32_t unit = 0; unit < 0x10000; ++unit) units.push_back(static_cast<char16_t>(unit));
  expectReadsBack(make<NSAttributedString>(NSString::stringWithUnits(units)));
  expectReadsBack(styled("a 1\\{}\r\n\t\f\u2028\u2029 b\u00A0\u00AD\u2011"_ns,
                         {{NSFontAttributeName(), NSFont::fontWithName_size("Symbol"_ns, 9)}}));
}

TEST(RTFWriter, TextThatLooksLikeAParameterReadsBack) {
  for (const auto& text : {"1"_ns, "-1"_ns, " "_ns, " 1"_ns, "b"_ns, ";"_ns, "*"_ns, "'41"_ns}) {
    expectReadsBack(styled(text, {{NSUnderlineStyleAttributeName(), number(1)}}));
    expectReadsBack(styled(text, {{NSUnderlineStyleAttributeName(), number(77)}}));
    expectReadsBack(make<NSAttributedString>(text));
  }
}

TEST(RTFWriter, FontsReadBack) {
  for (const auto& name :
       {"Helvetica"_ns, "Helvetica-BoldOblique"_ns, "ArialMT"_ns, "Times-Italic"_ns, "Georgia-Bold"_ns,
        "Avenir-Light"_ns, "Avenir-HeavyOblique"_ns, "Foo-Book-Bold"_ns, "Noto Sans CJK JP"_ns, "MS-Gothic"_ns,
        "A;B{C}\\D"_ns, "ヒラギノ角ゴ"_ns, "A\nB\tC"_ns, "-Bold"_ns, "1 2"_ns}) {
    expectReadsBack(styled("x"_ns, {{NSFontAttributeName(), NSFont::fontWithName_size(name, 12)}}));
  }
}

TEST(RTFWriter, SizesReadBackExactly) {
  for (const double size :
       {0.001, 0.1, 0.1875, 0.5, 1.0, 6.25, 9.999, 12.0, 12.3456789, 13.333, 20.0 / 3.0, 1638.5, 1e9, 1e300, 5e-324}) {
    expectReadsBack(styled("x"_ns, {{NSFontAttributeName(), NSFont::fontWithName_size("Helvetica"_ns, size)}}));
  }
}

TEST(RTFWriter, ColorsReadBackExactly) {
  for (const auto& color : {NSColor::redColor(), NSColor::colorWithRed_green_blue_alpha(0.2, 0.4, 1, 1),
                            NSColor::colorWithRed_green_blue_alpha(1.0 / 3.0, 0.123456789, 1e-9, 1),
                            NSColor::colorWithWhite_alpha(0, 0.5)}) {
    expectReadsBack(styled("x"_ns, {{NSForegroundColorAttributeName(), color}}));
    expectReadsBack(styled("x"_ns, {{NSBackgroundColorAttributeName(), color}}));
  }
}

TEST(RTFWriter, NumbersOfStylesReadBack) {
  for (const NSInteger value : {0, 1, 2, 9, 5, 0x101, 0x201, 0x301, 0x401, 0x102, 0x8001, -1, -3, 77}) {
    expectReadsBack(styled("x"_ns, {{NSUnderlineStyleAttributeName(), number(value)}}));
    expectReadsBack(styled("x"_ns, {{NSStrikethroughStyleAttributeName(), number(value)}}));
    expectReadsBack(styled("x"_ns, {{NSSuperscriptAttributeName(), number(value)}}));
  }
}

TEST(RTFWriter, LinksReadBack) {
  expectReadsBack(styled("x"_ns, {{NSLinkAttributeName(), NSURL::URLWithString("http://h/a%20b?c=d#e"_ns)}}));
  expectReadsBack(styled("x"_ns, {{NSLinkAttributeName(), "http://looks.like/one"_ns}}));
  expectReadsBack(styled("x"_ns, {{NSLinkAttributeName(), "C:\\dir \"x\" {ä}"_ns}}));
  expectReadsBack(styled("x"_ns, {{NSLinkAttributeName(), ""_ns}}));
  const auto base = NSURL::URLWithString("http://h/dir/"_ns);
  const auto relative = styled("x"_ns, {{NSLinkAttributeName(), NSURL::URLWithString_relativeToURL("a"_ns, base)}});
  EXPECT_TRUE(NSEqualObjects(written(relative)->attribute_atIndex_effectiveRange(NSLinkAttributeName(), 0),
                             NSURL::URLWithString("http://h/dir/a"_ns)));
}

TEST(RTFWriter, AnInstructionStandsInAGroupOfItsOwn) {
  const auto data = rtfOf(styled("x"_ns, {{NSLinkAttributeName(), NSURL::URLWithString("http://h/"_ns)}}));
  EXPECT_NE(data->view().find("{\\field{\\*\\fldinst{HYPERLINK \"http://h/\"}}{\\fldrslt"), std::string_view::npos)
      << data->view();
}

TEST(RTFWriter, FontsOfOtherScriptsAreToldInTheirOwnWords) {
  const auto written = [](const Ref<NSString>& text, const Ref<NSString>& font, double size) {
    return std::string(rtfOf(styled(text, {{NSFontAttributeName(), NSFont::fontWithName_size(font, size)}}))->view());
  };
  const auto says = [](const std::string& document, std::string_view words) {
    return document.find(words) != std::string::npos;
  };
  const std::string hebrew = written("שלום"_ns, "Georgia-Bold"_ns, 18);
  EXPECT_TRUE(says(hebrew, "\\rtlch\\af0\\afs36\\ab\\ltrch\\f0\\fs36\\b")) << hebrew;
  EXPECT_FALSE(says(hebrew, "\\dbch")) << hebrew;
  const std::string japanese = written("日本"_ns, "Georgia-BoldItalic"_ns, 9.5);
  EXPECT_TRUE(says(japanese, "\\dbch\\af0\\afs19\\ab\\ai\\loch\\f0\\fs19\\b\\i")) << japanese;
  EXPECT_FALSE(says(japanese, "\\rtlch")) << japanese;
  const std::string both = written("日 ا x"_ns, "Georgia"_ns, 12);
  EXPECT_TRUE(says(both, "\\rtlch\\af0\\afs24\\ltrch\\dbch\\af0\\afs24\\loch\\f0\\fs24")) << both;
  const std::string western = written("xé ж 1"_ns, "Georgia-Bold"_ns, 12);
  EXPECT_FALSE(says(western, "\\rtlch") || says(western, "\\dbch")) << western;
}

TEST(RTFWriter, TextOfEveryScriptReadsBack) {
  for (const auto& name : {"Helvetica"_ns, "Georgia-BoldItalic"_ns, "Noto Sans CJK JP"_ns}) {
    for (const double size : {12.0, 12.5, 12.25, 13.333, 20.0 / 3.0}) {
      expectReadsBack(styled("a שלום 1 ب日本 2 한국어 x\n(1) 漢 \xF0\xA5\x80\x81 हिन्दी ไทย é"_ns,
                             {{NSFontAttributeName(), NSFont::fontWithName_size(name, size)}}));
    }
  }
}

TEST(RTFWriter, AlignmentsReadBack) {
  const auto text = make<NSMutableAttributedString>("left\nright\ncenter\njust\nnatural\nnone\nright"_ns);
  const auto align = [&](const Ref<NSString>& part, NSTextAlignment alignment, NSUInteger options = 0) {
    NSRange range = text->string()->rangeOfString(part, options);
    if (NSMaxRange(range) < text->length()) ++range.length;
    text->addAttribute_value_range(NSParagraphStyleAttributeName(), make<NSParagraphStyle>(alignment), range);
  };
  align("left"_ns, NSTextAlignmentLeft);
  align("right"_ns, NSTextAlignmentRight);
  align("center"_ns, NSTextAlignmentCenter);
  align("just"_ns, NSTextAlignmentJustified);
  align("natural"_ns, NSTextAlignmentNatural);
  align("right"_ns, NSTextAlignmentRight, NSBackwardsSearch);
  expectReadsBack(text);
}

TEST(RTFWriter, ParagraphHasTheStyleOfItsFirstCharacter) {
  const auto text =
      styled("abcd\nef"_ns, {{NSParagraphStyleAttributeName(), make<NSParagraphStyle>(NSTextAlignmentCenter)}});
  text->removeAttribute_range(NSParagraphStyleAttributeName(), {1, 4});
  NSRange range;
  EXPECT_NE(written(text)->attribute_atIndex_effectiveRange(NSParagraphStyleAttributeName(), 3, &range), nil);
  EXPECT_EQ(range, NSMakeRange(0, 7));
}

TEST(RTFWriter, AttributesThatRTFDoesNotKnowAreLeftOut) {
  const auto text = styled("x"_ns, {{"MyOwn"_ns, "value"_ns},
                                    {NSFontAttributeName(), "no font"_ns},
                                    {NSUnderlineStyleAttributeName(), NSNumber::numberWithDouble(1.5)},
                                    {NSLinkAttributeName(), number(1)}});
  EXPECT_EQ(written(text)->attributesAtIndex_effectiveRange(0)->count(), 0U);
}

TEST(RTFWriter, RandomStyledTextsReadBack) {
  std::mt19937 random(20240229);
  const auto below = [&](NSUInteger limit) { return std::uniform_int_distribution<NSUInteger>(0, limit - 1)(random); };
  const std::vector<NSDictionary::Entry> choices{
      {NSFontAttributeName(), NSFont::fontWithName_size("Georgia-Bold"_ns, 7.7)},
      {NSFontAttributeName(), NSFont::fontWithName_size("Helvetica"_ns, 12)},
      {NSFontAttributeName(), NSFont::fontWithName_size("Courier-Oblique"_ns, 12.5)},
      {NSForegroundColorAttributeName(), NSColor::redColor()},
      {NSForegroundColorAttributeName(), NSColor::colorWithWhite_alpha(0.1, 0.5)},
      {NSBackgroundColorAttributeName(), NSColor::blueColor()},
      {NSUnderlineStyleAttributeName(), number(9)},
      {NSStrikethroughStyleAttributeName(), number(1)},
      {NSSuperscriptAttributeName(), number(-2)},
      {NSLinkAttributeName(), NSURL::URLWithString("http://h/"_ns)},
  };
  for (int round = 0; round < 200; ++round) {
    const auto text = make<NSMutableAttributedString>("one two\nthree\tfour \\five{} äöü\n😀 seven\n שלום 日本 8"_ns);
    for (NSUInteger change = below(12); change > 0; --change) {
      const auto& [name, value] = choices[below(choices.size())];
      const NSUInteger start = below(text->length());
      text->addAttribute_value_range(as<NSString>(name), value, {start, 1 + below(text->length() - start)});
    }
    expectReadsBack(text);
  }
}

// What another reader makes of our document, as HTML.
std::string throughOtherReader(const Ref<NSAttributedString>& text) {
  const auto path = std::filesystem::temp_directory_path() / ("RTFWriterTests." + std::to_string(::getpid()) + ".rtf");
  std::ofstream(path) << rtfOf(text)->view();
  const std::string command = "unrtf --html --quiet '" + path.string() + "' 2>/dev/null";
  std::string html;
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  if (!pipe) return "(unrtf cannot be run)";
  std::array<char, 4096> buffer;
  while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), pipe)) html.append(buffer.data(), size);
  ::pclose(pipe);
  std::filesystem::remove(path);
  const std::size_t body = html.find("<body>");
  return body == std::string::npos ? "(no document: " + html + ")" : html.substr(body);
}

TEST(RTFWriter, AnotherReaderSeesTheText) {
  const std::string html =
      throughOtherReader(make<NSAttributedString>("Some Ünïcode “quoted” €5 – ж\\{x}\nsecond\u2028third"_ns));
  EXPECT_NE(
      html.find("Some &Uuml;n&iuml;code &ldquo;quoted&rdquo; &euro;5 &ndash; &#1078;\\{x}<br>\nsecond<br>\nthird"),
      std::string::npos)
      << html;
}

TEST(RTFWriter, AnotherReaderSeesFontsSizesAndStyles) {
  const auto text =
      styled("aaa"_ns, {{NSFontAttributeName(), NSFont::fontWithName_size("TimesNewRomanPS-BoldItalicMT"_ns, 18)}});
  const std::string font = throughOtherReader(text);
  EXPECT_NE(font.find("<font face=\"Times New Roman\">"), std::string::npos) << font;
  EXPECT_NE(font.find("<b>"), std::string::npos) << font;
  EXPECT_NE(font.find("<i>aaa"), std::string::npos) << font;
  const std::string larger = throughOtherReader(
      styled("aaa"_ns, {{NSFontAttributeName(), NSFont::fontWithName_size("Helvetica"_ns, 36.125)}}));
  EXPECT_NE(larger.find("<span style=\"font-size:36pt\">aaa"), std::string::npos) << larger;
  const std::string marked =
      throughOtherReader(styled("aaa"_ns, {{NSUnderlineStyleAttributeName(), number(1)},
                                           {NSStrikethroughStyleAttributeName(), number(1)},
                                           {NSForegroundColorAttributeName(), NSColor::redColor()}}));
  EXPECT_NE(marked.find("<u>"), std::string::npos) << marked;
  EXPECT_NE(marked.find("<s>aaa</s>"), std::string::npos) << marked;
  EXPECT_NE(marked.find("#ff0000"), std::string::npos) << marked;
  const std::string raised = throughOtherReader(styled("2"_ns, {{NSSuperscriptAttributeName(), number(1)}}));
  EXPECT_NE(raised.find("<sup>2</sup>"), std::string::npos) << raised;
  const std::string centered = throughOtherReader(
      styled("mid"_ns, {{NSParagraphStyleAttributeName(), make<NSParagraphStyle>(NSTextAlignmentCenter)}}));
  EXPECT_NE(centered.find("<center>mid</center>"), std::string::npos) << centered;
}

TEST(RTFWriter, AnotherReaderSeesTextOfOtherScripts) {
  const std::string html = throughOtherReader(
      styled("ש日x"_ns, {{NSFontAttributeName(), NSFont::fontWithName_size("Georgia-Bold"_ns, 18)}}));
  EXPECT_NE(html.find("<font size=\"5\"><b>&#1513;&#26085;x</b>"), std::string::npos) << html;
}

// It shows a word of its own for the text of every link.
TEST(RTFWriter, AnotherReaderSeesLinks) {
  const auto text = make<NSMutableAttributedString>("see here now"_ns);
  text->addAttribute_value_range(NSLinkAttributeName(), NSURL::URLWithString("http://h/"_ns), {4, 4});
  const std::string html = throughOtherReader(text);
  EXPECT_NE(html.find("see <a href=\"\"http://h/\"\">hyperlink</a> now"), std::string::npos) << html;
}

}  // namespace
