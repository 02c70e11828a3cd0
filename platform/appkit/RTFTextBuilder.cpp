#include "appkit/RTFTextBuilder.h"

#include <algorithm>
#include <compare>
#include <map>
#include <tuple>

#include "appkit/RTFFonts.h"
#include "foundation/NSDictionary.h"
#include "foundation/NSNumber.h"
#include "foundation/NSString.h"

namespace {

using appkit::noAttribute;
using appkit::RTFCharacterStyle;
using appkit::RTFResources;

struct Style {
  RTFCharacterStyle character;
  NSInteger alignment;
  auto operator<=>(const Style&) const = default;
};

// The dictionaries of a document, each made once.
class Attributes {
 public:
  explicit Attributes(const RTFResources& resources) : resources_(resources) {}

  const Ref<NSDictionary>& forStyle(const Style& style) {
    Ref<NSDictionary>& attributes = known_[style];
    if (!attributes) attributes = make(style);
    return attributes;
  }

 private:
  Ref<NSDictionary> make(const Style& style) {
    const RTFCharacterStyle& character = style.character;
    const auto attributes = NSMutableDictionary::dictionary();
    set(*attributes, NSFontAttributeName(), fontOf(character));
    set(*attributes, NSForegroundColorAttributeName(), at(resources_.palette, character.color));
    set(*attributes, NSBackgroundColorAttributeName(), at(resources_.palette, character.background));
    set(*attributes, NSUnderlineStyleAttributeName(), numberOf(character.underline));
    set(*attributes, NSStrikethroughStyleAttributeName(), numberOf(character.strikethrough));
    set(*attributes, NSSuperscriptAttributeName(), numberOf(character.superscript));
    set(*attributes, NSLinkAttributeName(), at(resources_.links, character.link));
    if (style.alignment != noAttribute) {
      const auto alignment = static_cast<NSTextAlignment>(style.alignment);
      set(*attributes, NSParagraphStyleAttributeName(), ::make<NSParagraphStyle>(alignment));
    }
    return as<NSDictionary>(attributes->copy());
  }

  // Text has a font when the document says anything about it; what is not said is Helvetica at 12 points.
  Ref<NSFont> fontOf(const RTFCharacterStyle& style) {
    const bool isNamed = resources_.fonts.contains(style.font);
    if (!isNamed && style.size <= 0 && !style.bold && !style.italic) return nil;
    Ref<NSFont>& face = faces_[{isNamed ? style.font : -1, style.bold, style.italic}];
    if (!face) {
      const std::u16string name = isNamed ? resources_.fonts.at(style.font).name : std::u16string();
      face = appkit::fontFromRTF(name, style.bold, style.italic, style.size);
    }
    return face->fontWithSize(style.size);
  }

  static void set(NSMutableDictionary& attributes, const Ref<NSString>& name, const id& value) {
    if (value) attributes.setObject_forKey(value, name);
  }

  static id numberOf(NSInteger value) { return value == noAttribute ? id() : id(NSNumber::numberWithInteger(value)); }

  template <class Value>
  static id at(const std::vector<Value>& values, std::int32_t index) {
    return index >= 0 && static_cast<std::size_t>(index) < values.size() ? id(values[static_cast<std::size_t>(index)])
                                                                         : id();
  }

  const RTFResources& resources_;
  std::map<Style, Ref<NSDictionary>> known_;
  std::map<std::tuple<std::int32_t, bool, bool>, Ref<NSFont>> faces_;  // by number, bold and italic, of any size
};

}  // namespace

namespace appkit {

void RTFTextBuilder::append(std::u16string_view units, const RTFCharacterStyle& style) {
  if (units.empty()) return;
  if (runs_.empty() || runs_.back().style != style) runs_.push_back({text_.size(), style});
  text_.append(units);
}

void RTFTextBuilder::endParagraph(NSInteger alignment) {
  if (!paragraphs_.empty() && paragraphs_.back().alignment == alignment) {
    paragraphs_.back().end = text_.size();
  } else {
    paragraphs_.push_back({text_.size(), alignment});
  }
}

bool RTFTextBuilder::replaceLastTabByLineEnd() {
  if (text_.empty() || text_.back() != u'\t') return false;
  text_.back() = u'\n';
  return true;
}

Ref<NSMutableAttributedString> RTFTextBuilder::styledText(const RTFResources& resources, NSInteger lastAlignment) {
  endParagraph(lastAlignment);
  Attributes attributes(resources);
  const auto styled = make<NSMutableAttributedString>(NSString::stringWithUnits(text_));
  styled->beginEditing();
  std::size_t paragraph = 0;
  for (std::size_t run = 0; run < runs_.size(); ++run) {
    const std::size_t runEnd = run + 1 < runs_.size() ? runs_[run + 1].location : text_.size();
    for (std::size_t at = runs_[run].location; at < runEnd;) {
      while (paragraphs_[paragraph].end <= at) ++paragraph;
      const std::size_t end = std::min(runEnd, paragraphs_[paragraph].end);
      styled->setAttributes_range(attributes.forStyle({runs_[run].style, paragraphs_[paragraph].alignment}),
                                  {at, end - at});
      at = end;
    }
  }
  styled->endEditing();
  return styled;
}

}  // namespace appkit
