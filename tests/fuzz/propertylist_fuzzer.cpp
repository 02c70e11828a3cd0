#include "foundation/coding/NSPropertyList.h"
#include "foundation/collections/NSData.h"
#include "foundation/errors/NSError.h"
#include "tests/fuzz/FuzzInput.h"

namespace {

id listFrom(const Ref<NSData>& data, NSUInteger options, NSPropertyListFormat* format = nullptr) {
  return NSPropertyListSerialization::propertyListWithData_options_format_error(data, options, format, nullptr);
}

Ref<NSData> dataFrom(const id& list, NSPropertyListFormat format) {
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, format, 0, nullptr);
}

// What was written is read as what it was, which shows in its being written as the same bytes again.
void checkRoundTrip(const id& list, NSPropertyListFormat format) {
  const Ref<NSData> written = dataFrom(list, format);
  require(NSPropertyListSerialization::propertyList_isValidForFormat(list, format) == (written != nil));
  if (!written) return;
  NSPropertyListFormat found = format;
  const id again = listFrom(written, NSPropertyListImmutable, &found);
  require(again && found == format);
  const Ref<NSData> writtenAgain = dataFrom(again, format);
  require(writtenAgain && writtenAgain->isEqual(written));
}

}  // namespace

// XML or binary, going by the first bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto data = NSData::dataWithBytes_length(bytes, size);
  Ref<NSError> error;
  const id list = NSPropertyListSerialization::propertyListWithData_options_format_error(data, NSPropertyListImmutable,
                                                                                         nullptr, &error);
  require((list == nil) == (error != nil));
  if (!list) return 0;
  for (const auto options : {NSPropertyListMutableContainers, NSPropertyListMutableContainersAndLeaves}) {
    const id changeable = listFrom(data, options);
    require(changeable != nil);
    require(areEqual(changeable->description(), list->description()));
  }
  checkRoundTrip(list, NSPropertyListBinaryFormat_v1_0);
  // XML cannot hold every character; what stands in for one may put keys into another order, or make them the same.
  if (const Ref<NSData> written = dataFrom(list, NSPropertyListXMLFormat_v1_0)) {
    const id held = listFrom(written, NSPropertyListImmutable);
    require(held != nil);
    checkRoundTrip(held, NSPropertyListXMLFormat_v1_0);
  }
  return 0;
}
