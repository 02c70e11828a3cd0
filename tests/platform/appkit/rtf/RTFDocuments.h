#pragma once

#include <string>
#include <string_view>

#include "appkit/NSAttributedString+AppKit.h"
#include "foundation/Foundation.h"

// What is read of RTF documents, for tests.

inline Ref<NSAttributedString> read(std::string_view document) {
  return NSAttributedStringFromRTF(NSData::dataWithBytes(std::string(document)));
}

// The text of a document with that content.
inline std::string textOf(std::string_view content) {
  const auto styled = read("{\\rtf1\\ansi " + std::string(content) + "}");
  return styled ? styled->string()->UTF8String() : "(nil)";
}

// An attribute of the document's first character from the given text on, described; empty when there is none.
inline std::string attributeOf(const Ref<NSAttributedString>& styled, std::string_view text,
                               const Ref<NSString>& name) {
  const NSRange found = styled->string()->rangeOfString(NSString::stringWithUTF8String(text));
  if (found.location == NSNotFound) return "(no such text)";
  const id value = styled->attribute_atIndex_effectiveRange(name, found.location);
  return value ? value->description()->UTF8String() : "";
}

inline std::string fontOf(std::string_view content, std::string_view text = "x") {
  return attributeOf(read("{\\rtf1" + std::string(content) + "}"), text, NSFontAttributeName());
}
