#pragma once

// One level of a walk through nested collections, for as long as it lives. A collection that holds itself has no last
// level: beyond the deepest one allowed the constructor raises NSInvalidArgumentException, while there is still stack.
class NestingLevel {
 public:
  NestingLevel();
  ~NestingLevel();
  NestingLevel(const NestingLevel&) = delete;
  NestingLevel& operator=(const NestingLevel&) = delete;
};
