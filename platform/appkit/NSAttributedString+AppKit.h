#pragma once

#include "foundation/text/NSAttributedString.h"

TELVO_NAMESPACE_BEGIN

class NSData;

// The names under which styled text keeps its attributes, and what their values are.
const Ref<NSString>& NSFontAttributeName();                // NSFont; without one text is shown in userFontOfSize(12)
const Ref<NSString>& NSForegroundColorAttributeName();     // NSColor
const Ref<NSString>& NSBackgroundColorAttributeName();     // NSColor
const Ref<NSString>& NSUnderlineStyleAttributeName();      // NSNumber, see NSUnderlineStyle
const Ref<NSString>& NSStrikethroughStyleAttributeName();  // NSNumber, see NSUnderlineStyle
const Ref<NSString>& NSSuperscriptAttributeName();         // NSNumber: above 0 superscript, below 0 subscript
const Ref<NSString>& NSParagraphStyleAttributeName();      // NSParagraphStyle
const Ref<NSString>& NSLinkAttributeName();                // NSURL or NSString

// A line, a pattern and by-word, added up.
enum NSUnderlineStyle : NSInteger {
  NSUnderlineStyleNone = 0x00,
  NSUnderlineStyleSingle = 0x01,
  NSUnderlineStyleThick = 0x02,
  NSUnderlineStyleDouble = 0x09,
  NSUnderlineStylePatternDot = 0x0100,
  NSUnderlineStylePatternDash = 0x0200,
  NSUnderlineStylePatternDashDot = 0x0300,
  NSUnderlineStylePatternDashDotDot = 0x0400,
  NSUnderlineStyleByWord = 0x8000,
};

// The styled text of an RTF document (version 1.9.1): text, fonts, sizes, bold, italic, underline, strikethrough,
// super- and subscript, colours, alignment and links. Text of East Asian and of complex scripts (Hebrew, Arabic, Indic
// ...) has the font that the document gives it apart from the rest. Cells of tables are separated by tabs, pictures and
// notes left out, hidden and deleted text as well. Nil for nil, for data that does not begin as an RTF document, and
// for more than a million groups within each other; a document that is cut short or damaged further on gives what can
// be read. Time and memory are linear in the size. Any thread.
Ref<NSAttributedString> NSAttributedStringFromRTF(const Ref<NSData>& data);

// The range as an RTF document of ASCII bytes, which NSAttributedStringFromRTF() reads back as the same styled text,
// with these exceptions: a paragraph has the paragraph style of its first character, links come back absolute, and
// attributes other than the ones above, or with values of other classes, are left out. A range out of bounds raises
// NSRangeException. Any thread that may use the string.
Ref<NSData> NSRTFFromAttributedString(const Ref<NSAttributedString>& string, NSRange range);

TELVO_NAMESPACE_END
