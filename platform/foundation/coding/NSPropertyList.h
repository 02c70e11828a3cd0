#pragma once

#include "foundation/events/Checkpoint.h"
#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSData;
class NSError;
class NSString;

enum NSPropertyListFormat : NSUInteger {
  NSPropertyListXMLFormat_v1_0 = 100,
  NSPropertyListBinaryFormat_v1_0 = 200,
};

enum NSPropertyListMutabilityOptions : NSUInteger {
  NSPropertyListImmutable = 0,
  NSPropertyListMutableContainers = 1,
  NSPropertyListMutableContainersAndLeaves = 2,  // texts and data as well
};

// Property lists as files keep them: texts, numbers, booleans, dates, data and NSPropertyListUIDs in arrays and in
// dictionaries with texts as keys, up to 512 levels deep. Equal property lists give equal bytes. Any thread.
//
// In XML, dates keep whole seconds (the fraction is cut off downward, as in their descriptions), and each character
// that XML cannot hold (control characters, unpaired surrogates, bytes of file names that are no UTF-8) is replaced by
// U+FFFD: what is written can always be read. A dictionary whose keys would become the same by that cannot be written.
// In the binary format nothing is lost.
class NSPropertyListSerialization : public NSObject {
  NS_OBJECT(NSPropertyListSerialization, NSObject)

 public:
  // Nil with an error when there is something else in it than the above. The options are not used.
  static Ref<NSData> dataWithPropertyList_format_options_error(const id& propertyList, NSPropertyListFormat format,
                                                               NSUInteger options, Ref<NSError>* error);
  // Nil with an error (code NSPropertyListReadCorruptError) for anything but a complete property list in one of the
  // two formats, XML in the encoding that it declares. Never fails otherwise, whatever the bytes; memory and time stay
  // in proportion to their number. The format (may be null) is set on success.
  static id propertyListWithData_options_format_error(const Ref<NSData>& data, NSUInteger options,
                                                      NSPropertyListFormat* format, Ref<NSError>* error);
  static bool propertyList_isValidForFormat(const id& propertyList, NSPropertyListFormat format);
};

namespace foundation {

// In the binary format a container may hold one object many times, and only its description shows how long that is.
enum class PropertyListUnfolding {
  Free,
  InProportion,  // what describes the whole list is no longer than a small multiple of the file
};

// The property list in a regular file, immutable, or nil; also nil when it was given up or unfolds too far. A file that
// does not begin like one is not read any further, and what is no regular file is not opened.
id propertyListWithContentsOfFile(const Ref<NSString>& path, const Checkpoint& checkpoint = nullptr,
                                  PropertyListUnfolding unfolding = PropertyListUnfolding::Free);
// As XML, or in the binary format when XML cannot tell a dictionary's keys apart. False when it is no property list,
// cannot be written, or was given up, and then the file is what it was; false also for what exists and is no regular
// file, which is left alone.
bool writePropertyList(const id& propertyList, const Ref<NSString>& path, bool atomically,
                       const Checkpoint& checkpoint = nullptr);

}  // namespace foundation

TELVO_NAMESPACE_END
