#include "cfnetwork/CFReadStream.h"

#include "cfnetwork/FileReadStream.h"
#include "foundation/files/NSURL.h"

inline namespace telvo {

Ref<NSInputStream> CFReadStreamCreateWithFile(const Ref<NSURL>& url) {
  if (!url || !url->isFileURL()) return nil;
  return make<FileReadStream>(url->fileSystemRepresentation());
}

}  // namespace telvo
