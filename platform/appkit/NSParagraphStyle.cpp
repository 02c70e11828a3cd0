#include "appkit/NSParagraphStyle.h"

#include "foundation/coding/NSCoder.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

const NSRegisteredClass registration(NSParagraphStyle::classObject());
const NSRegisteredClass mutableRegistration(NSMutableParagraphStyle::classObject());

// A style without the key, as the original platform leaves it out for its default, is naturally aligned.
NSTextAlignment decodeAlignment(NSCoder& coder) {
  if (!coder.containsValueForKey("NSAlignment"_ns)) return NSTextAlignmentNatural;
  const NSInteger value = coder.decodeIntegerForKey("NSAlignment"_ns);
  const bool known = value >= NSTextAlignmentLeft && value <= NSTextAlignmentNatural;
  return known ? static_cast<NSTextAlignment>(value) : NSTextAlignmentNatural;
}

}  // namespace

Class NSParagraphStyle::classObject() {
  static const NSClass object("NSParagraphStyle", NSObject::classObject(),
                              {method("alignment"_sel, &NSParagraphStyle::alignment)},
                              NSCoding::secure<NSParagraphStyle>());
  return &object;
}

Class NSMutableParagraphStyle::classObject() {
  static const NSClass object("NSMutableParagraphStyle", NSParagraphStyle::classObject(),
                              {method("setAlignment:"_sel, &NSMutableParagraphStyle::setAlignment)},
                              NSCoding::secure<NSMutableParagraphStyle>());
  return &object;
}

Ref<NSParagraphStyle> NSParagraphStyle::defaultParagraphStyle() { return make<NSParagraphStyle>(); }

Ref<NSString> NSParagraphStyle::description() const {
  return NSString::stringWithFormat("Alignment %ld"_ns, alignment_);
}

bool NSParagraphStyle::isEqual(const id& other) const {
  const auto style = as<NSParagraphStyle>(other);
  return style && alignment_ == style->alignment_;
}

NSUInteger NSParagraphStyle::hash() const { return static_cast<NSUInteger>(alignment_); }

id NSParagraphStyle::mutableCopy() const { return make<NSMutableParagraphStyle>(alignment_); }

void NSParagraphStyle::encodeWithCoder(NSCoder& coder) const {
  // No tab stops of its own: the platform's default ones.
  coder.encodeObject_forKey(nil, "NSTabStops"_ns);
  coder.encodeInteger_forKey(alignment_, "NSAlignment"_ns);
}

id NSParagraphStyle::initWithCoder(NSCoder& coder) { return make<NSParagraphStyle>(decodeAlignment(coder)); }

id NSMutableParagraphStyle::copy() const { return make<NSParagraphStyle>(alignment_); }

id NSMutableParagraphStyle::initWithCoder(NSCoder& coder) {
  return make<NSMutableParagraphStyle>(decodeAlignment(coder));
}

}  // namespace telvo
