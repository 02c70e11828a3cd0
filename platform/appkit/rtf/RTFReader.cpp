#include "appkit/rtf/RTFReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "appkit/rtf/RTFHyperlink.h"
#include "appkit/rtf/RTFSymbolFont.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

using appkit::RTFRunKind;
using appkit::RTFScript;
using appkit::RTFToken;

// Enough for every real document by far, and a bound for what the open groups take in memory.
constexpr std::size_t mostGroups = 1'000'000;

bool isBytes(const RTFToken& token) {
  const bool isEscaped =
      token.kind == RTFToken::Kind::Symbol && (token.text == "\\" || token.text == "{" || token.text == "}");
  return isEscaped || token.kind == RTFToken::Kind::Text || token.kind == RTFToken::Kind::Byte;
}

// Of text that does not tell by itself.
RTFScript scriptOfRunKind(RTFRunKind kind) {
  if (kind == RTFRunKind::DoubleByte) return RTFScript::EastAsian;
  return kind == RTFRunKind::RightToLeft ? RTFScript::Complex : RTFScript::Western;
}

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
  script_.reset();
  starred_ = false;
  failed_ = states_.size() >= mostGroups;
  if (!failed_) states_.push_back(State(state()));
}

void RTFReader::endGroup() {
  fallbackToSkip_ = 0;
  script_.reset();
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
  const Word* const found = wordNamed(token.text);
  const unsigned here = 1U << static_cast<unsigned>(state().destination);
  const bool applies = found && (found->destinations & here) != 0;
  if (mayBeIgnored && (!applies || !found->isDestination)) {
    beginDestination(Destination::Skipped);
  } else if (applies) {
    (this->*found->run)(token, found->argument);
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

void RTFReader::finishFont() {
  if (fontNumber_ >= 0) resources_.fonts.insert_or_assign(fontNumber_, std::move(font_));
  fontNumber_ = -1;
  font_ = {};
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
  const auto address = addressFromInstruction(instruction_);
  if (!address) return;
  const auto text = NSString::stringWithUnits(*address);
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
    if (std::isfinite(size) && size > 0.0) setSizeForAllScripts(size);
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

void RTFReader::flush() {
  if (bytes_.empty()) return;
  const auto font = resources_.fonts.find(fontOfBytes());
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
      if (!isLeftOut()) appendText(units);
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

// Text of different scripts may have fonts of its own.
void RTFReader::appendText(std::u16string_view units) {
  if (!state().eastAsian.isGiven && !state().complex.isGiven) return builder_.append(units, state().character);
  RTFScript script = script_.value_or(scriptOfRunKind(state().runKind));
  while (!units.empty()) {
    const std::u16string_view run = takeScriptRun(units, script);
    builder_.append(run, styleFor(script));
  }
  script_ = script;
}

RTFCharacterStyle RTFReader::styleFor(RTFScript script) const {
  RTFCharacterStyle style = states_.back().character;
  const bool isComplex = script == RTFScript::Complex;
  const RTFScriptStyle& own = isComplex ? states_.back().complex : states_.back().eastAsian;
  if (script == RTFScript::Western || !own.isGiven) return style;
  if (resources_.fonts.contains(own.font)) style.font = own.font;
  if (own.size > 0) style.size = own.size;
  // Word processors have one weight for Western and East Asian text, and another one for complex scripts.
  style.bold = own.bold.value_or(!isComplex && style.bold);
  style.italic = own.italic.value_or(!isComplex && style.italic);
  return style;
}

// The font in whose code page text is written.
std::int32_t RTFReader::fontOfBytes() const {
  const State& here = states_.back();
  const bool isEastAsian = here.runKind == RTFRunKind::DoubleByte && here.eastAsian.font >= 0;
  const bool isComplex = here.runKind == RTFRunKind::RightToLeft && here.complex.font >= 0;
  return isEastAsian ? here.eastAsian.font : isComplex ? here.complex.font : here.character.font;
}

}  // namespace appkit

}  // namespace telvo
