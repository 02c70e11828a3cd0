#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSData.h"
#include "tests/fuzz/FuzzInput.h"

// Bytes come back from their Base64; whatever text is taken for Base64, its bytes have one standard form. Text that
// fits an encoding comes back from it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Ref<NSData> bytes = NSData::dataWithBytes_length(data, size);
  require(NSData::dataWithBase64EncodedString_options(bytes->base64EncodedString(), 0)->isEqual(bytes));

  const Ref<NSString> text = textFromInput(data, size);
  const Ref<NSData> decoded =
      NSData::dataWithBase64EncodedString_options(text, NSDataBase64DecodingIgnoreUnknownCharacters);
  if (decoded) {
    require(NSData::dataWithBase64EncodedString_options(decoded->base64EncodedString(), 0)->isEqual(decoded));
  }
  for (const NSStringEncoding encoding :
       {NSASCIIStringEncoding, NSUTF8StringEncoding, NSISOLatin1StringEncoding, NSNonLossyASCIIStringEncoding,
        NSShiftJISStringEncoding, NSJapaneseEUCStringEncoding, NSUTF16StringEncoding, NSUTF32BigEndianStringEncoding}) {
    telvo_decodeFromBase64UsingEncoding(text, encoding);
    NSString::stringWithData_encoding(bytes, encoding);
    require(text->dataUsingEncoding(encoding, true) != nil);
    telvo_encodeAsBase64UsingEncoding(text, encoding);
  }
  const Ref<NSString> encoded = telvo_encodeAsBase64UsingEncoding(text, NSUTF8StringEncoding);
  if (encoded) require(areEqual(telvo_decodeFromBase64UsingEncoding(encoded, NSUTF8StringEncoding), text));
  return 0;
}
