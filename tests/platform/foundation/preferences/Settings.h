#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/preferences/NSUserDefaults.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

// Settings of an application, for a test.
namespace settings {

inline Ref<NSNumber> number(NSInteger value) { return NSNumber::numberWithInteger(value); }

// Settings of an application in a folder of their own, without launch arguments.
class NSUserDefaultsTest : public testing::Test {
 protected:
  ~NSUserDefaultsTest() override { takeArguments({}); }

  // The arguments as the system would hand them over; answers what is left of them.
  static std::vector<std::string> takeArguments(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "program");
    std::vector<char*> pointers;
    pointers.reserve(arguments.size());
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    NSUserDefaults::takeArguments(static_cast<int>(pointers.size()), pointers.data());
    return arguments;
  }

  static Ref<NSUserDefaults> other() { return make<NSUserDefaults>("com.example.app"_ns); }

  TemporaryDirectory folder_;
  EnvironmentVariable configuration_{"XDG_CONFIG_HOME", folder_.path().c_str()};
  const std::string file_ = "preferences/com.example.app.plist";
  Ref<NSUserDefaults> defaults_ = other();
};

}  // namespace settings
