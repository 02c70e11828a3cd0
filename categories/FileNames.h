#pragma once

#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSFileManager;
class NSString;

// What the extensions for files and those for paths share.
namespace categories {

// The base alone when the extension is empty.
Ref<NSString> withExtension(const Ref<NSString>& base, const Ref<NSString>& extension);

// Whether the name is taken. Other than fileExistsAtPath(), which looks through links, so that a link to nothing
// counts.
bool itemExists(const NSFileManager& manager, const Ref<NSString>& path);

}  // namespace categories

}  // namespace telvo
