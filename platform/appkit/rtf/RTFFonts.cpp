#include "appkit/rtf/RTFFonts.h"

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

constexpr std::array<std::pair<std::u16string_view, std::string_view>, 8> familyWords{{
    {u"Times", "froman"},
    {u"Times New Roman", "froman"},
    {u"Georgia", "froman"},
    {u"Helvetica", "fswiss"},
    {u"Arial", "fswiss"},
    {u"Verdana", "fswiss"},
    {u"Courier", "fmodern"},
    {u"Courier New", "fmodern"},
}};

}  // namespace

Ref<NSFont> appkit::fontFromRTF(std::u16string_view tableName, bool bold, bool italic, double size) {
  auto font = NSFont::fontWithName_size(NSString::stringWithUnits(std::u16string(tableName)), size);
  if (!font) font = NSFont::userFontOfSize(size);
  const NSUInteger traits =
      font->traits() | (bold ? NSUInteger{NSBoldFontMask} : 0) | (italic ? NSUInteger{NSItalicFontMask} : 0);
  if (traits == font->traits()) return font;
  return NSFont::fontWithFamily_traits_size(font->familyName(), traits, size);
}

std::u16string appkit::tableNameOfFont(const NSFont& font) {
  const std::u16string family(font.familyName()->units());
  const bool bold = (font.traits() & NSBoldFontMask) != 0;
  const bool italic = (font.traits() & NSItalicFontMask) != 0;
  const bool leadsBack = fontFromRTF(family, bold, italic, font.pointSize())->isEqual(font.self());
  return leadsBack ? family : std::u16string(font.fontName()->units());
}

std::string_view appkit::familyWordOfFont(const NSFont& font) {
  const auto* const found = std::ranges::find(familyWords, font.familyName()->units(),
                                              &std::pair<std::u16string_view, std::string_view>::first);
  return found == familyWords.end() ? "fnil" : found->second;
}

}  // namespace telvo
