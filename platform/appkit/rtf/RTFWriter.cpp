#include "appkit/rtf/RTFWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

#include "appkit/NSColor.h"
#include "appkit/rtf/RTFFonts.h"
#include "appkit/rtf/RTFHyperlink.h"
#include "appkit/rtf/RTFScript.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

// Characters between 0x80 and 0x9F in code page 1252, and one hyphen.
constexpr std::array<std::pair<char16_t, char16_t>, 28> westernPunctuation{{
    {u'\u20AC', 0x80}, {u'\u201A', 0x82}, {u'\u0192', 0x83}, {u'\u201E', 0x84}, {u'\u2026', 0x85}, {u'\u2020', 0x86},
    {u'\u2021', 0x87}, {u'\u02C6', 0x88}, {u'\u2030', 0x89}, {u'\u0160', 0x8A}, {u'\u2039', 0x8B}, {u'\u0152', 0x8C},
    {u'\u017D', 0x8E}, {u'\u2018', 0x91}, {u'\u2019', 0x92}, {u'\u201C', 0x93}, {u'\u201D', 0x94}, {u'\u2022', 0x95},
    {u'\u2013', 0x96}, {u'\u2014', 0x97}, {u'\u02DC', 0x98}, {u'\u2122', 0x99}, {u'\u0161', 0x9A}, {u'\u203A', 0x9B},
    {u'\u0153', 0x9C}, {u'\u017E', 0x9E}, {u'\u0178', 0x9F}, {u'\u2011', u'-'},
}};

std::string asASCII(std::u16string_view units) { return {units.begin(), units.end()}; }

template <class Number>
std::string textOf(Number number) {
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  return {digits.data(), end};
}

template <class... Parts>
void append(std::string& output, const Parts&... parts) {
  (output.append(std::string_view(parts)), ...);
}

void appendByte(std::string& output, char16_t byte) {
  static constexpr std::string_view digits = "0123456789abcdef";
  output += "\\'";
  output.push_back(digits[byte >> 4U]);
  output.push_back(digits[byte & 15U]);
}

// What a reader without Unicode shows: the nearest byte of code page 1252.
char16_t fallbackFor(char16_t unit) {
  const auto known = std::ranges::find(westernPunctuation, unit, &std::pair<char16_t, char16_t>::first);
  return known == westernPunctuation.end() ? u'?' : known->second;
}

// A unit that no control word stands for.
void appendUnit(std::string& output, char16_t unit) {
  if (unit == u'\\' || unit == u'{' || unit == u'}') {
    output.push_back('\\');
    output.push_back(static_cast<char>(unit));
  } else if (unit >= 0x20 && unit < 0x7F) {
    output.push_back(static_cast<char>(unit));
  } else if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF)) {
    appendByte(output, unit);  // the same in code page 1252
  } else {
    append(output, "\\u", textOf(static_cast<std::int16_t>(unit)));
    appendByte(output, fallbackFor(unit));
  }
}

void appendText(std::string& output, std::u16string_view units) {
  for (const char16_t unit : units) {
    switch (unit) {
      case u'\n':
        output += "\\par\n";
        break;
      case u'\t':
        output += "\\tab ";
        break;
      case u'\f':
        output += "\\page ";
        break;
      case u'\u2028':
        output += "\\line ";
        break;
      case u'\u00A0':
        output += "\\~";
        break;
      case u'\u00AD':
        output += "\\-";
        break;
      case u'\u2011':
        output += "\\_";
        break;
      default:
        appendUnit(output, unit);
    }
  }
}

void appendFontName(std::string& output, std::u16string_view name) {
  for (const char16_t unit : name) {
    if (unit == u';') {
      appendByte(output, unit);  // a plain one would end the entry
    } else {
      appendUnit(output, unit);
    }
  }
}

void addExact(std::string& exact, std::u16string_view name, std::string_view value) {
  append(exact, " ", asASCII(name), "=", value);
}

