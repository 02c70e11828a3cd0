#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "appkit/NSAttributedString+AppKit.h"
#include "appkit/NSParagraphStyle.h"

inline namespace telvo {

// What a run of text in an RTF document looks like, and the control words that reader and writer share.
namespace appkit {

// An attribute that the run does not have.
inline constexpr NSInteger noAttribute = std::numeric_limits<NSInteger>::min();

struct RTFCharacterStyle {
  std::int32_t font = -1;        // number in the font table
  std::int32_t color = -1;       // index into the palette
  std::int32_t background = -1;  // index into the palette
  std::int32_t link = -1;        // index into the links
  double size = 0;               // points, finite; 0 when the document does not say
  NSInteger underline = noAttribute;
  NSInteger strikethrough = noAttribute;
  NSInteger superscript = noAttribute;
  bool bold = false;
  bool italic = false;

  // Any order, for look-ups.
  auto operator<=>(const RTFCharacterStyle&) const = default;
};

template <class Value>
using RTFWordTable = std::pair<std::string_view, Value>;

// One word for each style; the first of several that mean the same is the one that is written.
inline constexpr std::array<RTFWordTable<NSInteger>, 15> underlineWords{{
    {"ul", NSUnderlineStyleSingle},
    {"uldb", NSUnderlineStyleDouble},
    {"ulth", NSUnderlineStyleThick},
    {"ulw", NSUnderlineStyleSingle | NSUnderlineStyleByWord},
    {"uld", NSUnderlineStyleSingle | NSUnderlineStylePatternDot},
    {"uldash", NSUnderlineStyleSingle | NSUnderlineStylePatternDash},
    {"uldashd", NSUnderlineStyleSingle | NSUnderlineStylePatternDashDot},
    {"uldashdd", NSUnderlineStyleSingle | NSUnderlineStylePatternDashDotDot},
    {"ulthd", NSUnderlineStyleThick | NSUnderlineStylePatternDot},
    {"ulthdash", NSUnderlineStyleThick | NSUnderlineStylePatternDash},
    {"ulthdashd", NSUnderlineStyleThick | NSUnderlineStylePatternDashDot},
    {"ulthdashdd", NSUnderlineStyleThick | NSUnderlineStylePatternDashDotDot},
    {"ulldash", NSUnderlineStyleSingle | NSUnderlineStylePatternDash},
    {"ulwave", NSUnderlineStyleSingle},
    {"ululdbwave", NSUnderlineStyleDouble},
}};

inline constexpr std::array<RTFWordTable<NSInteger>, 2> strikethroughWords{{
    {"strike", NSUnderlineStyleSingle},
    {"striked", NSUnderlineStyleDouble},
}};

inline constexpr std::array<RTFWordTable<NSInteger>, 2> superscriptWords{{{"super", 1}, {"sub", -1}}};

inline constexpr std::array<RTFWordTable<NSInteger>, 6> alignmentWords{{
    {"ql", NSTextAlignmentLeft},
    {"qr", NSTextAlignmentRight},
    {"qc", NSTextAlignmentCenter},
    {"qj", NSTextAlignmentJustified},
    {"qnatural", NSTextAlignmentNatural},
    {"qd", NSTextAlignmentJustified},
}};

// Values that the control words above are too coarse for travel in an ignorable destination of this name, as words of
// the form "name=value"; other readers skip it.
inline constexpr std::string_view exactValuesWord = "telvoexact";
inline constexpr std::u16string_view exactSize = u"size";
inline constexpr std::u16string_view exactColor = u"color";
inline constexpr std::u16string_view exactBackground = u"background";
inline constexpr std::u16string_view exactUnderline = u"underline";
inline constexpr std::u16string_view exactStrikethrough = u"strikethrough";
inline constexpr std::u16string_view exactSuperscript = u"superscript";
inline constexpr std::u16string_view exactLink = u"link";
inline constexpr std::u16string_view exactLinkIsText = u"text";

}  // namespace appkit

}  // namespace telvo
