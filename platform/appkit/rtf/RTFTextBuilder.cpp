#include "appkit/rtf/RTFTextBuilder.h"

#include <algorithm>
#include <array>
#include <compare>
#include <map>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "appkit/rtf/RTFFonts.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/files/NSURL.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

using appkit::noAttribute;
using appkit::RTFCharacterStyle;
using appkit::RTFResources;

struct Style {
  RTFCharacterStyle character;
  NSInteger alignment;
  auto operator<=>(const Style&) const = default;
};

// The dictionaries of a document, each made once: of equal ones there is only one. Names and addresses, which a
// document can make arbitrarily long, are looked at where they are defined and never for each run.
class Attributes {
 public:
  explicit Attributes(const RTFResources& resources) : resources_(resources) {}

  const Ref<NSDictionary>& forStyle(const Style& style) {
    Ref<NSDictionary>& attributes = byStyle_[style];
    if (!attributes) attributes = make(style);
    return attributes;
  }

 private:
  // Fonts, colours and links are here the only ones of their kind, so that their addresses will do.
  using Values = std::tuple<const NSObject*, const NSObject*, const NSObject*, const NSObject*, NSInteger, NSInteger,
                            NSInteger, NSInteger>;

  Ref<NSDictionary> make(const Style& style) {
    const RTFCharacterStyle& character = style.character;
    const id font = fontOf(character);
    const id color = colorAt(character.color);
    const id background = colorAt(character.background);
    const id link = linkAt(character.link);
    Ref<NSDictionary>& made =
        byValues_[Values{font.get(), color.get(), background.get(), link.get(), character.underline,
                         character.strikethrough, character.superscript, style.alignment}];
    if (made) return made;
    const auto attributes = NSMutableDictionary::dictionary();
    set(*attributes, NSFontAttributeName(), font);
    set(*attributes, NSForegroundColorAttributeName(), color);
    set(*attributes, NSBackgroundColorAttributeName(), background);
    set(*attributes, NSUnderlineStyleAttributeName(), numberOf(character.underline));
    set(*attributes, NSStrikethroughStyleAttributeName(), numberOf(character.strikethrough));
    set(*attributes, NSSuperscriptAttributeName(), numberOf(character.superscript));
    set(*attributes, NSLinkAttributeName(), link);
    if (style.alignment != noAttribute) {
      const auto alignment = static_cast<NSTextAlignment>(style.alignment);
      set(*attributes, NSParagraphStyleAttributeName(), ::make<NSParagraphStyle>(alignment));
    }
    made = as<NSDictionary>(attributes->copy());
    return made;
  }

  // Text has a font when the document says anything about it; what is not said is Helvetica at 12 points.
  id fontOf(const RTFCharacterStyle& style) {
    const bool isNamed = resources_.fonts.contains(style.font);
    if (!isNamed && style.size <= 0 && !style.bold && !style.italic) return nil;
    Ref<NSFont>& face = faces_[{isNamed ? style.font : -1, style.bold, style.italic}];
    if (!face) {
      const std::u16string name = isNamed ? resources_.fonts.at(style.font).name : std::u16string();
      const auto font = appkit::fontFromRTF(name, style.bold, style.italic, style.size);
      face = facesByName_.try_emplace(std::u16string(font->fontName()->units()), font).first->second;
    }
    const auto sized = face->fontWithSize(style.size);
    return fonts_.try_emplace({face.get(), sized->pointSize()}, sized).first->second;
  }

  id colorAt(std::int32_t index) {
    const id value = at(resources_.palette, index);
    const auto color = as<NSColor>(value);
    if (!color) return nil;
    return colors_
        .try_emplace({color->redComponent(), color->greenComponent(), color->blueComponent(), color->alphaComponent()},
                     color)
        .first->second;
  }

  id linkAt(std::int32_t index) {
    const id value = at(resources_.links, index);
    if (!value) return nil;
    id& link = links_[index];
    if (link) return link;
    const auto url = as<NSURL>(value);
    auto& sameKind = url ? urls_ : texts_;
    link = sameKind.try_emplace(value->description()->UTF8String(), value).first->second;
    return link;
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
  std::map<Style, Ref<NSDictionary>> byStyle_;
  std::map<Values, Ref<NSDictionary>> byValues_;
  std::map<std::tuple<std::int32_t, bool, bool>, Ref<NSFont>> faces_;  // by number, bold and italic, of any size
  std::unordered_map<std::u16string, Ref<NSFont>> facesByName_;
  std::map<std::pair<const NSObject*, double>, Ref<NSFont>> fonts_;  // by face and size
  std::map<std::array<double, 4>, Ref<NSColor>> colors_;             // by components
  std::map<std::int32_t, id> links_;                                 // by number
  std::unordered_map<std::string, id> urls_;                         // by text
  std::unordered_map<std::string, id> texts_;
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

Ref<NSAttributedString> RTFTextBuilder::styledText(const RTFResources& resources, NSInteger lastAlignment) {
  endParagraph(lastAlignment);
  Attributes attributes(resources);
  const auto styled = make<NSMutableAttributedString>(NSString::stringWithUnits(text_));
  // Never ended: it would compare the attributes of neighbouring runs, which are joined here already.
  styled->beginEditing();
  Ref<NSDictionary> pending;
  std::size_t start = 0;
  std::size_t paragraph = 0;
  for (std::size_t run = 0; run < runs_.size(); ++run) {
    const std::size_t runEnd = run + 1 < runs_.size() ? runs_[run + 1].location : text_.size();
    for (std::size_t at = runs_[run].location; at < runEnd;) {
      while (paragraphs_[paragraph].end <= at) ++paragraph;
      const auto& here = attributes.forStyle({runs_[run].style, paragraphs_[paragraph].alignment});
      if (here != pending) {
        styled->setAttributes_range(pending, {start, at - start});
        pending = here;
        start = at;
      }
      at = std::min(runEnd, paragraphs_[paragraph].end);
    }
  }
  styled->setAttributes_range(pending, {start, text_.size() - start});
  return make<NSAttributedString>(Ref<NSAttributedString>(styled));
}

}  // namespace appkit

}  // namespace telvo
