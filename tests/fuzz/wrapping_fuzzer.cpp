#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSCharacterSet.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

bool holdsWhiteSpaceBeforeItsEnd(const Ref<NSString>& piece) {
  const Ref<NSCharacterSet> whiteSpace = NSCharacterSet::whitespaceCharacterSet();
  const Ref<NSString> words = piece->stringByTrimmingCharactersInSet(whiteSpace);
  return words->rangeOfCharacterFromSet(whiteSpace).location != NSNotFound;
}

}  // namespace

// The first byte is the length. No piece is longer but by a single word; every line gives a piece or the exception that
// lines without white space where it is needed give.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto length = static_cast<NSInteger>(data[0]) - 1;
  const Ref<NSString> text = textFromInput(data + 1, size - 1);
  require(telvo_wordCount(text) <= text->length());
  try {
    const Ref<NSArray> pieces = telvo_componentsSeparatedByLength(text, length);
    require(pieces->count() >= text->componentsSeparatedByString("\n"_ns)->count());
    for (const id& piece : *pieces) {
      const auto line = as<NSString>(piece);
      require(!line->containsString("\n"_ns));
      require(telvo_signedLength(line) <= length || !holdsWhiteSpaceBeforeItsEnd(line));
    }
  } catch (const Ref<NSException>& exception) {
    require(exception->name()->isEqualToString(NSInvalidArgumentException()));
  }
  return 0;
}
