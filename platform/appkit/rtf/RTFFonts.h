#pragma once

#include <string>
#include <string_view>

#include "appkit/NSFont.h"

inline namespace telvo {

namespace appkit {

// The font that a document means by a name in its font table together with \b and \i: these add to what the name says.
Ref<NSFont> fontFromRTF(std::u16string_view tableName, bool bold, bool italic, double size);

// The name to put into the font table for the font: its family's where that leads back to this very font, because
// other readers know families and not faces; else the font's own.
std::u16string tableNameOfFont(const NSFont& font);

// The word for the kind of typeface, by which readers choose a substitute: "froman", "fswiss", "fmodern" or "fnil".
std::string_view familyWordOfFont(const NSFont& font);

}  // namespace appkit

}  // namespace telvo
