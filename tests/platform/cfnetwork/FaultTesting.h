#pragma once

#include <string>

#include <gtest/gtest.h>

#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What the tests of a misbehaving server share.

constexpr std::size_t smallSize = 2000;
constexpr std::size_t largeSize = 3000000;  // more than is kept for being sent again

inline cfnetwork::FTPLimits shortLimits() {
  cfnetwork::FTPLimits limits = Upload::oneConnection();
  limits.connect = limits.reply = limits.progress = 1.5;
  return limits;
}

inline void expectStored(ScriptedFTPServer& server, const std::string& path, const std::string& content) {
  Upload upload(server, path, content);
  EXPECT_TRUE(upload.stores()) << path << ": " << upload.errorText();
  EXPECT_EQ(server.file(path) == content, true) << path;
}

// The items that follow are stored, whole, and do not need a new connection each.
inline void expectRunToGoOn(ScriptedFTPServer& server) {
  const std::size_t before = server.sessions();
  expectStored(server, "/next", "next");
  EXPECT_TRUE(Upload(server, "/folder" + std::to_string(server.folders().size()) + "/").stores());
  expectStored(server, "/large", contentOfSize(largeSize));
  expectStored(server, "/last", "last");
  EXPECT_LE(server.sessions(), before + 1);
  EXPECT_EQ(server.storesWithoutData(), 0U);
}
