#pragma once

inline namespace telvo {

namespace foundation {

// Gives texts, numbers, dates, data, collections, null, URLs, UUIDs and styled texts their coding, under the keys that
// the original platform uses, and makes their classes known by name. Done once; any thread.
void registerFoundationCoding();

}  // namespace foundation

}  // namespace telvo
