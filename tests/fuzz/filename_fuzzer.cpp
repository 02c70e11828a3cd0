#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "tests/fuzz/FuzzInput.h"

// A cleaned name is the last component of a path, visible and not empty. The path functions take any text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSString> text = textFromInput(data, size);
  const Ref<NSString> name = telvo_stringByCleaningFilenameWithDefault(text, nil);
  if (name) {
    require(name->length() > 0 && !name->hasPrefix("."_ns));
    require(!name->containsString("/"_ns) && !name->containsString(":"_ns));
    const Ref<NSString> path = telvo_stringByAppendingPathComponent_cleanWithDefault("/folder"_ns, text, nil);
    require(areEqual(path->lastPathComponent(), name));
    require(areEqual(path->stringByDeletingLastPathComponent(), "/folder"_ns));
  }
  require(telvo_lastPathComponentWithoutExtension(text) != nil);
  require(telvo_backupFilePath(text)->length() >= 1);
  require(telvo_abbreviatedPath(text) != nil);
  const Ref<NSString> expanded = telvo_expandedPath(text);
  if (expanded->hasPrefix("/"_ns) && !text->hasPrefix("<APP>"_ns)) {
    require(!expanded->pathComponents()->containsObject(".."_ns));
  }
  return 0;
}
