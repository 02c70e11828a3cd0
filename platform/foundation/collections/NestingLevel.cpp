#include "foundation/collections/NestingLevel.h"

#include "foundation/errors/NSException.h"

inline namespace telvo {

namespace {

// Far beyond any data of use. A walk takes less than a kilobyte of stack a level, so half a megabyte in all: every
// thread has that unless it was started with less on purpose.
constexpr int deepestLevel = 512;

thread_local int level = 0;

}  // namespace

foundation::NestingLevel::NestingLevel() {
  if (level >= deepestLevel) {
    NSException::raise_format(NSInvalidArgumentException(), "collections are nested more than %d levels deep"_ns,
                              deepestLevel);
  }
  ++level;
}

foundation::NestingLevel::~NestingLevel() { --level; }

}  // namespace telvo
