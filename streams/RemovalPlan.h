#pragma once

#include <vector>

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

class NSDictionary;
class NSString;

namespace streams {

class ExcludePatterns;

// What of the things that were sent earlier and are not in the plan any more is to be removed on the server: those
// below the source path that are gone, or that have become a file in a folder's place or the other way round. Folders
// come after what is in them. Nothing is gone that cannot be looked for (a folder without permission), that is left out
// of the upload now, or that belongs to another source. The records have "IsRemoval".
std::vector<Ref<NSDictionary>> removals(const std::vector<Ref<NSDictionary>>& leftOvers,
                                        const Ref<NSString>& sourcePath, const ExcludePatterns& excluded);

// Whether the system says that nothing is at the path; it may as well not be reachable at the moment.
bool isGone(const Ref<NSString>& path);

// Whether there is anything at all at the path: a file, or a folder with something in it.
bool hasContents(const Ref<NSString>& sourcePath);

}  // namespace streams

}  // namespace telvo
