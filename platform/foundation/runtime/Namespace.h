#pragma once

// Everything that this project declares is in the namespace telvo, so that no class or function of another library can
// be taken for one of ours by the linker. The namespace is inline: its names read as if they were global (NSString,
// telvo_left), as those who know the platform expect. A program in which another header has global names of the same
// kind ("Ref", "id", "nil") defines TELVO_NO_GLOBAL_NAMES before the first header of ours and writes telvo::Ref.
//
// A namespace cannot become inline later: where the library for owners has opened it first, a using directive does the
// same.
#if defined(TELVO_NO_GLOBAL_NAMES)
#define TELVO_NAMESPACE namespace telvo
#elif defined(TELVO_OWNER_NAMESPACE_BEGIN)
#define TELVO_NAMESPACE namespace telvo
namespace telvo {}
using namespace telvo;
#else
#define TELVO_NAMESPACE inline namespace telvo
#endif

// What a public header declares between these two lines is exported by the shared libraries, all else is not.
#define TELVO_NAMESPACE_BEGIN TELVO_NAMESPACE __attribute__((visibility("default"))) {
#define TELVO_NAMESPACE_END }

// For internal headers that public ones include.
#define TELVO_INTERNAL_NAMESPACE_BEGIN TELVO_NAMESPACE {
#define TELVO_INTERNAL_NAMESPACE_END }

// For what internal headers declare and a layer of another of our libraries uses: exported, but nobody else's to use.
#define TELVO_EXPORTED_TO_LAYERS __attribute__((visibility("default")))
