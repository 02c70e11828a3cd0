#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSCoder;
class NSString;

enum NSFontTraitMask : NSUInteger { NSItalicFontMask = 1U << 0U, NSBoldFontMask = 1U << 1U };

// A typeface at a size. Nothing is drawn on this system, so there is no catalogue of installed fonts: every name makes
// a font. Immutable, any thread.
class NSFont : public NSObject {
  NS_OBJECT(NSFont, NSObject)

 public:
  NSFont(Ref<NSString> fontName, Ref<NSString> familyName, NSUInteger traits, double pointSize);
  ~NSFont() override;

  // Points. A size of 0, below 0, infinite or not a number gives the user's default size, 12 points. White space around
  // the name does not count; nil for a nil name and one without anything else. The name of a family gives the family's
  // regular face.
  static Ref<NSFont> fontWithName_size(const Ref<NSString>& name, double size);
  // The face of the family that has exactly these traits.
  static Ref<NSFont> fontWithFamily_traits_size(const Ref<NSString>& family, NSUInteger traits, double size);
  // What text without a font is shown in: Helvetica.
  static Ref<NSFont> userFontOfSize(double size);

  // The same face at another size.
  Ref<NSFont> fontWithSize(double size) const;

  const Ref<NSString>& fontName() const { return fontName_; }      // "Helvetica-Bold"
  const Ref<NSString>& familyName() const { return familyName_; }  // "Helvetica"
  NSUInteger traits() const { return traits_; }                    // NSFontTraitMask
  double pointSize() const { return pointSize_; }

  // `"Helvetica-Bold 12.00 pt."`, quotes included.
  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

  void encodeWithCoder(NSCoder& coder) const;
  static id initWithCoder(NSCoder& coder);

 private:
  Ref<NSString> fontName_;
  Ref<NSString> familyName_;
  NSUInteger traits_;
  double pointSize_;
};

TELVO_NAMESPACE_END
