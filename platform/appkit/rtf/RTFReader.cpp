#include "appkit/rtf/RTFReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <functional>
#include <utility>

#include "appkit/rtf/RTFHyperlink.h"
#include "appkit/rtf/RTFSymbolFont.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"

namespace {

using appkit::RTFToken;

// Enough for every real document by far, and a bound for what the open groups take in memory.
constexpr std::size_t mostGroups = 1'000'000;

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

constexpr std::array<std::pair<std::string_view, char16_t>, 20> characterWords{{
    {"tab", u'\t'},         {"line", u'\u2028'},      {"page", u'\f'},          {"cell", u'\t'},
    {"nestcell", u'\t'},    {"emdash", u'\u2014'},    {"endash", u'\u2013'},    {"emspace", u'\u2003'},
    {"enspace", u'\u2002'}, {"qmspace", u'\u2005'},   {"bullet", u'\u2022'},    {"lquote", u'\u2018'},
    {"rquote", u'\u2019'},  {"ldblquote", u'\u201C'}, {"rdblquote", u'\u201D'}, {"zwj", u'\u200D'},
    {"zwnj", u'\u200C'},    {"zwbo", u'\u200B'},      {"zwnbo", u'\u2060'},     {"ltrmark", u'\u200E'},
}};

bool isOn(const RTFToken& token) { return !token.hasParameter || token.parameter != 0; }

bool isBytes(const RTFToken& token) {
  const bool isEscaped =
      token.kind == RTFToken::Kind::Symbol && (token.text == "\\" || token.text == "{" || token.text == "}");
  return isEscaped || token.kind == RTFToken::Kind::Text || token.kind == RTFToken::Kind::Byte;
}

// The parameter in points; 0 for what is no size.
double pointsFrom(const RTFToken& token, double unit) { return std::max(token.parameter, 0) / unit; }

std::string_view withoutLeadingSpace(std::string_view bytes) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(byteOrderMark)) bytes.remove_prefix(byteOrderMark.size());
  bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t\r\n"), bytes.size()));
  return bytes;
}

std::vector<std::u16string_view> splitBy(std::u16string_view text, char16_t separator) {
  std::vector<std::u16string_view> parts;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    if (end > start) parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

template <class Number>
Number numberFrom(std::u16string_view text, Number missing) {
  const std::string digits(text.begin(), text.end());
  Number value = missing;
  std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return value;
}

}  // namespace

