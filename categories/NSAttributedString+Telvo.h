#pragma once

#include "appkit/NSAttributedString+AppKit.h"
#include "foundation/collections/NSData.h"
#include "foundation/text/NSString.h"

TELVO_NAMESPACE_BEGIN

// Extensions of styled text: making it, RTF, font sizes, and plain text put into mutable styled text. A function with
// T is a class method of the styled-text class T. For a nil receiver the answer is nil or an empty range, and nothing
// happens. Threads: those of the texts themselves.

// ---- Making ----
// Nil texts and attributes are empty ones.

template <class T = NSAttributedString>
Ref<T> telvo_attributedString() {
  return make<T>();
}

template <class T = NSAttributedString>
Ref<T> telvo_attributedStringWithString(const Ref<NSString>& string) {
  return make<T>(string);
}

// The attributes hold for the whole text.
template <class T = NSAttributedString>
Ref<T> telvo_attributedStringWithString_attributes(const Ref<NSString>& string, const Ref<NSDictionary>& attributes) {
  return make<T>(string, attributes);
}

// ---- RTF ----
// See appkit/NSAttributedString+AppKit.h for what is read and written.

// Nil when the bytes are nil or no RTF document.
template <class T = NSAttributedString>
Ref<T> telvo_attributedStringWithRTFData(const Ref<NSData>& data) {
  const Ref<NSAttributedString> text = NSAttributedStringFromRTF(data);
  return text ? make<T>(text) : Ref<T>();
}

// The text as UTF-8, read as RTF: characters beyond ASCII are to be written as RTF writes them.
template <class T = NSAttributedString>
Ref<T> telvo_attributedStringWithRTFString(const Ref<NSString>& string) {
  return telvo_attributedStringWithRTFData<T>(string ? NSData::dataWithBytes(string->UTF8String()) : Ref<NSData>());
}

// The whole text as an RTF document.
Ref<NSData> telvo_rtfData(const Ref<NSAttributedString>& text);
Ref<NSString> telvo_rtfString(const Ref<NSAttributedString>& text);

// ---- Ranges and fonts ----

// From 0 over the whole length.
NSRange telvo_allRange(const Ref<NSAttributedString>& text);

// A copy in which each font in the range is larger by the offset in points (smaller when it is negative), or has twice
// (increase) or half of its size. Text without a font stays without one. A size that comes to 0 or less is none, and
// the font then has the default size, 12 points (NSFont::fontWithName_size). A range out of bounds raises
// NSRangeException.
Ref<NSMutableAttributedString> telvo_attributedStringWithFontSizeAdjustmentOffset_inRange(
    const Ref<NSAttributedString>& text, double offset, NSRange range);
Ref<NSMutableAttributedString> telvo_attributedStringWithFontSizeIncrease_inRange(const Ref<NSAttributedString>& text,
                                                                                  bool increase, NSRange range);

// ---- Mutable styled text ----
// What is put in has these attributes and no others. An index beyond the end raises NSRangeException.

void telvo_appendString_withAttributes(const Ref<NSMutableAttributedString>& text, const Ref<NSString>& string,
                                       const Ref<NSDictionary>& attributes);
void telvo_insertString_withAttributes_atIndex(const Ref<NSMutableAttributedString>& text, const Ref<NSString>& string,
                                               const Ref<NSDictionary>& attributes, NSUInteger index);

TELVO_NAMESPACE_END
