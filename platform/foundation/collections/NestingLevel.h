#pragma once

#include "foundation/runtime/Namespace.h"

inline namespace telvo {

namespace foundation {

// One level of a walk through nested collections, for as long as it lives. A collection that holds itself has no last
// level: beyond the 512th the constructor raises NSInvalidArgumentException. The levels of one thread are counted
// together, those of other libraries' walks included.
class TELVO_EXPORTED_TO_LAYERS NestingLevel {
 public:
  NestingLevel();
  ~NestingLevel();
  NestingLevel(const NestingLevel&) = delete;
  NestingLevel& operator=(const NestingLevel&) = delete;
};

}  // namespace foundation

}  // namespace telvo