namespace appkit {

// The bit that tells the two forms of a link apart.
constexpr std::int32_t linkAsText = 1;

// What a control word does, in the destinations whose bits are set.
struct RTFReader::Handler {
  unsigned destinations;
  bool opensDestination;
  std::function<void(RTFReader& reader, const RTFToken& token)> run;
};

const std::unordered_map<std::string_view, RTFReader::Handler>& RTFReader::handlers() {
  using Words = std::unordered_map<std::string_view, Handler>;
  static const Words& words = *[] {
    constexpr auto bit = [](Destination destination) { return 1U << static_cast<unsigned>(destination); };
    constexpr unsigned inText = bit(Destination::Text);
    constexpr unsigned inFonts = bit(Destination::FontTable);
    constexpr unsigned inColors = bit(Destination::ColorTable);
    constexpr unsigned wherePlainTextIs =
        inText | inFonts | bit(Destination::Instruction) | bit(Destination::ExactValues);
    auto* const all = new Words;
    const auto add = [&](std::string_view word, unsigned destinations, auto run) {
      all->insert_or_assign(word, Handler{destinations, false, run});
    };
    const auto open = [&](std::string_view word, unsigned destinations, Destination destination) {
      all->insert_or_assign(word, Handler{destinations, true, [destination](RTFReader& reader, const RTFToken&) {
                                            reader.beginDestination(destination);
                                          }});
    };

    for (const std::string_view word : skippedWords) open(word, inText | inFonts, Destination::Skipped);
    open("fonttbl", inText, Destination::FontTable);
    open("colortbl", inText, Destination::ColorTable);
    open("fldinst", inText, Destination::Instruction);
    open("upr", inText, Destination::Alternatives);
    open("ud", bit(Destination::Alternatives), Destination::Text);
    open(exactValuesWord, inText, Destination::ExactValues);

    for (const auto& [word, unit] : characterWords) {
      add(word, wherePlainTextIs, [unit = unit](RTFReader& reader, const RTFToken&) { reader.append(unit); });
    }
    add("rtlmark", wherePlainTextIs, [](RTFReader& reader, const RTFToken&) { reader.append(u'\u200F'); });
    add("u", wherePlainTextIs, [](RTFReader& reader, const RTFToken& token) { reader.unicode(token); });
    add("uc", wherePlainTextIs,
        [](RTFReader& reader, const RTFToken& token) { reader.state().fallbackLength = std::max(token.parameter, 0); });

    const auto codePage = [&](std::string_view word, int page) {
      add(word, inText, [page](RTFReader& reader, const RTFToken&) { reader.codePage_ = page; });
    };
    codePage("mac", 10000);
    codePage("pc", 437);
    codePage("pca", 850);
    add("ansicpg", inText, [](RTFReader& reader, const RTFToken& token) { reader.codePage_ = token.parameter; });

    add("deff", inText, [](RTFReader& reader, const RTFToken& token) {
      reader.defaultFont_ = token.parameter;
      reader.state().character.font = token.parameter;
    });
    add("f", inText | inFonts, [](RTFReader& reader, const RTFToken& token) { reader.fontNumber(token); });
    add("fcharset", inFonts, [](RTFReader& reader, const RTFToken& token) { reader.fontCharset(token); });
    add("cpg", inFonts, [](RTFReader& reader, const RTFToken& token) { reader.font_.codePage = token.parameter; });
    add("red", inColors,
        [](RTFReader& reader, const RTFToken& token) { reader.colorComponent(&RTFReader::red_, token); });
    add("green", inColors,
        [](RTFReader& reader, const RTFToken& token) { reader.colorComponent(&RTFReader::green_, token); });
    add("blue", inColors,
        [](RTFReader& reader, const RTFToken& token) { reader.colorComponent(&RTFReader::blue_, token); });

    add("fs", inText,
        [](RTFReader& reader, const RTFToken& token) { reader.state().character.size = pointsFrom(token, 2.0); });
    add("fsmilli", inText,
        [](RTFReader& reader, const RTFToken& token) { reader.state().character.size = pointsFrom(token, 1000.0); });
    add("b", inText, [](RTFReader& reader, const RTFToken& token) { reader.state().character.bold = isOn(token); });
    add("i", inText, [](RTFReader& reader, const RTFToken& token) { reader.state().character.italic = isOn(token); });
    add("v", inText, [](RTFReader& reader, const RTFToken& token) { reader.state().hidden = isOn(token); });
    add("deleted", inText, [](RTFReader& reader, const RTFToken& token) { reader.state().deleted = isOn(token); });
    add("cf", inText,
        [](RTFReader& reader, const RTFToken& token) { reader.state().character.color = reader.paletteIndex(token); });
    for (const std::string_view word : {"cb", "chcbpat", "highlight"}) {
      add(word, inText, [](RTFReader& reader, const RTFToken& token) {
        reader.state().character.background = reader.paletteIndex(token);
      });
    }
    const auto addStyles = [&](const auto& table, NSInteger RTFCharacterStyle::*attribute) {
      for (const auto& [word, value] : table) {
        add(word, inText, [attribute, value = value](RTFReader& reader, const RTFToken& token) {
          reader.state().character.*attribute = isOn(token) ? value : noAttribute;
        });
      }
    };
    addStyles(underlineWords, &RTFCharacterStyle::underline);
    addStyles(strikethroughWords, &RTFCharacterStyle::strikethrough);
    addStyles(superscriptWords, &RTFCharacterStyle::superscript);
    add("ulnone", inText, [](RTFReader& reader, const RTFToken&) { reader.state().character.underline = noAttribute; });
    add("nosupersub", inText,
        [](RTFReader& reader, const RTFToken&) { reader.state().character.superscript = noAttribute; });
    add("up", inText, [](RTFReader& reader, const RTFToken& token) { reader.shift(token, 1); });
    add("dn", inText, [](RTFReader& reader, const RTFToken& token) { reader.shift(token, -1); });
    add("plain", inText, [](RTFReader& reader, const RTFToken&) { reader.plain(); });

    for (const auto& [word, alignment] : alignmentWords) {
      add(word, inText,
          [alignment = alignment](RTFReader& reader, const RTFToken&) { reader.state().alignment = alignment; });
    }
    add("pard", inText, [](RTFReader& reader, const RTFToken&) { reader.state().alignment = noAttribute; });
    for (const std::string_view word : {"par", "sect"}) {
      add(word, inText, [](RTFReader& reader, const RTFToken&) { reader.endOfParagraph(); });
    }
    for (const std::string_view word : {"row", "nestrow"}) {
      add(word, inText, [](RTFReader& reader, const RTFToken&) { reader.endOfTableRow(); });
    }

    add("field", inText, [](RTFReader& reader, const RTFToken&) { reader.state().fieldLink = -1; });
    add("fldrslt", inText, [](RTFReader& reader, const RTFToken&) {
      if (reader.state().fieldLink >= 0) reader.state().character.link = reader.state().fieldLink;
    });
    return all;
  }();
  return words;
}

RTFReader::RTFReader(std::string_view bytes) : tokenizer_(withoutLeadingSpace(bytes)) {}

Ref<NSAttributedString> RTFReader::read() {
  if (!readHeader()) return nil;
  while (!states_.empty() && !failed_) {
    const RTFToken token = tokenizer_.next();
    if (token.kind == RTFToken::Kind::End) break;
    process(token);
  }
  if (failed_) return nil;
  flush();
  if (!states_.empty()) lastAlignment_ = state().alignment;
  return builder_.styledText(resources_, lastAlignment_);
}

bool RTFReader::readHeader() {
  if (tokenizer_.next().kind != RTFToken::Kind::GroupStart) return false;
  const RTFToken word = tokenizer_.next();
  states_.emplace_back();
  return word.kind == RTFToken::Kind::Word && word.text == "rtf";
}

void RTFReader::process(const RTFToken& token) {
  // The bytes of one double-byte character may come in different forms; everything else ends the text before it.
  if (!isBytes(token)) flush();
  if (isFallback(token)) {
    --fallbackToSkip_;
    return;
  }
  switch (token.kind) {
    case RTFToken::Kind::GroupStart:
      beginGroup();
      break;
    case RTFToken::Kind::GroupEnd:
      endGroup();
      break;
    case RTFToken::Kind::Word:
      word(token);
      break;
    case RTFToken::Kind::Symbol:
      symbol(token.text.front());
      break;
    case RTFToken::Kind::Byte:
      bytes_.push_back(static_cast<char>(static_cast<unsigned char>(token.parameter)));
      break;
    case RTFToken::Kind::Text:
      text(token.text);
      break;
    case RTFToken::Kind::Binary:
    case RTFToken::Kind::End:
      break;
  }
}

// A control word counts as one character of a fallback; only \u itself never does, since writers that leave the
// fallback out go on with the next \u.
bool RTFReader::isFallback(const RTFToken& token) const {
  if (fallbackToSkip_ == 0) return false;
  switch (token.kind) {
    case RTFToken::Kind::Word:
      return token.text != "u";
    case RTFToken::Kind::Symbol:
    case RTFToken::Kind::Byte:
    case RTFToken::Kind::Binary:
      return true;
    default:
      return false;
  }
}

void RTFReader::beginGroup() {
  fallbackToSkip_ = 0;
  starred_ = false;
  failed_ = states_.size() >= mostGroups;
  if (!failed_) states_.push_back(State(state()));
}

void RTFReader::endGroup() {
  fallbackToSkip_ = 0;
  starred_ = false;
  const State ended = state();
  states_.pop_back();
  if (states_.empty()) {
    lastAlignment_ = ended.alignment;
    return;
  }
  if (ended.destination == Destination::FontTable) finishFont();
  if (ended.destination == state().destination) return;
  if (ended.destination == Destination::Instruction) finishInstruction();
  if (ended.destination == Destination::ExactValues) finishExactValues();
}

void RTFReader::text(std::string_view bytes) {
  starred_ = false;
  const auto skipped = static_cast<std::size_t>(std::min(fallbackToSkip_, static_cast<std::int64_t>(bytes.size())));
  fallbackToSkip_ -= static_cast<std::int64_t>(skipped);
  bytes.remove_prefix(skipped);
  const bool isTable = state().destination == Destination::FontTable || state().destination == Destination::ColorTable;
  if (!isTable) {
    bytes_.append(bytes);
    return;
  }
  // A semicolon ends an entry of either table.
  for (std::size_t end = bytes.find(';'); end != std::string_view::npos; end = bytes.find(';')) {
    bytes_.append(bytes.substr(0, end));
    flush();
    if (state().destination == Destination::FontTable) {
      finishFont();
    } else {
      finishColor();
    }
    bytes.remove_prefix(end + 1);
  }
  bytes_.append(bytes);
}

void RTFReader::symbol(char character) {
  switch (character) {
    case '*':
      starred_ = true;
      return;
    case '\\':
    case '{':
    case '}':
      bytes_.push_back(character);
      return;
    case '~':
      append(u'\u00A0');
      return;
    case '-':
      append(u'\u00AD');
      return;
    case '_':
      append(u'\u2011');
      return;
    default:
      return;
  }
}

void RTFReader::word(const RTFToken& token) {
  const bool mayBeIgnored = std::exchange(starred_, false);
  const auto found = handlers().find(token.text);
  const unsigned here = 1U << static_cast<unsigned>(state().destination);
  const bool applies = found != handlers().end() && (found->second.destinations & here) != 0;
  if (mayBeIgnored && (!applies || !found->second.opensDestination)) {
    beginDestination(Destination::Skipped);
  } else if (applies) {
    found->second.run(*this, token);
  }
}

void RTFReader::beginDestination(Destination destination) {
  state().destination = destination;
  switch (destination) {
    case Destination::FontTable:
      finishFont();
      break;
    case Destination::ColorTable:
      colorTable_ = resources_.palette.size();
      colorCount_ = 0;
      hasColor_ = false;
      break;
    case Destination::Instruction:
      instruction_.clear();
      break;
    case Destination::ExactValues:
      exactValues_.clear();
      break;
    default:
      break;
  }
}

void RTFReader::fontNumber(const RTFToken& token) {
  if (state().destination == Destination::Text) {
    state().character.font = token.parameter;
    return;
  }
  finishFont();
  fontNumber_ = token.parameter;
}

void RTFReader::fontCharset(const RTFToken& token) {
  // Documents in a code page that is none of Western Windows give all their fonts the "ANSI" set, and mean their own.
  const bool isWindows = codePage_ == 0 || (codePage_ >= 1250 && codePage_ <= 1258);
  font_.codePage = token.parameter == 0 && !isWindows ? 0 : codePageOfCharset(token.parameter);
}

void RTFReader::finishFont() {
  if (fontNumber_ >= 0) resources_.fonts.insert_or_assign(fontNumber_, std::move(font_));
  fontNumber_ = -1;
  font_ = {};
}

void RTFReader::colorComponent(double RTFReader::*component, const RTFToken& token) {
  this->*component = std::clamp(token.parameter, 0, 255) / 255.0;
  hasColor_ = true;
}

void RTFReader::finishColor() {
  // An entry without components is the default colour.
  resources_.palette.push_back(std::exchange(hasColor_, false) ? make<NSColor>(red_, green_, blue_, 1.0)
                                                               : Ref<NSColor>());
  ++colorCount_;
  red_ = green_ = blue_ = 0;
}

std::int32_t RTFReader::paletteIndex(const RTFToken& token) const {
  const bool exists = token.parameter >= 0 && static_cast<std::size_t>(token.parameter) < colorCount_;
  if (!exists) return -1;
  const std::size_t index = colorTable_ + static_cast<std::size_t>(token.parameter);
  return resources_.palette[index] ? static_cast<std::int32_t>(index) : -1;
}

void RTFReader::finishInstruction() {
  const std::u16string address = addressFromInstruction(instruction_);
  if (address.empty()) return;
  const auto text = NSString::stringWithUnits(address);
  const auto url = NSURL::URLWithString(text);
  // Both forms side by side: the address as what it reads like, and as text.
  state().fieldLink = static_cast<std::int32_t>(resources_.links.size());
  resources_.links.push_back(url ? id(url) : id(text));
  resources_.links.push_back(text);
}

void RTFReader::finishExactValues() {
  for (const std::u16string_view word : splitBy(exactValues_, u' ')) {
    const std::size_t equals = word.find(u'=');
    if (equals != std::u16string_view::npos) applyExactValue(word.substr(0, equals), word.substr(equals + 1));
  }
}

void RTFReader::applyExactValue(std::u16string_view name, std::u16string_view value) {
  RTFCharacterStyle& style = state().character;
  if (name == exactSize) {
    const double size = numberFrom(value, 0.0);
    if (std::isfinite(size) && size > 0.0) style.size = size;
  } else if (name == exactUnderline) {
    style.underline = numberFrom(value, style.underline);
  } else if (name == exactStrikethrough) {
    style.strikethrough = numberFrom(value, style.strikethrough);
  } else if (name == exactSuperscript) {
    style.superscript = numberFrom(value, style.superscript);
  } else if (name == exactColor || name == exactBackground) {
    const auto parts = splitBy(value, u',');
    if (parts.size() != 4) return;
    (name == exactColor ? style.color : style.background) = static_cast<std::int32_t>(resources_.palette.size());
    resources_.palette.push_back(make<NSColor>(numberFrom(parts[0], 0.0), numberFrom(parts[1], 0.0),
                                               numberFrom(parts[2], 0.0), numberFrom(parts[3], 1.0)));
  } else if (name == exactLink && value == exactLinkIsText && style.link >= 0) {
    style.link |= linkAsText;
  }
}

void RTFReader::unicode(const RTFToken& token) {
  if (!token.hasParameter) return;
  // Units above 0x7FFF are written as negative numbers; some writers put whole characters.
  const std::int64_t value = token.parameter < 0 ? std::int64_t{token.parameter} + 0x10000 : token.parameter;
  if (value < 0 || value > 0x10FFFF) {
    append(u'\uFFFD');
  } else if (value < 0x10000) {
    append(static_cast<char16_t>(value));
  } else {
    const std::array<char16_t, 2> pair{static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10)),
                                       static_cast<char16_t>(0xDC00 + ((value - 0x10000) & 0x3FF))};
    append(std::u16string_view(pair.data(), pair.size()));
  }
  fallbackToSkip_ = state().fallbackLength;
}

