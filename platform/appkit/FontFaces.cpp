#include "appkit/FontFaces.h"

#include <algorithm>
#include <array>
#include <cstddef>

inline namespace telvo {

namespace {

constexpr std::size_t boldBit = 1;
constexpr std::size_t italicBit = 2;

struct Family {
  std::u16string_view name;
  std::array<std::u16string_view, 4> faces;  // by boldBit and italicBit
};

constexpr std::array<Family, 6> families{{
    {u"Helvetica", {u"Helvetica", u"Helvetica-Bold", u"Helvetica-Oblique", u"Helvetica-BoldOblique"}},
    {u"Times", {u"Times-Roman", u"Times-Bold", u"Times-Italic", u"Times-BoldItalic"}},
    {u"Courier", {u"Courier", u"Courier-Bold", u"Courier-Oblique", u"Courier-BoldOblique"}},
    {u"Arial", {u"ArialMT", u"Arial-BoldMT", u"Arial-ItalicMT", u"Arial-BoldItalicMT"}},
    {u"Times New Roman",
     {u"TimesNewRomanPSMT", u"TimesNewRomanPS-BoldMT", u"TimesNewRomanPS-ItalicMT", u"TimesNewRomanPS-BoldItalicMT"}},
    {u"Courier New",
     {u"CourierNewPSMT", u"CourierNewPS-BoldMT", u"CourierNewPS-ItalicMT", u"CourierNewPS-BoldItalicMT"}},
}};

struct StyleWord {
  std::u16string_view text;
  std::size_t bits;
};

// Longer words stand before their beginnings.
constexpr std::array<StyleWord, 27> styleWords{{
    {u"regular", 0},         {u"roman", 0},        {u"normal", 0},      {u"book", 0},
    {u"medium", 0},          {u"bold", boldBit},   {u"semi", 0},        {u"demi", boldBit},
    {u"heavy", boldBit},     {u"black", boldBit},  {u"extra", 0},       {u"ultra", 0},
    {u"light", 0},           {u"thin", 0},         {u"hairline", 0},    {u"italic", italicBit},
    {u"oblique", italicBit}, {u"ital", italicBit}, {u"obl", italicBit}, {u"it", italicBit},
    {u"condensed", 0},       {u"compressed", 0},   {u"cond", 0},        {u"narrow", 0},
    {u"expanded", 0},        {u"wide", 0},         {u"mt", 0},
}};

std::u16string lowercaseASCII(std::u16string_view text) {
  std::u16string lower(text);
  for (char16_t& unit : lower) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit + (u'a' - u'A'));
  }
  return lower;
}

constexpr std::size_t noStyle = 4;

// The bits of a text that is made of style words only, or noStyle.
std::size_t styleFrom(std::u16string_view text) {
  const std::u16string lower = lowercaseASCII(text);
  std::u16string_view rest = lower;
  if (rest.empty()) return noStyle;
  std::size_t bits = 0;
  while (!rest.empty()) {
    const auto word =
        std::ranges::find_if(styleWords, [&](const StyleWord& each) { return rest.starts_with(each.text); });
    if (word == styleWords.end()) return noStyle;
    bits |= word->bits;
    rest.remove_prefix(word->text.size());
  }
  return bits;
}

appkit::FontFace face(std::u16string_view family, std::size_t bits) {
  return {std::u16string(family), (bits & boldBit) != 0, (bits & italicBit) != 0};
}

}  // namespace

appkit::FontFace appkit::faceOfFont(std::u16string_view name) {
  for (const Family& family : families) {
    if (name == family.name) return face(name, 0);
    const auto found = std::ranges::find(family.faces, name);
    if (found != family.faces.end()) return face(family.name, static_cast<std::size_t>(found - family.faces.begin()));
  }
  const std::size_t hyphen = name.rfind(u'-');
  if (hyphen == std::u16string_view::npos || hyphen == 0) return face(name, 0);
  const std::size_t bits = styleFrom(name.substr(hyphen + 1));
  return bits == noStyle ? face(name, 0) : face(name.substr(0, hyphen), bits);
}

std::u16string appkit::nameOfFace(const FontFace& face) {
  const std::size_t bits = (face.bold ? boldBit : 0) | (face.italic ? italicBit : 0);
  const auto known = std::ranges::find(families, face.family, &Family::name);
  if (known != families.end()) return std::u16string(known->faces[bits]);
  static constexpr std::array<std::u16string_view, 4> suffixes{u"", u"-Bold", u"-Italic", u"-BoldItalic"};
  return face.family + std::u16string(suffixes[bits]);
}

}  // namespace telvo
