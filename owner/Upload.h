// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "telvo/owner/Namespace.h"

// What an owner tells the helper, and what it hears back. Texts are UTF-8, paths are bytes.
TELVO_OWNER_NAMESPACE_BEGIN

// Whether a file is first stored under another name beside its own and renamed when it has been confirmed, so that
// nobody ever sees half of it. `large`: only files above 512,000 bytes, because renaming costs two round trips.
enum class TemporaryNames { never, large, always };

// How the connections to the server are encrypted. `tls`: from the first command on, by AUTH TLS; a server that refuses
// that gets neither login nor file. `implicit`: from the first byte on, which servers have a port of its own for (990,
// when Upload::host names none).
enum class Security { none, tls, implicit };

// The helper's launch parameters. A member that is left as it is leaves its parameter out, and the helper does what it
// does by default.
struct Upload {
  std::string helper{};  // path of the helper's executable; empty: where findHelper() finds it

  // What is sent, and where.
  std::string source{};                // absolute path of a file or folder
  std::string host{};                  // "name", "name:port", "[address]:port"
  std::string user{};                  // empty: anonymous
  std::string password{};              // not visible in the process list once the helper has read it
  std::string remoteDirectory{};       // absolute folder on the server, made when missing; empty: "/"
  bool contentsOnly = false;           // the source folder's contents go there, not the folder itself
  std::vector<std::string> exclude{};  // patterns as in a .gitignore; none may hold a line end

  // How it is encrypted. The server's certificate has to be valid, for this host, and of an authority that the system
  // trusts; or of the one, or the very certificate, that is given here.
  Security security = Security::none;
  std::string certificateAuthority{};  // absolute path of a PEM file; stands in for the system's authorities
  std::string fingerprint{};           // SHA-256 of the server's certificate: 64 hexadecimal digits, colons allowed
  std::string certificate{};           // of the client, for servers that ask for one: absolute path of a PEM file
  std::string key{};                   // ... and of its key; empty: in the same file

  // What is remembered between two runs.
  std::string cache{};            // absolute path of the cached-information file; empty: everything is sent
  bool rememberSentOnly = false;  // the file holds only what has arrived; otherwise all that was to be sent
  bool deleteMissing = false;     // removes what an earlier run sent and is gone here; needs rememberSentOnly
  bool allowEmptySource = false;  // ... also when the source is missing or empty

  // How it is sent.
  bool escapeNames = false;  // names arrive byte by byte as they are; otherwise they are part of a URL unescaped
  TemporaryNames temporaryNames = TemporaryNames::never;
  std::int64_t attempts = 1;        // what failed for a passing reason is tried so often in all
  std::int64_t bytesPerSecond = 0;  // limit; 0: none
  bool dryRun = false;              // nothing is connected or written; what would be done is reported

  // What is reported.
  bool reportOutcomes = false;  // Record::outcome and the members below it
  bool reportBytes = false;     // UploadEvents::bytes
  bool announce = false;        // UploadEvents::ready
  bool debug = false;           // the helper writes its log to standard error and to the system log
};

// Absolute, without "." and "..", and without a slash at its end: how the helper wants a path. A link before a ".." is
// followed, as the system does it; others stay. Empty for an empty path. Throws std::runtime_error with a text for
// people for a relative one when the working folder is gone.
std::string absolutePath(const std::string& path);

// Adds the lines of the file to patterns such as Upload::exclude. Throws std::runtime_error when it cannot be read, or
// is no text.
void addPatterns(const std::string& path, std::vector<std::string>& patterns);

// Upload::bytesPerSecond as people write it: "500k", "1.5M", with multiples of 1024; "0" is no limit. Throws
// std::invalid_argument with a text for people.
std::int64_t rateFrom(const std::string& text);

// What became of an item. `unknown`: the helper does not tell (reportOutcomes is off). `skipped`: nothing could be
// tried. `planned`: a dry run.
enum class Outcome { unknown, sent, removed, failed, skipped, planned };

// Told after each item, in the order of the items; again when it was tried again, with the same `nth`.
struct Record {
  std::string localPath{};        // a byte that is no UTF-8 arrives as U+FFFD
  std::string remoteDirectory{};  // the folder on the server that the item belongs in
  std::uint64_t nth = 0;          // from 1
  std::uint64_t total = 0;
  std::uint64_t percent = 0;  // of the items, rounded down
  bool isMore = false;        // whether another record follows

  Outcome outcome = Outcome::unknown;
  std::string error{};         // the server's words or the system's, when the item was not sent
  std::int64_t errorCode = 0;  // the FTP reply code; 0 when it was no reply
  bool aborted = false;        // login refused, unknown host or refused connection: the run ends with this item
  bool isRemoval = false;      // the item is removed on the server
  bool willRetry = false;      // another try follows, with a record of its own
  std::string reason{};        // of a planned item: "new", "changed", "gone"
};

// How far the item in progress and the whole run are, in bytes; told at most four times a second.
struct Bytes {
  std::string localPath{};  // of the item; empty when the helper does not tell
  std::uint64_t nth = 0;
  std::uint64_t sent = 0;
  std::uint64_t total = 0;
  std::uint64_t runSent = 0;
  std::uint64_t runTotal = 0;
};

// How a run is over. `finished`: the last record has come, of all items or after a stop. `nothingToSend`: there was no
// item, or a stop came before the first. `helperEnded`: it ended (was killed) before that. `busLost`: nothing can be
// heard of it any more.
enum class Ending { finished, nothingToSend, helperEnded, busLost };

TELVO_OWNER_NAMESPACE_END
