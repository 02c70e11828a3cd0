#pragma once

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

class NSDate;
class NSDictionary;
class NSString;

// What the entries of an upload-info record say (TelvoFTPData::uploadInfo): a dictionary with "LocalPath",
// "RemoteDirectory", "IsDirectory" and, for a file, "ModificationDate". A plan may also hold what is to be removed on
// the server; such a record has "IsRemoval". Any thread.
namespace streams {

// Empty when there is none.
Ref<NSString> localPathOf(const NSDictionary& record);
Ref<NSString> remoteDirectoryOf(const NSDictionary& record);
// Where the item is on the server, its name included.
Ref<NSString> remotePathOf(const NSDictionary& record);
bool isDirectory(const NSDictionary& record);
bool isRemoval(const NSDictionary& record);

// Whether both are of the same item in the same state: same paths to the letter, same kind, same date to the second.
bool isSameState(const NSDictionary& left, const NSDictionary& right);

// The record of the item's removal.
Ref<NSDictionary> removalOf(const Ref<NSDictionary>& record);
// The record without its date: an item of which it is not known what is on the server.
Ref<NSDictionary> withoutDate(const Ref<NSDictionary>& record);

// Records as a cached-information file can hold them without loss, and back. XML has no place for control characters
// and for the bytes of names that are no UTF-8; a record with such a path carries it a second time, as data.
Ref<NSDictionary> recordForFile(const Ref<NSDictionary>& record);
Ref<NSDictionary> recordFromFile(const Ref<NSDictionary>& record);

}  // namespace streams

}  // namespace telvo
