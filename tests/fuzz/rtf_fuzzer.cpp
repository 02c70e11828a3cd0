#include "categories/NSAttributedString+Telvo.h"
#include "tests/fuzz/FuzzInput.h"

// The input is an RTF document, or is made one by its usual beginning. What is read of it can be written, and reads
// back as the same styled text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string document(reinterpret_cast<const char*>(data), size);
  if (!document.starts_with("{\\rtf")) document.insert(0, "{\\rtf1\\ansi{\\fonttbl{\\f0 Times;}}{\\colortbl;\\red9;}");
  const auto text = telvo_attributedStringWithRTFData(NSData::dataWithBytes(document));
  if (!text) return 0;
  const auto back = telvo_attributedStringWithRTFString(telvo_rtfString(text));
  require(back && back->isEqualToAttributedString(text));
  require(telvo_attributedStringWithFontSizeIncrease_inRange(text, true, telvo_allRange(text))->length() ==
          text->length());
  return 0;
}
