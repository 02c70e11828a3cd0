#pragma once

#include "foundation/events/Checkpoint.h"
#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSData;
class NSDate;
class NSDictionary;
class NSError;
class NSString;
class NSURL;

// Keys of attributesOfItemAtPath_error().
const Ref<NSString>& NSFileType();              // one of the texts below
const Ref<NSString>& NSFileSize();              // bytes
const Ref<NSString>& NSFileModificationDate();  // to the microsecond
const Ref<NSString>& NSFileCreationDate();      // missing where the file system keeps none
const Ref<NSString>& NSFilePosixPermissions();  // the lowest twelve bits of the mode
const Ref<NSString>& NSFileReferenceCount();
const Ref<NSString>& NSFileOwnerAccountID();
const Ref<NSString>& NSFileGroupOwnerAccountID();

const Ref<NSString>& NSFileTypeRegular();
const Ref<NSString>& NSFileTypeDirectory();
const Ref<NSString>& NSFileTypeSymbolicLink();
const Ref<NSString>& NSFileTypeSocket();
const Ref<NSString>& NSFileTypeCharacterSpecial();
const Ref<NSString>& NSFileTypeBlockSpecial();
const Ref<NSString>& NSFileTypeUnknown();  // FIFOs and whatever else there may be

// The file system by path. Keeps no state; any thread. A nil path, and a path with a NUL in it, names nothing. Errors
// are in NSCocoaErrorDomain, with the path and the system's own error in their user information; the error parameter
// may be null and is left alone on success. What is said of links concerns the last component of a path: those before
// it are always followed.
class NSFileManager : public NSObject {
  NS_OBJECT(NSFileManager, NSObject)

 public:
  static const Ref<NSFileManager>& defaultManager();

  // Links are followed: a link to a folder is a folder, a link to nothing does not exist. The flag may be null; it is
  // false when nothing exists.
  bool fileExistsAtPath(const Ref<NSString>& path) const;
  bool fileExistsAtPath_isDirectory(const Ref<NSString>& path, bool* isDirectory) const;
  // Whether this process may, by permissions. Links are followed.
  bool isReadableFileAtPath(const Ref<NSString>& path) const;
  bool isWritableFileAtPath(const Ref<NSString>& path) const;
  bool isExecutableFileAtPath(const Ref<NSString>& path) const;

  // The item's own attributes: those of a link, not of its target. Nil on failure.
  Ref<NSDictionary> attributesOfItemAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const;
  // Sets NSFilePosixPermissions and NSFileModificationDate where given; other keys are ignored. Links are followed.
  bool setAttributes_ofItemAtPath_error(const Ref<NSDictionary>& attributes, const Ref<NSString>& path,
                                        Ref<NSError>* error) const;

  // The names in a folder, without "." and "..", in the order of the file system. Nil on failure.
  Ref<NSArray> contentsOfDirectoryAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const;
  // Everything below a folder as paths relative to it, a folder before its contents. Links to folders are listed, not
  // entered; a folder below that cannot be read is listed without contents. Nil when the folder itself cannot be read.
  Ref<NSArray> subpathsOfDirectoryAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const;
  Ref<NSArray> subpathsAtPath(const Ref<NSString>& path) const;

  // With intermediates, missing folders above are made too and a folder that already exists is a success. The
  // attributes (nil for none) are set on the last folder.
  bool createDirectoryAtPath_withIntermediateDirectories_attributes_error(const Ref<NSString>& path, bool intermediates,
                                                                          const Ref<NSDictionary>& attributes,
                                                                          Ref<NSError>* error) const;
  // Replaces the content of an existing file. Nil data makes an empty file.
  bool createFileAtPath_contents_attributes(const Ref<NSString>& path, const Ref<NSData>& contents,
                                            const Ref<NSDictionary>& attributes) const;
  // The whole of a regular file, or nil.
  Ref<NSData> contentsAtPath(const Ref<NSString>& path) const;

  // Folders with everything in them; a link itself, never its target. Stops at the first item that cannot be removed.
  bool removeItemAtPath_error(const Ref<NSString>& path, Ref<NSError>* error) const;
  // Fails, touching nothing, when something exists at the destination, a broken link included. To another file system
  // the item is copied first and then removed; when the removal fails, both are left.
  bool moveItemAtPath_toPath_error(const Ref<NSString>& source, const Ref<NSString>& destination,
                                   Ref<NSError>* error) const;
  // Files, folders with everything in them, links as links; permissions and modification dates are kept. Fails,
  // touching nothing, when something exists at the destination; a copy that fails half-way is removed again.
  bool copyItemAtPath_toPath_error(const Ref<NSString>& source, const Ref<NSString>& destination,
                                   Ref<NSError>* error) const;

  // The same by file URL; a URL of another scheme, or nil, names nothing.
  Ref<NSArray> contentsOfDirectoryAtURL_error(const Ref<NSURL>& url, Ref<NSError>* error) const;  // URLs
  bool createDirectoryAtURL_withIntermediateDirectories_attributes_error(const Ref<NSURL>& url, bool intermediates,
                                                                         const Ref<NSDictionary>& attributes,
                                                                         Ref<NSError>* error) const;
  bool removeItemAtURL_error(const Ref<NSURL>& url, Ref<NSError>* error) const;
  bool moveItemAtURL_toURL_error(const Ref<NSURL>& source, const Ref<NSURL>& destination, Ref<NSError>* error) const;
  bool copyItemAtURL_toURL_error(const Ref<NSURL>& source, const Ref<NSURL>& destination, Ref<NSError>* error) const;
};

namespace foundation {

// The names in a folder as contentsOfDirectoryAtPath_error() gives them; nil also when the checkpoint, which is passed
// often, gives the work up. For folders of a million entries.
Ref<NSArray> contentsOfDirectory(const Ref<NSString>& path, const Checkpoint& checkpoint);

// Returns when a regular file can be read as far as other programs' leases go: a program that holds one is asked by the
// system to give it up, and reading fails until then. The checkpoint, which is passed while this waits, can end it.
void waitForLease(const Ref<NSString>& path, const Checkpoint& checkpoint);

}  // namespace foundation

TELVO_NAMESPACE_END
