#include "categories/NSString+Telvo.h"
#include "tests/fuzz/FuzzInput.h"

// What is left of HTML holds no tag, and is no longer than the HTML.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> html = textFromInput(data, size);
  const Ref<NSString> text = telvo_stringByStrippingHTML(html);
  require(text->length() <= html->length());
  require(!text->containsString("<"_ns));
  return 0;
}
