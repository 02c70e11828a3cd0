#pragma once

#include "foundation/files/NSFileManager.h"

TELVO_NAMESPACE_BEGIN

class NSMutableArray;

// Extensions of the file manager. Any thread. A nil path names nothing; a nil manager answers nil, 0 and false and does
// nothing. The error parameter may be null; it is filled when the result is false.

// Whether the path names a folder that exists, or a link to one. A nil path does not.
bool telvo_isDirectoryAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path);
bool telvo_isDirectoryAtURL(const Ref<NSFileManager>& manager, const Ref<NSURL>& url);

// The item's own attributes (a link's, not its target's): bytes, 0 when it cannot be had; dates, nil when they cannot.
NSInteger telvo_fileSizeAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path);
Ref<NSDate> telvo_fileCreationDateAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path);
Ref<NSDate> telvo_fileModificationDateAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path);

// Gives an item another name in its folder. Where something exists under that name, it fails, or with deleteExisting
// removes that first (folders with everything in them). When only letter case differs, the item goes through a name of
// its own with the present time at the end, for volumes on which both names are the same. An item that could not be
// renamed has its old name; nothing is removed for an item that is not there. A name that is no single path component
// is refused with NSFileWriteInvalidFileNameError.
bool telvo_renameItemAtPath_toFilename_deleteExisting_error(const Ref<NSFileManager>& manager,
                                                            const Ref<NSString>& path, const Ref<NSString>& filename,
                                                            bool deleteExisting, Ref<NSError>* error);
// The same, except that a broken link under the new name is something to be removed here, and that what goes wrong in
// removing is not told in the error parameter.
bool telvo_renameItemAtURL_toFilename_deleteExisting_error(const Ref<NSFileManager>& manager, const Ref<NSURL>& url,
                                                           const Ref<NSString>& filename, bool deleteExisting,
                                                           Ref<NSError>* error);

// Ends the writing of a working file, "Notes~.txt" for "Notes.txt". Without success it is removed. With success it
// takes the final name, which is its own without the last character before the extension, whatever that is, and an
// earlier version gets the working file's name. On the way it is called "Notes~~.txt"; a step that fails is the last
// one and leaves the files as they are then.
bool telvo_renameWorkingFile_forSuccess_error(const Ref<NSFileManager>& manager, const Ref<NSString>& path,
                                              bool success, Ref<NSError>* error);

// True when nothing was there or when it could be removed. A broken link is something.
bool telvo_removeFileIfExistsAtPath(const Ref<NSFileManager>& manager, const Ref<NSString>& path);

// Copies "/a/b.txt" to "/a/b backup.txt" for the suffix " backup". With replaceExisting an earlier copy is removed
// first, also when the copy then fails; otherwise it makes the copy fail. An empty suffix, or one with a slash, copies
// nothing.
bool telvo_copyPath_withSuffix_replaceExisting_error(const Ref<NSFileManager>& manager, const Ref<NSString>& path,
                                                     const Ref<NSString>& suffix, bool replaceExisting,
                                                     Ref<NSError>* error);
// That copy, with " backup", in place of an earlier one.
bool telvo_backupPath(const Ref<NSString>& path);

// The full paths of the items in a folder, in the order of a file browser, with deepScan at every depth. Only those
// whose name without extension, or with isExtension whose extension, is one of the fragments (letter case ignored, no
// wildcards; nil: all items). The folder's path is expanded (telvo_expandedPath). Nil when it is not a folder.
Ref<NSMutableArray> telvo_pathsWithFragments_isExtension_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                                         const Ref<NSArray>& fragments,
                                                                         bool isExtension, const Ref<NSString>& path,
                                                                         bool deepScan);
Ref<NSMutableArray> telvo_pathsAtPath_deepScan(const Ref<NSFileManager>& manager, const Ref<NSString>& path,
                                               bool deepScan);
Ref<NSMutableArray> telvo_pathsWithExtensions_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                              const Ref<NSArray>& extensions, const Ref<NSString>& path,
                                                              bool deepScan);
Ref<NSMutableArray> telvo_pathsWithFilenames_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                             const Ref<NSArray>& filenames, const Ref<NSString>& path,
                                                             bool deepScan);
// For nil and for an empty text: all items.
Ref<NSMutableArray> telvo_pathsWithExtension_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                             const Ref<NSString>& extension, const Ref<NSString>& path,
                                                             bool deepScan);
Ref<NSMutableArray> telvo_pathsWithFilename_atPath_deepScan(const Ref<NSFileManager>& manager,
                                                            const Ref<NSString>& filename, const Ref<NSString>& path,
                                                            bool deepScan);

TELVO_NAMESPACE_END