// Text put above or below the line by a distance is taken for super- or subscript, as writers use it.
void RTFReader::shift(const RTFToken& token, NSInteger direction) {
  const bool isBack = token.hasParameter && token.parameter == 0;
  state().character.superscript = isBack ? noAttribute : token.parameter < 0 ? -direction : direction;
}

void RTFReader::plain() {
  RTFCharacterStyle style;
  style.font = defaultFont_;
  style.link = state().character.link;
  state().character = style;
  state().hidden = false;
  state().deleted = false;
}

void RTFReader::endOfParagraph() {
  // A paragraph whose end is left out goes on with the next one.
  if (isLeftOut()) return;
  append(u'\n');
  builder_.endParagraph(state().alignment);
}

void RTFReader::endOfTableRow() {
  if (isLeftOut()) return;
  // The last cell's mark gives way to the row's.
  if (!builder_.replaceLastTabByLineEnd()) append(u'\n');
  builder_.endParagraph(state().alignment);
}

void RTFReader::flush() {
  if (bytes_.empty()) return;
  const auto font = resources_.fonts.find(state().character.font);
  const bool isText = state().destination == Destination::Text && font != resources_.fonts.end();
  int codePage = isText ? font->second.codePage : 0;
  if (state().destination == Destination::FontTable && font_.codePage != symbolCodePage) codePage = font_.codePage;
  if (codePage == symbolCodePage) {
    append(textOfSymbols(bytes_, font->second.name));
  } else {
    append(decoder_.decode(bytes_, codePage > 0 ? codePage : codePage_));
  }
  bytes_.clear();
}

void RTFReader::append(std::u16string_view units) {
  switch (state().destination) {
    case Destination::Text:
      if (!isLeftOut()) builder_.append(units, state().character);
      break;
    case Destination::FontTable:
      font_.name.append(units);
      break;
    case Destination::Instruction:
      instruction_.append(units);
      break;
    case Destination::ExactValues:
      exactValues_.append(units);
      break;
    default:
      break;
  }
}

}  // namespace appkit
