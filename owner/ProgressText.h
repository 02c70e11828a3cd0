// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "telvo/owner/Namespace.h"
#include "telvo/owner/Progress.h"

TELVO_OWNER_NAMESPACE_BEGIN

// "sent", "removed", "failed", "skipped" or "unknown"; for a planned item its reason.
std::string outcomeText(const Record& record);

// Why an item was not sent: the reply code, when there was one, and the words, on one line and harmless on a terminal.
std::string errorText(const Record& record);

// What became of an item, harmless on a terminal, such as "3 of 7 /home/anna/Site/a.txt: sent".
std::string itemText(const Record& record);

// Such as "1.2 MB".
std::string sizeText(std::uint64_t bytes);

// What has been done, such as "3 sent, 1 removed.", or what would be; empty when there is nothing of either.
std::string summaryText(const Progress& progress);

// Why the run did not get to its end, such as "stopped in item 3 of 7"; empty when it did.
std::string endingText(const Progress& progress, Ending ending, Verdict verdict, Security security);

// Where the run is, for a terminal of so many columns, of which it leaves three free: percent, number, time
// left, rate, bytes, and the file in progress. What matters least is left out first.
std::string progressText(const Progress& progress, int columns);

TELVO_OWNER_NAMESPACE_END
