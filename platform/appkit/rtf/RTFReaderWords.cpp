// The control words of RTF, and what each of them does to the reader.

#include <algorithm>
#include <array>
#include <utility>

#include "appkit/rtf/RTFReader.h"
#include "foundation/text/UTF16.h"

inline namespace telvo {

namespace {

using appkit::RTFDestination;
using appkit::RTFToken;

constexpr unsigned bit(RTFDestination destination) { return 1U << static_cast<unsigned>(destination); }

constexpr unsigned inText = bit(RTFDestination::Text);
constexpr unsigned inFonts = bit(RTFDestination::FontTable);
constexpr unsigned inColors = bit(RTFDestination::ColorTable);
constexpr unsigned wherePlainTextIs =
    inText | inFonts | bit(RTFDestination::Instruction) | bit(RTFDestination::ExactValues);

// Groups that hold no text of the document.
constexpr std::array<std::string_view, 31> skippedWords{
    "stylesheet",  "info",
    "header",      "headerl",
    "headerr",     "headerf",
    "footer",      "footerl",
    "footerr",     "footerf",
    "footnote",    "annotation",
    "pict",        "objdata",
    "nonshppict",  "shp",
    "do",          "xe",
    "tc",          "tcn",
    "rxe",         "txe",
    "filetbl",     "revtbl",
    "listtable",   "listoverridetable",
    "private",     "template",
    "fontemb",     "falt",
    "NeXTGraphic",
};

// Groups that do, and need nothing done for that.
constexpr std::array<std::string_view, 4> textWords{"pntext", "listtext", "result", "shptxt"};

constexpr std::array<std::pair<std::string_view, char16_t>, 21> characterWords{{
    {"tab", u'\t'},         {"line", u'\u2028'},      {"page", u'\f'},          {"cell", u'\t'},
    {"nestcell", u'\t'},    {"emdash", u'\u2014'},    {"endash", u'\u2013'},    {"emspace", u'\u2003'},
    {"enspace", u'\u2002'}, {"qmspace", u'\u2005'},   {"bullet", u'\u2022'},    {"lquote", u'\u2018'},
    {"rquote", u'\u2019'},  {"ldblquote", u'\u201C'}, {"rdblquote", u'\u201D'}, {"zwj", u'\u200D'},
    {"zwnj", u'\u200C'},    {"zwbo", u'\u200B'},      {"zwnbo", u'\u2060'},     {"ltrmark", u'\u200E'},
    {"rtlmark", u'\u200F'},
}};

bool isOn(const RTFToken& token) { return !token.hasParameter || token.parameter != 0; }

// The parameter in points; 0 for what is no size.
double pointsFrom(const RTFToken& token, double unit) { return std::max(token.parameter, 0) / unit; }

// One row of the table for each of the words.
template <class Row, class Words, class MakeRow>
constexpr auto rowsFor(const Words& words, MakeRow makeRow) {
  std::array<Row, std::tuple_size_v<Words>> rows{};
  std::ranges::transform(words, rows.begin(), makeRow);
  return rows;
}

template <class Row, std::size_t... Sizes>
constexpr auto joined(const std::array<Row, Sizes>&... parts) {
  std::array<Row, (Sizes + ...)> rows{};
  auto end = rows.begin();
  ((end = std::ranges::copy(parts, end).out), ...);
  return rows;
}

template <class Rows>
constexpr Rows sortedByName(Rows rows) {
  std::ranges::sort(rows, {}, [](const auto& row) { return row.name; });
  return rows;
}

NSInteger valueIfOn(const RTFToken& token, NSInteger value) { return isOn(token) ? value : appkit::noAttribute; }

}  // namespace

namespace appkit {

// The words that stand for themselves; those that come in groups are added to them below.
struct RTFReader::Words {
  using R = RTFReader;

  static constexpr std::array single{
      Word{"fonttbl", inText, true, &R::openDestination, static_cast<NSInteger>(Destination::FontTable)},
      Word{"colortbl", inText, true, &R::openDestination, static_cast<NSInteger>(Destination::ColorTable)},
      Word{"fldinst", inText, true, &R::openDestination, static_cast<NSInteger>(Destination::Instruction)},
      Word{"upr", inText, true, &R::openDestination, static_cast<NSInteger>(Destination::Alternatives)},
      Word{"ud", bit(Destination::Alternatives), true, &R::openDestination, static_cast<NSInteger>(Destination::Text)},
      Word{exactValuesWord, inText, true, &R::openDestination, static_cast<NSInteger>(Destination::ExactValues)},
      Word{"field", inText, true, &R::field},
      Word{"fldrslt", inText, true, &R::fieldResult},

      Word{"u", wherePlainTextIs, false, &R::unicode},
      Word{"uc", wherePlainTextIs, false, &R::unicodeFallback},
      Word{"mac", inText, false, &R::codePage, 10000},
      Word{"pc", inText, false, &R::codePage, 437},
      Word{"pca", inText, false, &R::codePage, 850},
      Word{"ansicpg", inText, false, &R::ansiCodePage},

      Word{"deff", inText, false, &R::defaultFont},
      Word{"fcharset", inFonts, false, &R::tableFontCharset},
      Word{"cpg", inFonts, false, &R::tableFontCodePage},
      Word{"red", inColors, false, &R::red},
      Word{"green", inColors, false, &R::green},
      Word{"blue", inColors, false, &R::blue},

      Word{"ltrch", inText, false, &R::runKind, static_cast<NSInteger>(RTFRunKind::LeftToRight)},
      Word{"rtlch", inText, false, &R::runKind, static_cast<NSInteger>(RTFRunKind::RightToLeft)},
      Word{"loch", inText, false, &R::runKind, static_cast<NSInteger>(RTFRunKind::LowANSI)},
      Word{"hich", inText, false, &R::runKind, static_cast<NSInteger>(RTFRunKind::HighANSI)},
      Word{"dbch", inText, false, &R::runKind, static_cast<NSInteger>(RTFRunKind::DoubleByte)},
      Word{"f", inText | inFonts, false, &R::font},
      Word{"fs", inText, false, &R::size},
      Word{"fsmilli", inText, false, &R::sizeInThousandths},
      Word{"b", inText, false, &R::bold},
      Word{"i", inText, false, &R::italic},
      Word{"af", inText, false, &R::associatedFont},
      Word{"afs", inText, false, &R::associatedSize},
      Word{"ab", inText, false, &R::associatedBold},
      Word{"ai", inText, false, &R::associatedItalic},
      Word{"v", inText, false, &R::hidden},
      Word{"deleted", inText, false, &R::deleted},
      Word{"cf", inText, false, &R::color},
      Word{"cb", inText, false, &R::background},
      Word{"chcbpat", inText, false, &R::background},
      Word{"highlight", inText, false, &R::background},
      Word{"ulnone", inText, false, &R::underline, noAttribute},
      Word{"nosupersub", inText, false, &R::superscript, noAttribute},
      Word{"up", inText, false, &R::shift, 1},
      Word{"dn", inText, false, &R::shift, -1},
      Word{"plain", inText, false, &R::plain},

      Word{"pard", inText, false, &R::alignment, noAttribute},
      Word{"par", inText, false, &R::endOfParagraph},
      Word{"sect", inText, false, &R::endOfParagraph},
      Word{"row", inText, false, &R::endOfTableRow},
      Word{"nestrow", inText, false, &R::endOfTableRow},
  };
};

// The table of all words, which the compiler makes, is in the order of their names.
const RTFReader::Word* RTFReader::wordNamed(std::string_view name) {
  using R = RTFReader;
  static constexpr auto words =
      sortedByName(joined(Words::single,
                          rowsFor<Word>(skippedWords,
                                        [](std::string_view each) {
                                          constexpr auto skipped = static_cast<NSInteger>(Destination::Skipped);
                                          return Word{each, inText | inFonts, true, &R::openDestination, skipped};
                                        }),
                          rowsFor<Word>(textWords,
                                        [](std::string_view each) {
                                          constexpr auto text = static_cast<NSInteger>(Destination::Text);
                                          return Word{each, inText, true, &R::openDestination, text};
                                        }),
                          rowsFor<Word>(characterWords,
                                        [](const auto& each) {
                                          return Word{each.first, wherePlainTextIs, false, &R::character, each.second};
                                        }),
                          rowsFor<Word>(underlineWords,
                                        [](const auto& each) {
                                          return Word{each.first, inText, false, &R::underline, each.second};
                                        }),
                          rowsFor<Word>(strikethroughWords,
                                        [](const auto& each) {
                                          return Word{each.first, inText, false, &R::strikethrough, each.second};
                                        }),
                          rowsFor<Word>(superscriptWords,
                                        [](const auto& each) {
                                          return Word{each.first, inText, false, &R::superscript, each.second};
                                        }),
                          rowsFor<Word>(alignmentWords, [](const auto& each) {
                            return Word{each.first, inText, false, &R::alignment, each.second};
                          })));
  const auto* const found = std::ranges::lower_bound(words, name, {}, &Word::name);
  return found != words.end() && found->name == name ? found : nullptr;
}

void RTFReader::openDestination(const RTFToken&, NSInteger destination) {
  beginDestination(static_cast<Destination>(destination));
}

void RTFReader::character(const RTFToken&, NSInteger unit) { append(static_cast<char16_t>(unit)); }

void RTFReader::unicode(const RTFToken& token, NSInteger) {
  if (!token.hasParameter) return;
  // Units above 0x7FFF are written as negative numbers; some writers put whole characters.
  const std::int64_t value = token.parameter < 0 ? std::int64_t{token.parameter} + 0x10000 : token.parameter;
  const bool exists = value >= 0 && value <= 0x10FFFF;
  std::u16string units;
  foundation::appendCharacter(units, exists ? static_cast<char32_t>(value) : U'\uFFFD');
  append(units);
  fallbackToSkip_ = state().fallbackLength;
}

void RTFReader::unicodeFallback(const RTFToken& token, NSInteger) {
  state().fallbackLength = std::max(token.parameter, 0);
}

void RTFReader::codePage(const RTFToken&, NSInteger page) { codePage_ = static_cast<int>(page); }
void RTFReader::ansiCodePage(const RTFToken& token, NSInteger) { codePage_ = token.parameter; }

void RTFReader::defaultFont(const RTFToken& token, NSInteger) {
  defaultFont_ = token.parameter;
  state().character.font = token.parameter;
}

void RTFReader::tableFontCharset(const RTFToken& token, NSInteger) {
  // Documents in a code page that is none of Western Windows give all their fonts the "ANSI" set, and mean their own.
  const bool isWindows = codePage_ == 0 || (codePage_ >= 1250 && codePage_ <= 1258);
  font_.codePage = token.parameter == 0 && !isWindows ? 0 : codePageOfCharset(token.parameter);
}

void RTFReader::tableFontCodePage(const RTFToken& token, NSInteger) { font_.codePage = token.parameter; }

void RTFReader::red(const RTFToken& token, NSInteger) { red_ = colorComponent(token); }
void RTFReader::green(const RTFToken& token, NSInteger) { green_ = colorComponent(token); }
void RTFReader::blue(const RTFToken& token, NSInteger) { blue_ = colorComponent(token); }

double RTFReader::colorComponent(const RTFToken& token) {
  hasColor_ = true;
  return std::clamp(token.parameter, 0, 255) / 255.0;
}

void RTFReader::runKind(const RTFToken&, NSInteger kind) { state().runKind = static_cast<RTFRunKind>(kind); }

// What the plain words are about besides the text of all scripts.
RTFScriptStyle* RTFReader::styleOfRunKind() {
  if (state().runKind == RTFRunKind::DoubleByte) return &state().eastAsian;
  return state().runKind == RTFRunKind::RightToLeft ? &state().complex : nullptr;
}

// What the associated words are about; null where that is Western text, of which the plain words say the same.
RTFScriptStyle* RTFReader::associatedStyle() {
  RTFScriptStyle* const style = state().runKind == RTFRunKind::Unsaid ? &state().complex : styleOfRunKind();
  if (style) style->isGiven = true;
  return style;
}

void RTFReader::font(const RTFToken& token, NSInteger) {
  if (state().destination == Destination::FontTable) {
    finishFont();
    fontNumber_ = token.parameter;
    return;
  }
  state().character.font = token.parameter;
  if (auto* const style = styleOfRunKind()) style->font = token.parameter;
}

void RTFReader::size(const RTFToken& token, NSInteger) {
  state().character.size = pointsFrom(token, 2.0);
  if (auto* const style = styleOfRunKind()) style->size = pointsFrom(token, 2.0);
}

// Writers of this word know nothing of scripts.
void RTFReader::sizeInThousandths(const RTFToken& token, NSInteger) { setSizeForAllScripts(pointsFrom(token, 1000.0)); }

void RTFReader::setSizeForAllScripts(double points) {
  state().character.size = points;
  state().eastAsian.size = 0;
  state().complex.size = 0;
}

void RTFReader::bold(const RTFToken& token, NSInteger) {
  state().character.bold = isOn(token);
  if (auto* const style = styleOfRunKind()) style->bold = isOn(token);
}

void RTFReader::italic(const RTFToken& token, NSInteger) {
  state().character.italic = isOn(token);
  if (auto* const style = styleOfRunKind()) style->italic = isOn(token);
}

void RTFReader::associatedFont(const RTFToken& token, NSInteger) {
  if (auto* const style = associatedStyle()) style->font = token.parameter;
}

void RTFReader::associatedSize(const RTFToken& token, NSInteger) {
  if (auto* const style = associatedStyle()) style->size = pointsFrom(token, 2.0);
}

void RTFReader::associatedBold(const RTFToken& token, NSInteger) {
  if (auto* const style = associatedStyle()) style->bold = isOn(token);
}

void RTFReader::associatedItalic(const RTFToken& token, NSInteger) {
  if (auto* const style = associatedStyle()) style->italic = isOn(token);
}

void RTFReader::hidden(const RTFToken& token, NSInteger) { state().hidden = isOn(token); }
void RTFReader::deleted(const RTFToken& token, NSInteger) { state().deleted = isOn(token); }
void RTFReader::color(const RTFToken& token, NSInteger) { state().character.color = paletteIndex(token); }
void RTFReader::background(const RTFToken& token, NSInteger) { state().character.background = paletteIndex(token); }

void RTFReader::underline(const RTFToken& token, NSInteger style) {
  state().character.underline = valueIfOn(token, style);
}

void RTFReader::strikethrough(const RTFToken& token, NSInteger style) {
  state().character.strikethrough = valueIfOn(token, style);
}

void RTFReader::superscript(const RTFToken& token, NSInteger direction) {
  state().character.superscript = valueIfOn(token, direction);
}

// Text put above or below the line by a distance is taken for super- or subscript, as writers use it.
void RTFReader::shift(const RTFToken& token, NSInteger direction) {
  const bool isBack = token.hasParameter && token.parameter == 0;
  state().character.superscript = isBack ? noAttribute : token.parameter < 0 ? -direction : direction;
}

void RTFReader::plain(const RTFToken&, NSInteger) {
  RTFCharacterStyle style;
  style.font = defaultFont_;
  style.link = state().character.link;
  state().character = style;
  state().eastAsian = {};
  state().complex = {};
  state().runKind = RTFRunKind::Unsaid;
  state().hidden = false;
  state().deleted = false;
}

void RTFReader::alignment(const RTFToken&, NSInteger alignment) { state().alignment = alignment; }

void RTFReader::endOfParagraph(const RTFToken&, NSInteger) {
  // A paragraph whose end is left out goes on with the next one.
  if (isLeftOut()) return;
  append(u'\n');
  builder_.endParagraph(state().alignment);
  script_.reset();
}

void RTFReader::endOfTableRow(const RTFToken&, NSInteger) {
  if (isLeftOut()) return;
  // The last cell's mark gives way to the row's.
  if (!builder_.replaceLastTabByLineEnd()) append(u'\n');
  builder_.endParagraph(state().alignment);
  script_.reset();
}

void RTFReader::field(const RTFToken&, NSInteger) { state().fieldLink = -1; }

void RTFReader::fieldResult(const RTFToken&, NSInteger) {
  if (state().fieldLink >= 0) state().character.link = state().fieldLink;
}

}  // namespace appkit

}  // namespace telvo
