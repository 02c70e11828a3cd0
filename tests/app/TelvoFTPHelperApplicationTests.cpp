#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/TelvoFTPHelper.h"
#include "appkit/NSApplication.h"
#include "foundation/Foundation.h"
#include "testing/BusPeer.h"
#include "testing/LogLines.h"
#include "testing/PrivateBus.h"
#include "testing/TemporaryDirectory.h"
#include "tests/app/SilentServer.h"

namespace {

// The whole application, in a process of its own that ends with it.
class TelvoFTPHelperApplicationDeathTest : public testing::Test {
 protected:
  TelvoFTPHelperApplicationDeathTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    if (const char* const ofParent = getenv(variable)) {
      source = ofParent;
    } else {
      source = folder.emplace().path();
      setenv(variable, source.c_str(), 1);
    }
  }
  ~TelvoFTPHelperApplicationDeathTest() override { unsetenv(variable); }

  [[noreturn]] static void launch(std::vector<std::string> arguments) {
    const NSMainInterface interface([] { return make<TelvoFTPHelper>(); });
    arguments.insert(arguments.begin(), "TelvoFTPHelper");
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    NSApplicationMain(static_cast<int>(arguments.size()), pointers.data());
    exit(1);
  }

  // A death test's child begins the test anew; this tells it the folder that its parent expects to read about.
  static constexpr const char* variable = "TELVO_TEST_SOURCE";
  std::string source;
  std::optional<TemporaryDirectory> folder;  // the parent's
};

TEST_F(TelvoFTPHelperApplicationDeathTest, WithoutAnOwnerItEndsAtOnceAndUploadsNothing) {
  const Lines lines = {"helper launched for " + source, "receieved should terminate", "stop"};
  const auto run = [&](const std::vector<std::string>& more) {
    PrivateBus bus;
    std::vector<std::string> arguments = {"-debug", "YES", "-sourcePath", source, "-host", refusingHost};
    arguments.insert(arguments.end(), more.begin(), more.end());
    launch(arguments);
  };
  EXPECT_EXIT(run({}), testing::ExitedWithCode(0), HasLogged::lines(lines));
  EXPECT_EXIT(run({"-bundleIdentifier", ""}), testing::ExitedWithCode(0), HasLogged::lines(lines));
}

TEST_F(TelvoFTPHelperApplicationDeathTest, WithoutASourceItSaysSo) {
  EXPECT_EXIT(launch({"-debug", "YES"}), testing::ExitedWithCode(0),
              HasLogged::lines({"helper launched for (null)", "receieved should terminate", "stop"}));
}

TEST_F(TelvoFTPHelperApplicationDeathTest, WithoutDebugItSaysNothing) {
  EXPECT_EXIT(launch({"-sourcePath", source}), testing::ExitedWithCode(0), HasLogged::lines({}));
}

TEST_F(TelvoFTPHelperApplicationDeathTest, FollowsItsOwnersQuitInTheMiddleOfAnItem) {
  EXPECT_EXIT(
      {
        PrivateBus bus;
        SilentServer server;
        BusPeer owner(bus.address());
        owner.own("com.example.Owner");
        owner.own("com.example.Other");
        afterSeconds(0.3, [&] {
          owner.disown("com.example.Other");
          owner.disown("com.example.Owner");
        });
        launch(
            {"-debug", "YES", "-bundleIdentifier", "com.example.Owner", "-sourcePath", source, "-host", server.host()});
      },
      testing::ExitedWithCode(0),
      HasLogged::lines({"helper launched for " + source, "starting upload of " + source, "com.example.Other has quit",
                        "com.example.Owner has quit", "... it's our owner!", "receieved should terminate", "stop"}));
}

TEST_F(TelvoFTPHelperApplicationDeathTest, ABusThatGoesIsItsOwnersQuit) {
  EXPECT_EXIT(
      {
        PrivateBus bus;
        SilentServer server;
        afterSeconds(0.3, [&] { bus.stop(); });
        launch(
            {"-debug", "YES", "-bundleIdentifier", "com.example.Owner", "-sourcePath", source, "-host", server.host()});
      },
      testing::ExitedWithCode(0),
      HasLogged::lines({"helper launched for " + source, "starting upload of " + source, "com.example.Owner has quit",
                        "... it's our owner!", "receieved should terminate", "stop"}));
}

// The bus does not even let it in; nothing of the upload begins.
TEST_F(TelvoFTPHelperApplicationDeathTest, ABusThatIsStuckAtTheStartDoesNotKeepIt) {
  EXPECT_EXIT(
      {
        PrivateBus bus;
        bus.signal(SIGSTOP);
        std::thread([] {
          std::this_thread::sleep_for(std::chrono::milliseconds(300));
          kill(getpid(), SIGTERM);
        }).detach();
        launch(
            {"-debug", "YES", "-bundleIdentifier", "com.example.Owner", "-sourcePath", source, "-host", refusingHost});
      },
      testing::ExitedWithCode(0),
      HasLogged::lines({"helper launched for " + source, "receieved should terminate", "stop"}));
}

TEST_F(TelvoFTPHelperApplicationDeathTest, FollowsItsOwnersQuitAfterTheLastRecord) {
  EXPECT_EXIT(
      {
        PrivateBus bus;
        BusPeer owner(bus.address());
        owner.own("com.example.Owner");
        afterSeconds(1, [&] { owner.disown("com.example.Owner"); });
        launch(
            {"-debug", "YES", "-bundleIdentifier", "com.example.Owner", "-sourcePath", source, "-host", refusingHost});
      },
      testing::ExitedWithCode(0),
      HasLogged::lines({"helper launched for " + source, "starting upload of " + source, "progress: 100%",
                        "finished; terminating the helper", "com.example.Owner has quit", "... it's our owner!",
                        "receieved should terminate", "stop"}));
}

TEST_F(TelvoFTPHelperApplicationDeathTest, TermSignalEndsItInTheMiddleOfAnItem) {
  for (const int number : {SIGTERM, SIGINT}) {
    EXPECT_EXIT(
        {
          PrivateBus bus;
          SilentServer server;
          afterSeconds(0.2, [number] { std::raise(number); });
          launch({"-debug", "YES", "-bundleIdentifier", "com.example.Owner", "-sourcePath", source, "-host",
                  server.host()});
        },
        testing::ExitedWithCode(0),
        HasLogged::lines(
            {"helper launched for " + source, "starting upload of " + source, "receieved should terminate", "stop"}));
  }
}

TEST_F(TelvoFTPHelperApplicationDeathTest, WithoutASessionBusItStillUploads) {
  EXPECT_EXIT(
      {
        leaveBus();
        afterSeconds(1, [] { std::raise(SIGTERM); });
        launch(
            {"-debug", "YES", "-bundleIdentifier", "com.example.Owner", "-sourcePath", source, "-host", refusingHost});
      },
      testing::ExitedWithCode(0),
      HasLogged::lines({"helper launched for " + source, "starting upload of " + source, "progress: 100%",
                        "finished; terminating the helper", "receieved should terminate", "stop"}));
}

TEST_F(TelvoFTPHelperApplicationDeathTest, TheDelayedEndIsLoggedToo) {
  EXPECT_EXIT(
      {
        const auto helper = make<TelvoFTPHelper>();
        helper->setDebugMode(true);
        NSApplication::sharedApplication()->setDelegate(helper);
        helper->terminateApp();
      },
      testing::ExitedWithCode(0), HasLogged::lines({"terminating the helper", "receieved should terminate", "stop"}));
}

}  // namespace
