#pragma once

#include <string>
#include <string_view>

inline namespace telvo {

// How font names tell family and style. There is no catalogue of installed fonts behind it: a name is taken at its
// word. Any thread.
namespace appkit {

struct FontFace {
  std::u16string family;
  bool bold = false;
  bool italic = false;
};

// "Helvetica-BoldOblique" is bold and italic of "Helvetica". What follows the last hyphen is a style when it is made of
// style words only; else the whole name is the family's.
FontFace faceOfFont(std::u16string_view name);

// The name of that face: of the families that every platform knows, the one that their maker gave it; of others,
// the family followed by "-Bold", "-Italic" or "-BoldItalic". faceOfFont() of the result gives the face again.
std::u16string nameOfFace(const FontFace& face);

}  // namespace appkit

}  // namespace telvo
