#pragma once

#include <memory>

#include "foundation/collections/NSDictionary.h"
#include "foundation/runtime/NSObject.h"
#include "foundation/text/NSString.h"
#include "streams/ExcludePatterns.h"

TELVO_NAMESPACE_BEGIN

namespace streams {

// Which files are stored under a name beside their own until they are complete.
enum class TemporaryNames { Never, LargeFiles, AllFiles };

// What an owner can ask for beyond the usual upload. Everything is off at first.
struct UploadOptions {
  bool reportsOutcomes = false;    // each record says what has become of its item
  bool remembersSentOnly = false;  // the cached-information file holds what has arrived, not what was planned
  bool escapesNames = false;       // every byte of a name arrives as it is
  bool contentsOnly = false;       // a folder's contents are sent, not the folder itself
  bool deletesMissing = false;     // what an earlier run has sent and is gone here is removed there
  bool allowsEmptySource = false;  // ... also when nothing is left here
  bool reportsBytes = false;       // progress is told inside a file too
  bool isDryRun = false;           // the plan is told, and nothing is done
  TemporaryNames temporaryNames = TemporaryNames::Never;
  Ref<NSString> remoteDirectory = "/"_ns;  // absolute, without a slash at its end; made when missing
  NSUInteger attempts = 1;                 // tries to send an item that fails for a passing reason
  NSUInteger bytesPerSecond = 0;           // 0: as fast as it goes
  ExcludePatterns excluded{};
  Ref<NSDictionary> security{};  // of the connections (kCFStreamPropertyFTPSecurity); nil: as the system is set

  // Whether nothing was asked for.
  bool isUsualUpload() const {
    return !reportsOutcomes && !remembersSentOnly && !escapesNames && !contentsOnly && !deletesMissing &&
           !reportsBytes && !isDryRun && temporaryNames == TemporaryNames::Never && attempts == 1 &&
           bytesPerSecond == 0 && !security && excluded.isEmpty() && remoteDirectory->isEqualToString("/"_ns);
  }
};

}  // namespace streams

TELVO_NAMESPACE_END
