// SPDX-License-Identifier: MIT
#pragma once

// All that this library declares is in the namespace telvo. What a public header declares between these two lines is
// exported by the shared library, all else is not. The extension library uses the same namespace, inline; whoever
// includes its headers first gets this one inline, too.
#ifdef TELVO_NAMESPACE_BEGIN
#define TELVO_OWNER_NAMESPACE_BEGIN TELVO_NAMESPACE_BEGIN
#else
#define TELVO_OWNER_NAMESPACE_BEGIN namespace telvo __attribute__((visibility("default"))) {
#endif
#define TELVO_OWNER_NAMESPACE_END }
