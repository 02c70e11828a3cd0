#include "appkit/NSAttributedString+AppKit.h"
#include "appkit/rtf/RTFReader.h"
#include "appkit/rtf/RTFWriter.h"
#include "foundation/collections/NSData.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

const Ref<NSString>& NSFontAttributeName() { return "NSFont"_ns; }
const Ref<NSString>& NSForegroundColorAttributeName() { return "NSColor"_ns; }
const Ref<NSString>& NSBackgroundColorAttributeName() { return "NSBackgroundColor"_ns; }
const Ref<NSString>& NSUnderlineStyleAttributeName() { return "NSUnderline"_ns; }
const Ref<NSString>& NSStrikethroughStyleAttributeName() { return "NSStrikethrough"_ns; }
const Ref<NSString>& NSSuperscriptAttributeName() { return "NSSuperScript"_ns; }
const Ref<NSString>& NSParagraphStyleAttributeName() { return "NSParagraphStyle"_ns; }
const Ref<NSString>& NSLinkAttributeName() { return "NSLink"_ns; }

Ref<NSAttributedString> NSAttributedStringFromRTF(const Ref<NSData>& data) {
  return data ? appkit::RTFReader(data->view()).read() : Ref<NSAttributedString>();
}

Ref<NSData> NSRTFFromAttributedString(const Ref<NSAttributedString>& string, NSRange range) {
  if (!string) return nil;
  return NSData::dataWithBytes(appkit::RTFWriter(*string->attributedSubstringFromRange(range)).document());
}

}  // namespace telvo
