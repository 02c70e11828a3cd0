#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What happens inside a stream's callbacks, and on several threads.

namespace {

using namespace scripted;
using scripted::send;  // not the system's

// Threads, callbacks.

TEST(FTPWriteStreamThreads, EveryThreadHasConnectionsOfItsOwn) {
  ScriptedFTPServer server;
  constexpr std::size_t count = 6;
  std::vector<std::thread> threads;
  std::atomic<int> stored = 0;
  for (std::size_t number = 0; number < count; ++number) {
    threads.emplace_back([&, number] {
      for (int i = 0; i < 10; ++i) {
        const std::string path = "/" + std::to_string(number) + "-" + std::to_string(i);
        Upload upload(server, path, path);
        stored += upload.stores() ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(stored, 60);
  EXPECT_EQ(server.sessions(), count);
  for (const auto& transfer : server.transfers()) EXPECT_EQ(transfer.content, transfer.path);
  // A thread's connections end with it.
  EXPECT_TRUE(server.waitUntil([&] { return server.openSessions() == 0; }));
}

TEST(FTPWriteStreamCallbacks, AnExceptionInOneLeavesTheItemAsItWas) {
  ScriptedFTPServer server;
  Upload upload(server, "/a", "content");
  upload.whenOpen = [] { throw make<NSException>("Test"_ns, "open"_ns, nil); };
  EXPECT_THROW(upload.run(), Ref<NSException>);
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a"), "content");
  expectRunToGoOn(server);
}

TEST(FTPWriteStreamCallbacks, AnExceptionInTheLastOneDoesNotSpoilTheNextItem) {
  ScriptedFTPServer server;
  for (int i = 0; i < 3; ++i) {
    server.on("STOR", reply("550 No."));
    Upload upload(server, "/a", "content");
    upload.whenError = [] { throw make<NSException>("Test"_ns, "error"_ns, nil); };
    EXPECT_THROW(upload.run(), Ref<NSException>);
    EXPECT_EQ(upload.replyCode(), 550);
    upload.stream->close();
    server.forgetActions();
    expectRunToGoOn(server);
  }
}

TEST(FTPWriteStreamCallbacks, ClosingInsideOneEndsTheItemThere) {
  ScriptedFTPServer server;
  for (int i = 0; i < 3; ++i) {
    Upload opening(server, "/opened", "content");
    opening.whenOpen = [&] { opening.close(); };
    opening.run();
    EXPECT_EQ(server.file("/opened"), "");
    Upload writing(server, "/written", "content");
    writing.whenSpace = [&] { writing.close(); };
    writing.run();
    EXPECT_EQ(server.file("/written"), "");
    // The same with a stop: nothing is confirmed.
    Upload stopped(server, "/stopped", "content");
    stopped.interruption = [] { return true; };
    stopped.whenOpen = [&] { stopped.close(); };
    stopped.run();
    EXPECT_FALSE(server.file("/stopped").has_value());
    expectRunToGoOn(server);
  }
}

TEST(FTPWriteStreamCallbacks, LettingGoOfTheStreamInsideOneIsAllowed) {
  ScriptedFTPServer server;
  for (int i = 0; i < 3; ++i) {
    auto upload = std::make_unique<Upload>(server, "/a", "content");
    Ref<FTPWriteStream> stream = upload->stream;
    bool released = false;
    upload->whenOpen = [&] {
      stream = nil;
      released = true;
    };
    upload->run([&] { return released; });
    upload.reset();
    expectRunToGoOn(server);
  }
}

}  // namespace
