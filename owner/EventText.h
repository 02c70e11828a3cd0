// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "telvo/owner/Namespace.h"
#include "telvo/owner/Progress.h"

// What happens in a run as one line of JSON an event (RFC 8259), without the line's end, for owners that hand it on to
// other programs. Empty texts, and what is false, are left out; a path's bytes stand as they are.
TELVO_OWNER_NAMESPACE_BEGIN

// {"event":"ready","version":"1.0"}
std::string readyEvent(const std::string& version);

// {"event":"item","path":"/home/anna/Site/a.txt","remoteDirectory":"/Site","nth":2,"total":7,"outcome":"sent","errorCode":0}
std::string itemEvent(const Record& record);

// {"event":"bytes","path":"/home/anna/Site/a.txt","nth":2,"sent":512000,"total":900000,"runSent":612000,"runTotal":4000000}
std::string bytesEvent(const Bytes& bytes);

// {"event":"end","status":0,"sent":7,"removed":0,"notArrived":0}
std::string endEvent(const Progress& progress, Verdict verdict);

TELVO_OWNER_NAMESPACE_END
