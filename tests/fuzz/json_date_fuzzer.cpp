#include <cmath>

#include "categories/NSDate+Telvo.h"
#include "categories/NSString+Telvo.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

// Whether a text of the date reads as the date again: years of the time before Christ are written without their era.
bool isReadBack(const Ref<NSDate>& date) { return telvo_year(date) > 0 && date->timeIntervalSince1970() > -6.2e10; }

// Whether the text begins with one of the dates that stand for none.
bool isPlaceholder(const Ref<NSString>& text) {
  return text->hasPrefix("1899-12-30"_ns) || text->hasPrefix("0001-01-01"_ns);
}

}  // namespace

// A text is a date of one of the two forms or none. Only placeholders depend on whether they are allowed. The date of
// the newer form has whole seconds and comes back from the text that it is written as.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> text = textFromInput(data, size);
  const Ref<NSDate> date = telvo_dateWithJSONString_allowPlaceholder(text, true);
  const Ref<NSDate> withoutPlaceholder = telvo_dateWithJSONString(text);
  require(isPlaceholder(text) ? withoutPlaceholder == nil : NSEqualObjects(withoutPlaceholder, date));
  const bool oldStyle = text->hasPrefix("/Date("_ns);
  if (oldStyle) require(date != nil);
  if (!date) return 0;

  require(std::isfinite(date->timeIntervalSince1970()));
  require(telvo_oldStyleJSONStringValue(date)->hasPrefix("/Date("_ns));
  const Ref<NSString> written = telvo_JSONStringValue(date);
  if (oldStyle) return 0;
  require(written && telvo_signedLength(written) >= 20);
  require(date->timeIntervalSince1970() == std::floor(date->timeIntervalSince1970()));
  if (isReadBack(date)) require(NSEqualObjects(telvo_dateWithJSONString_allowPlaceholder(written, true), date));
  return 0;
}
