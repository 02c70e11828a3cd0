// SPDX-License-Identifier: MIT
#pragma once

#include "telvo/owner/Namespace.h"
#include "telvo/owner/Upload.h"

// What an owner can find wrong with an upload's files before it starts: the helper would only tell of it later, or not
// at all. Both throw std::invalid_argument with a text for people.
TELVO_OWNER_NAMESPACE_BEGIN

// Whether the source is there, unless it may be gone (Upload::allowEmptySource), and has contents where only those are
// to be sent.
void checkSource(const Upload& upload);

// Whether the cache is one, if it exists, since anything else would be overwritten; and, but for a dry run, whether it
// can be written.
void checkCache(const Upload& upload);

TELVO_OWNER_NAMESPACE_END
