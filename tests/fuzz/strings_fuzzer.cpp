#include "foundation/collections/NSDictionary.h"
#include "foundation/files/StringTable.h"
#include "tests/fuzz/FuzzInput.h"

// Any bytes are a table of texts or none.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSDictionary> table = foundation::stringTableFromBytes({reinterpret_cast<const char*>(data), size});
  if (table) require(table->description() != nil);
  return 0;
}
