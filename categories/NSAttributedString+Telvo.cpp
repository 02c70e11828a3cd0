#include <functional>

#include "appkit/NSFont.h"
#include "categories/NSAttributedString+Telvo.h"
#include "foundation/collections/NSDictionary.h"

inline namespace telvo {

namespace {

using SizeChange = std::function<double(double size)>;

Ref<NSMutableAttributedString> copyWithFontSizes(const Ref<NSAttributedString>& text, NSRange range,
                                                 const SizeChange& change) {
  if (!text) return nil;
  const auto copy = as<NSMutableAttributedString>(text->mutableCopy());
  copy->beginEditing();
  copy->enumerateAttribute_inRange_options_usingBlock(
      NSFontAttributeName(), range, 0, [&](const id& value, NSRange run, bool*) {
        const auto font = as<NSFont>(value);
        if (!font) return;
        const auto resized = NSFont::fontWithName_size(font->fontName(), change(font->pointSize()));
        copy->removeAttribute_range(NSFontAttributeName(), run);
        copy->addAttribute_value_range(NSFontAttributeName(), resized, run);
      });
  copy->endEditing();
  return copy;
}

const NSCategory attributedStringCategory(NSAttributedString::classObject(),
                                          {
                                              method("telvo_rtfData"_sel, &telvo_rtfData),
                                              method("telvo_rtfString"_sel, &telvo_rtfString),
                                              method("telvo_allRange"_sel, &telvo_allRange),
                                          });

const NSCategory mutableAttributedStringCategory(
    NSMutableAttributedString::classObject(),
    {
        method("telvo_appendString:withAttributes:"_sel, &telvo_appendString_withAttributes),
        method("telvo_insertString:withAttributes:atIndex:"_sel, &telvo_insertString_withAttributes_atIndex),
    });

}  // namespace

Ref<NSData> telvo_rtfData(const Ref<NSAttributedString>& text) {
  return NSRTFFromAttributedString(text, telvo_allRange(text));
}

Ref<NSString> telvo_rtfString(const Ref<NSAttributedString>& text) {
  return text ? NSString::stringWithData_encoding(telvo_rtfData(text), NSUTF8StringEncoding) : Ref<NSString>();
}

NSRange telvo_allRange(const Ref<NSAttributedString>& text) { return {0, text ? text->length() : 0}; }

Ref<NSMutableAttributedString> telvo_attributedStringWithFontSizeAdjustmentOffset_inRange(
    const Ref<NSAttributedString>& text, double offset, NSRange range) {
  return copyWithFontSizes(text, range, [offset](double size) { return size + offset; });
}

Ref<NSMutableAttributedString> telvo_attributedStringWithFontSizeIncrease_inRange(const Ref<NSAttributedString>& text,
                                                                                  bool increase, NSRange range) {
  const double factor = increase ? 2.0 : 0.5;
  return copyWithFontSizes(text, range, [factor](double size) { return size * factor; });
}

void telvo_appendString_withAttributes(const Ref<NSMutableAttributedString>& text, const Ref<NSString>& string,
                                       const Ref<NSDictionary>& attributes) {
  if (text) text->appendAttributedString(make<NSMutableAttributedString>(string, attributes));
}

void telvo_insertString_withAttributes_atIndex(const Ref<NSMutableAttributedString>& text, const Ref<NSString>& string,
                                               const Ref<NSDictionary>& attributes, NSUInteger index) {
  if (text) text->insertAttributedString_atIndex(make<NSMutableAttributedString>(string, attributes), index);
}

}  // namespace telvo
