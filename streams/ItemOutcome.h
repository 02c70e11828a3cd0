#pragma once

#include "foundation/runtime/NSObject.h"
#include "foundation/text/NSString.h"

TELVO_INTERNAL_NAMESPACE_BEGIN

namespace streams {

// What has become of an item.
struct ItemOutcome {
  enum class Result { Skipped, Sent, Removed, Failed };

  Result result = Result::Skipped;  // nothing was tried
  Ref<NSString> error{};            // the server's text or the system's; nil when it arrived
  NSInteger replyCode = 0;          // of the server's last word, when that is the reason
  bool isPassing = false;           // failed for a reason that may be gone a little later
  bool endsRun = false;             // failed because nobody can be reached or logged in to
  bool isInsecure = false;          // failed because the connection could not be encrypted as it was asked for

  // What a connection has reported (TelvoStreamData, "streamData:errorOccurred:"): an error or a text.
  static ItemOutcome failure(const id& error);

  // "sent", "removed", "failed" or "skipped".
  Ref<NSString> name() const;
  bool hasArrived() const { return result == Result::Sent || result == Result::Removed; }
};

}  // namespace streams

TELVO_INTERNAL_NAMESPACE_END
