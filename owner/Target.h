// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "telvo/owner/Namespace.h"
#include "telvo/owner/Upload.h"

TELVO_OWNER_NAMESPACE_BEGIN

// Where an upload goes, as people write it: [USER@]HOST[:PORT][/FOLDER], or an ftp:// or ftps:// URL of the same parts,
// in which user and folder may be percent-escaped; that is the way to write a user with a colon (%3A).
struct Target {
  std::string user;    // empty when it was not given
  std::string host;    // with the port, when one was given, and in ASCII: what Upload::host takes
  std::string folder;  // absolute, without a slash at its end; empty when it was not given

  bool isImplicitlySecure = false;  // ftps://: Security::implicit

  // The host without its port and without brackets.
  std::string hostName() const;
};

// Throws std::invalid_argument with a text for people. A password is not accepted: others can read a command line.
Target parseTarget(const std::string& text);

// How an upload to the target is encrypted, by a person's word: "none", "tls" or "implicit"; empty: as its URL says.
// Throws std::invalid_argument with a text for people when that is no such word, or the URL says otherwise.
Security securityFor(const std::string& word, const Target& target);

// The path of a file for Upload::cache that belongs to this pair of source and target alone, below $XDG_CACHE_HOME.
// `contentsOnly` belongs to the pair, too: with it, the same source goes to other places.
std::string cacheFileFor(const std::string& source, const Target& target, bool contentsOnly);

// Makes the folder of those files, for this user only. Throws std::runtime_error with a text for people when there is
// none then in which files can be made.
void makeCacheFolder();

TELVO_OWNER_NAMESPACE_END