// A number attribute that one of the words may stand for.
template <class Table>
void addStyle(std::string& common, std::string& exact, const id& attribute, const Table& table,
              std::u16string_view exactName) {
  const auto number = as<NSNumber>(attribute);
  if (!number || number->compare(NSNumber::numberWithInteger(number->integerValue())) != NSOrderedSame) return;
  const NSInteger value = number->integerValue();
  const auto known = std::ranges::find(table, value, [](const auto& entry) { return entry.second; });
  const bool isKnown = known != table.end();
  // For other readers, the first word of the table on the same side of 0 comes nearest to a value without one.
  const auto nearest =
      std::ranges::find_if(table, [&](const auto& entry) { return (entry.second < 0) == (value < 0); });
  if (isKnown || (value != 0 && nearest != table.end())) append(common, "\\", (isKnown ? known : nearest)->first);
  if (!isKnown) addExact(exact, exactName, textOf(value));
}

NSInteger alignmentOf(const Ref<NSDictionary>& attributes) {
  const auto style = as<NSParagraphStyle>(attributes->objectForKey(NSParagraphStyleAttributeName()));
  return style ? NSInteger{style->alignment()} : appkit::noAttribute;
}

struct Link {
  std::u16string address;
  bool isText = false;  // a text that reads like a URL, but is none
};

std::optional<Link> linkOf(const Ref<NSDictionary>& attributes) {
  const id value = attributes->objectForKey(NSLinkAttributeName());
  if (const auto url = as<NSURL>(value)) return Link{std::u16string(url->absoluteString()->units()), false};
  const auto text = as<NSString>(value);
  if (!text) return std::nullopt;
  return Link{std::u16string(text->units()), NSURL::URLWithString(text) != nil};
}

}  // namespace

