#pragma once

#include <filesystem>

#include <gtest/gtest.h>

#include "appkit/NSFont.h"
#include "categories/NSArray+Telvo.h"
#include "categories/NSAttributedString+Telvo.h"
#include "categories/NSData+Telvo.h"
#include "categories/NSDate+Telvo.h"
#include "categories/NSDictionary+Telvo.h"
#include "categories/NSFileManager+Telvo.h"
#include "categories/NSObject+Telvo.h"
#include "categories/NSString+Telvo.h"
#include "categories/NSUserDefaults+Telvo.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"
#include "tests/categories/Told.h"

// Where the examples of docs/extension-library.md run: in an empty folder, for an English user whose clocks show UTC.
class ExtensionLibraryExamples : public testing::Test {
 protected:
  ExtensionLibraryExamples() { std::filesystem::current_path(folder_.path()); }
  ~ExtensionLibraryExamples() override { std::filesystem::current_path(previous_); }

 private:
  const std::filesystem::path previous_ = std::filesystem::current_path();
  const TemporaryDirectory folder_;
  const EnvironmentVariable configuration_{"XDG_CONFIG_HOME", folder_.path().c_str()};
  const EnvironmentVariable language_{"LC_ALL", "en_US.UTF-8"};
  const EnvironmentVariable zone_{"TZ", "UTC"};
};
