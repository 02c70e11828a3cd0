#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

Ref<NSString> part(const Ref<NSDictionary>& components, const Ref<NSString>& key) {
  return as<NSString>(components->objectForKey(key));
}

}  // namespace

// Every text is a version: its parts put together are the text again, and there is a kind exactly when there is a
// letter.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> text = textFromInput(data, size);
  const Ref<NSMutableDictionary> components = telvo_dictionaryWithVersionComponents(text);
  const auto general = part(components, "General"_ns);
  const auto kind = part(components, "Kind"_ns);
  const auto stage = part(components, "Stage"_ns);
  const auto isGeneral = as<NSNumber>(components->objectForKey("IsGeneral"_ns));
  require(general && part(components, "Major"_ns) && isGeneral);
  const bool hasKind = kind != nil;
  require(hasKind == (stage != nil) && hasKind != isGeneral->boolValue());
  require(areEqual(hasKind ? general->stringByAppendingString(kind)->stringByAppendingString(stage) : general, text));

  if (text->length() > 0) require(areEqual(telvo_versionWithDictionary(components), text));
  components->removeObjectForKey("Version"_ns);
  require(telvo_versionWithDictionary(components)->containsString("."_ns));
  return 0;
}