namespace appkit {

std::string RTFWriter::document() {
  units_ = text_.string()->units();
  writeText();
  std::string document = "{\\rtf1\\ansi\\ansicpg1252\\uc1\n";
  if (!fontTable_.empty()) document += "{\\fonttbl" + fontTable_ + "}\n";
  if (!colorTable_.empty()) document += "{\\colortbl;" + colorTable_ + "}\n";
  document += body_;
  document += "}\n";
  return document;
}

void RTFWriter::writeText() {
  for (std::size_t start = 0; start < units_.size();) {
    const std::size_t lineEnd = units_.find(u'\n', start);
    const std::size_t end = lineEnd == std::u16string::npos ? units_.size() : lineEnd + 1;
    writeParagraph({start, end - start});
    start = end;
  }
}

void RTFWriter::writeParagraph(NSRange range) {
  const NSInteger alignment = alignmentOf(text_.attributesAtIndex_effectiveRange(range.location));
  if (alignment != alignment_) {
    const auto word = std::ranges::find(alignmentWords, alignment, [](const auto& entry) { return entry.second; });
    body_ += "\\pard";
    if (word != alignmentWords.end()) append(body_, "\\", word->first);
    body_ += " ";
    alignment_ = alignment;
  }
  text_.enumerateAttributesInRange_options_usingBlock(
      range, NSAttributedStringEnumerationLongestEffectiveRangeNotRequired,
      [&](const Ref<NSDictionary>& attributes, NSRange run, bool*) {
        writeRun(attributes, std::u16string_view(units_).substr(run.location, run.length));
      });
}

void RTFWriter::writeRun(const Ref<NSDictionary>& attributes, std::u16string_view units) {
  Words words = wordsFor(attributes, units);
  const auto link = linkOf(attributes);
  if (link) {
    if (link->isText) addExact(words.exact, exactLink, asASCII(exactLinkIsText));
    // Other readers expect the instruction in a group of its own.
    body_ += "{\\field{\\*\\fldinst{";
    for (const char16_t unit : instructionForAddress(link->address)) appendUnit(body_, unit);
    body_ += "}}{\\fldrslt";
  }
  // A group for the run keeps its style from reaching beyond it.
  const bool isPlain = words.common.empty() && words.exact.empty();
  if (!isPlain || link) body_ += "{";
  body_ += words.common;
  if (!words.exact.empty()) append(body_, "{\\*\\", exactValuesWord, words.exact, "}");
  if (!words.common.empty() && words.exact.empty()) body_ += " ";
  appendText(body_, units);
  if (!isPlain || link) body_ += "}";
  if (link) body_ += "}}";
}

RTFWriter::Words RTFWriter::wordsFor(const Ref<NSDictionary>& attributes, std::u16string_view units) {
  Words words;
  const auto attribute = [&](const Ref<NSString>& name) { return attributes->objectForKey(name); };
  addFont(words, as<NSFont>(attribute(NSFontAttributeName())), units);
  addColor(words, as<NSColor>(attribute(NSForegroundColorAttributeName())), "\\cf", exactColor);
  addColor(words, as<NSColor>(attribute(NSBackgroundColorAttributeName())), "\\cb", exactBackground);
  addStyle(words.common, words.exact, attribute(NSUnderlineStyleAttributeName()), underlineWords, exactUnderline);
  addStyle(words.common, words.exact, attribute(NSStrikethroughStyleAttributeName()), strikethroughWords,
           exactStrikethrough);
  addStyle(words.common, words.exact, attribute(NSSuperscriptAttributeName()), superscriptWords, exactSuperscript);
  return words;
}

void RTFWriter::addFont(Words& words, const Ref<NSFont>& font, std::u16string_view units) {
  if (!font) return;
  constexpr double largest = std::numeric_limits<std::int32_t>::max();
  const auto inUnits = [&](double unit) {
    return static_cast<std::int32_t>(std::clamp(std::round(font->pointSize() * unit), 1.0, largest));
  };
  const std::int32_t halves = inUnits(2.0);
  const std::string number = textOf(fontNumber(font));
  const bool isBold = (font->traits() & NSBoldFontMask) != 0;
  const bool isItalic = (font->traits() & NSItalicFontMask) != 0;
  // For text of other scripts, word processors go by words of its own.
  const auto addAssociated = [&](std::string_view kind, std::string_view back) {
    append(words.common, kind, "\\af", number, "\\afs", textOf(halves), isBold ? "\\ab" : "", isItalic ? "\\ai" : "",
           back);
  };
  if (containsScript(units, RTFScript::Complex)) addAssociated("\\rtlch", "\\ltrch");
  if (containsScript(units, RTFScript::EastAsian)) addAssociated("\\dbch", "\\loch");
  append(words.common, "\\f", number, "\\fs", textOf(halves));
  if (halves / 2.0 != font->pointSize()) {
    const std::int32_t thousandths = inUnits(1000.0);
    append(words.common, "\\fsmilli", textOf(thousandths));
    if (thousandths / 1000.0 != font->pointSize()) addExact(words.exact, exactSize, textOf(font->pointSize()));
  }
  append(words.common, isBold ? "\\b" : "", isItalic ? "\\i" : "");
}

void RTFWriter::addColor(Words& words, const Ref<NSColor>& color, std::string_view word,
                         std::u16string_view exactName) {
  if (!color) return;
  const std::string number = textOf(colorNumber(*color));
  append(words.common, word, number);
  if (word == "\\cb") append(words.common, "\\chcbpat", number);
  const std::array<double, 4> components{color->redComponent(), color->greenComponent(), color->blueComponent(),
                                         color->alphaComponent()};
  const bool isInTable = components[3] == 1.0 && std::ranges::all_of(components, [](double component) {
                           return std::round(component * 255.0) / 255.0 == component;
                         });
  if (isInTable) return;
  std::string list;
  for (const double component : components) append(list, list.empty() ? "" : ",", textOf(component));
  addExact(words.exact, exactName, list);
}

std::size_t RTFWriter::fontNumber(const Ref<NSFont>& font) {
  const auto known = numbersOfFonts_.find(font.get());
  if (known != numbersOfFonts_.end()) return known->second;
  const auto [entry, isNew] = fontNumbers_.emplace(tableNameOfFont(*font), fontNumbers_.size());
  if (isNew) {
    append(fontTable_, "{\\f", textOf(entry->second), "\\", familyWordOfFont(*font), "\\fcharset0 ");
    appendFontName(fontTable_, entry->first);
    fontTable_ += ";}";
  }
  numbersOfFonts_.emplace(font.get(), entry->second);
  return entry->second;
}

std::size_t RTFWriter::colorNumber(const NSColor& color) {
  const auto byte = [](double component) { return static_cast<std::uint32_t>(std::round(component * 255.0)); };
  const std::uint32_t red = byte(color.redComponent());
  const std::uint32_t green = byte(color.greenComponent());
  const std::uint32_t blue = byte(color.blueComponent());
  // Entry 0 is the default colour.
  const auto [entry, isNew] = colorNumbers_.emplace((red << 16U) | (green << 8U) | blue, colorNumbers_.size() + 1);
  if (isNew) append(colorTable_, "\\red", textOf(red), "\\green", textOf(green), "\\blue", textOf(blue), ";");
  return entry->second;
}

}  // namespace appkit

}  // namespace telvo
