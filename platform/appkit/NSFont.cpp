#include "appkit/NSFont.h"

#include <cmath>

#include "appkit/FontFaces.h"
#include "foundation/coding/NSCoder.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

const NSRegisteredClass registration(NSFont::classObject());

constexpr double userFontSize = 12.0;

double usableSize(double size) { return std::isfinite(size) && size > 0.0 ? size : userFontSize; }

std::u16string_view trimmed(std::u16string_view text) {
  constexpr std::u16string_view whitespace = u" \t\r\n\u00A0";
  const std::size_t first = text.find_first_not_of(whitespace);
  if (first == std::u16string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

Ref<NSFont> fontOf(const appkit::FontFace& face, std::u16string name, double size) {
  const NSUInteger traits =
      (face.bold ? NSUInteger{NSBoldFontMask} : 0) | (face.italic ? NSUInteger{NSItalicFontMask} : 0);
  return make<NSFont>(NSString::stringWithUnits(std::move(name)), NSString::stringWithUnits(face.family), traits,
                      usableSize(size));
}

}  // namespace

Class NSFont::classObject() {
  static const NSClass object("NSFont", NSObject::classObject(),
                              {
                                  method("fontName"_sel, &NSFont::fontName),
                                  method("familyName"_sel, &NSFont::familyName),
                                  method("pointSize"_sel, &NSFont::pointSize),
                              },
                              NSCoding::secure<NSFont>());
  return &object;
}

NSFont::NSFont(Ref<NSString> fontName, Ref<NSString> familyName, NSUInteger traits, double pointSize)
    : fontName_(std::move(fontName)), familyName_(std::move(familyName)), traits_(traits), pointSize_(pointSize) {}

NSFont::~NSFont() = default;

Ref<NSFont> NSFont::fontWithName_size(const Ref<NSString>& name, double size) {
  const std::u16string_view given = name ? trimmed(name->units()) : std::u16string_view();
  if (given.empty()) return nil;
  const appkit::FontFace face = appkit::faceOfFont(given);
  // A family's name stands for its regular face, which may be called otherwise; every other name stays as it is.
  return fontOf(face, face.family == given ? appkit::nameOfFace(face) : std::u16string(given), size);
}

Ref<NSFont> NSFont::fontWithFamily_traits_size(const Ref<NSString>& family, NSUInteger traits, double size) {
  const std::u16string_view given = family ? trimmed(family->units()) : std::u16string_view();
  if (given.empty()) return nil;
  const appkit::FontFace face{std::u16string(given), (traits & NSBoldFontMask) != 0, (traits & NSItalicFontMask) != 0};
  return fontOf(face, appkit::nameOfFace(face), size);
}

Ref<NSFont> NSFont::userFontOfSize(double size) { return fontWithName_size("Helvetica"_ns, size); }

Ref<NSFont> NSFont::fontWithSize(double size) const {
  return make<NSFont>(fontName_, familyName_, traits_, usableSize(size));
}

Ref<NSString> NSFont::description() const {
  return NSString::stringWithFormat("\"%@ %.2f pt.\""_ns, fontName_, pointSize_);
}

bool NSFont::isEqual(const id& other) const {
  const auto font = as<NSFont>(other);
  return font && pointSize_ == font->pointSize_ && fontName_->isEqual(font->fontName_);
}

NSUInteger NSFont::hash() const { return fontName_->hash() ^ std::hash<double>()(pointSize_); }

void NSFont::encodeWithCoder(NSCoder& coder) const {
  // The flags are those that the original platform writes for a font of a fixed size; nothing is read from them.
  constexpr NSInteger flags = 16;
  coder.encodeObject_forKey(fontName_, "NSName"_ns);
  coder.encodeDouble_forKey(pointSize_, "NSSize"_ns);
  coder.encodeInteger_forKey(flags, "NSfFlags"_ns);
}

id NSFont::initWithCoder(NSCoder& coder) {
  const auto name = coder.decodeObjectOfClass_forKey<NSString>("NSName"_ns);
  return fontWithName_size(name, coder.decodeDoubleForKey("NSSize"_ns));
}

}  // namespace telvo
