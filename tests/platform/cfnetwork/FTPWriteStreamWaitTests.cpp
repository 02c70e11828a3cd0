#include <chrono>
#include <ostream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// Whatever the client waits for, there is an end to it: a server refuses, closes the connection or falls silent at each
// step, for files of every kind, over a fresh and over a kept connection, with the first and with a later item.

namespace {

using namespace scripted;

struct Step {
  std::string name;
  std::string verb;
  // The script of the server up to the point where it misbehaves.
  Action (*upTo)(Action misbehave);
  bool isLogin = false;
};

Action atOnce(Action misbehave) { return misbehave; }
Action afterPreliminaryReply(Action misbehave) { return then(reply("150 Send it."), std::move(misbehave)); }
Action duringData(Action misbehave) { return storePart(1000, std::move(misbehave)); }
Action afterData(Action misbehave) { return storePart(std::string::npos, std::move(misbehave)); }
Action afterDataEnd(Action misbehave) { return storePart(std::string::npos, then(closeData(), std::move(misbehave))); }

const std::vector<Step> steps{
    {"Greeting", "GREETING", atOnce, true},
    {"USER", "USER", atOnce, true},
    {"PASS", "PASS", atOnce, true},
    {"TYPE", "TYPE", atOnce, true},
    {"EPSV", "EPSV", atOnce},
    {"STOR", "STOR", atOnce},
    {"STORAfterPreliminaryReply", "STOR", afterPreliminaryReply},
    {"STORDuringData", "STOR", duringData},
    {"STORAfterData", "STOR", afterData},
    {"STORAfterDataEnd", "STOR", afterDataEnd},
};

struct Misbehaviour {
  std::string name;
  Action action;
  bool isSilent = false;
};

const std::vector<Misbehaviour> misbehaviours{
    {"Refused", reply("550 No.")},
    {"RefusedForNow", reply("425 Not now.")},
    {"Closing", then(reply("421 Going down."), dropControl())},
    {"Closed", dropControl()},
    {"Reset", resetControl()},
    {"Silent", stall(), true},
};

enum class Item { First, LaterOverKept, LaterOverFresh };

void PrintTo(const Step& step, std::ostream* stream) { *stream << step.name; }
void PrintTo(const Misbehaviour& misbehaviour, std::ostream* stream) { *stream << misbehaviour.name; }

class FTPWriteStreamWait : public testing::TestWithParam<std::tuple<Step, Misbehaviour>> {
 protected:
  void run(Item item, std::size_t size, const std::string& greeting) {
    const auto& [step, misbehaviour] = GetParam();
    ScriptedFTPServer server;
    server.always("GREETING", reply(greeting));
    if (item == Item::LaterOverFresh) server.on("STOR", then(storeThen("226 Stored."), resetControl()));
    if (item != Item::First) expectStored(server, "/before", "before");
    if (item == Item::LaterOverFresh) {
      EXPECT_TRUE(server.waitUntil([&] { return server.openSessions() == 0; }));
    }

    server.setReceiveBuffer(4096);
    server.on(step.verb, step.upTo(misbehaviour.action));
    Upload upload(server, "/item", contentOfSize(size));
    if (misbehaviour.isSilent) upload.limits.connect = upload.limits.reply = upload.limits.progress = 0.2;
    const auto start = std::chrono::steady_clock::now();
    upload.run();
    // The machine may be busy, but no limit of the helper's own has to pass.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(25));
    EXPECT_TRUE(upload.isOver());
    if (upload.isStored()) {
      EXPECT_EQ(server.file("/item") == upload.content, true);
    }

    server.forgetActions();
    server.setReceiveBuffer(0);
    expectStored(server, "/after", "after");
  }
};

TEST_P(FTPWriteStreamWait, Ends) {
  const auto& [step, misbehaviour] = GetParam();
  for (const Item item : {Item::First, Item::LaterOverKept, Item::LaterOverFresh}) {
    if (step.isLogin && item == Item::LaterOverKept) continue;  // there is no login then
    for (const std::size_t size : {0UL, 2000UL, 511999UL, 5000000UL}) {
      for (const char* greeting : {"220 Ready.", "220 (vsFTPd 3.0.3)"}) {
        if (step.isLogin && greeting[4] == '(') continue;  // makes no difference yet
        const testing::Message trace = testing::Message()
                                       << static_cast<int>(item) << ", " << size << " bytes, " << greeting;
        SCOPED_TRACE(trace);
        run(item, size, greeting);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EveryStep, FTPWriteStreamWait,
                         testing::Combine(testing::ValuesIn(steps), testing::ValuesIn(misbehaviours)),
                         [](const auto& each) { return std::get<0>(each.param).name + std::get<1>(each.param).name; });

// A small file, and then one that is longer than what is kept for being sent again: the server turns away from the
// second one before it has begun.
TEST(FTPWriteStreamWaits, ALargeFileWhoseConnectionIsReplacedGoesOn) {
  for (const Action& action : {dropControl(), then(reply("421 Going down."), dropControl()), reply("425 Not now.")}) {
    for (const char* greeting : {"220 Ready.", "220 (vsFTPd 3.0.3)"}) {
      ScriptedFTPServer server;
      server.always("GREETING", reply(greeting));
      expectStored(server, "/small", "small");
      server.on("STOR", action);
      expectStored(server, "/large", contentOfSize(600000));
      expectStored(server, "/last", "last");
    }
  }
}

// What has come is read before a limit counts.
TEST(FTPWriteStreamWaits, AReplyThatCameWhileTheProcessDidNotRunCounts) {
  for (const char* verb : {"USER", "EPSV", "STOR"}) {
    ScriptedFTPServer server;
    bool hasSlept = false;
    Upload upload(server, "/a", "content");
    upload.limits.connect = upload.limits.reply = upload.limits.progress = 1;
    upload.run([&] {
      if (hasSlept || server.count(verb) == 0) return false;
      hasSlept = true;
      std::this_thread::sleep_for(std::chrono::seconds(2));
      return false;
    });
    EXPECT_TRUE(hasSlept);
    EXPECT_TRUE(upload.isStored()) << verb << ": " << upload.errorText();
  }
}

}  // namespace
