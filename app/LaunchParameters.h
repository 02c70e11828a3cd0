#pragma once

#include <vector>

#include "foundation/runtime/Ref.h"
#include "streams/UploadOptions.h"

inline namespace telvo {

class NSString;
class NSUserDefaults;

// What an owner asks for with further launch parameters (docs/owners-guide.md), each off when absent.
struct LaunchParameters {
  streams::UploadOptions options;
  bool announces = false;  // the helper says when it can be reached
  // What is wrong with the parameters, a text each: those that nobody knows, and values without a meaning, which count
  // as absent.
  std::vector<Ref<NSString>> complaints;

  static LaunchParameters from(const NSUserDefaults& defaults);
};

}  // namespace telvo
