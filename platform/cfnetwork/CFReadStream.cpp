#include "cfnetwork/CFReadStream.h"

#include "foundation/files/NSURL.h"

inline namespace telvo {

Ref<FileReadStream> CFReadStreamCreateWithFile(const Ref<NSURL>& url) {
  if (!url || !url->isFileURL()) return nil;
  return make<FileReadStream>(url->fileSystemRepresentation());
}

}  // namespace telvo
