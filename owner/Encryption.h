// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "telvo/owner/Namespace.h"
#include "telvo/owner/Upload.h"

// What an owner can find out about encryption before and after a run.
TELVO_OWNER_NAMESPACE_BEGIN

// Whether the members of the upload that say how it is encrypted go together, and the files that they name exist:
// the helper would send nothing otherwise.
// Throws std::invalid_argument with a text for people.
void checkEncryption(const Upload& upload);

// Whether the server offers to encrypt (AUTH TLS), asked over a connection of its own without a login; through the
// proxy where there is one for FTP. `host` as in Upload::host. Blocks for at most 5 s; false also when there is no
// answer.
bool offersEncryption(const std::string& host);

TELVO_OWNER_NAMESPACE_END
