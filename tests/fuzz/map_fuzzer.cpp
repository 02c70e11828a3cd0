#include "categories/NSString+Telvo.h"
#include "tests/fuzz/FuzzInput.h"

// The first line is looked up, the rest is the map. What is found is a side of one of the map's pairs and leads, with
// the default out of the way, to something as well; what is not found gives the default.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> input = textFromInput(data, size);
  const Ref<NSString> value = telvo_substringToString(input, "\n"_ns);
  const Ref<NSString> map = telvo_substringFromString(input, "\n"_ns);
  const Ref<NSString> found = telvo_mappedFromValue_withDefault(map, value, nil);
  if (found) {
    require(map->length() == 0 ? found->length() == 0 : found->length() <= map->length());
    require(telvo_mappedFromValue_withDefault(map, found, nil) != nil);
    require(areEqual(telvo_mappedFromValue_withDefault(map, value, "default"_ns), found));
  } else {
    require(areEqual(telvo_mappedFromValue_withDefault(map, value, "default"_ns), "default"_ns));
  }
  telvo_integerMappedFromString_withDefault(map, value, 1);
  telvo_stringMappedFromInteger_withDefault(map, telvo_signedLength(value), value);
  return 0;
}
