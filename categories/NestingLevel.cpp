#include "categories/NestingLevel.h"

#include "foundation/errors/NSException.h"

namespace {

// Far beyond any data of use, and small enough for the stack of any thread.
constexpr int deepestLevel = 512;

thread_local int level = 0;

}  // namespace

NestingLevel::NestingLevel() {
  if (level >= deepestLevel) {
    NSException::raise_format(NSInvalidArgumentException(), "collections are nested more than %d levels deep"_ns,
                              deepestLevel);
  }
  ++level;
}

NestingLevel::~NestingLevel() { --level; }
