#pragma once

// Everything that this project declares is in the namespace telvo, so that no class or function of another library can
// be taken for one of ours by the linker. The namespace is inline: its names read as if they were global (NSString,
// telvo_left), as those who know the platform expect. A program in which another header has global names of the same
// kind ("Ref", "id", "nil") defines TELVO_NO_GLOBAL_NAMES before the first header of ours and writes telvo::Ref.
//
// What a public header declares between these two lines is exported by the shared libraries, all else is not.
#ifdef TELVO_NO_GLOBAL_NAMES
#define TELVO_NAMESPACE_BEGIN namespace telvo __attribute__((visibility("default"))) {
#else
#define TELVO_NAMESPACE_BEGIN inline namespace telvo __attribute__((visibility("default"))) {
#endif
#define TELVO_NAMESPACE_END }
