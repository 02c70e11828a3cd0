#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "telvo/owner/Owner.h"
#include "testing/BusPeer.h"
#include "testing/EnvironmentVariable.h"
#include "testing/PrivateBus.h"

namespace {

constexpr const char* fakeHelper = TELVO_FAKE_HELPER;

// An owner whose helper is the fake one, in a scenario of that.
class OwnerTests : public testing::Test {
 protected:
  OwnerTests() {
    upload_.helper = fakeHelper;
    events_.ready = [this](const std::string& version) { heard_.push_back("ready " + version); };
    events_.item = [this](const telvo::Record& record) {
      records_.push_back(record);
      heard_.push_back("item " + std::to_string(record.nth));
    };
    events_.bytes = [this](const telvo::Bytes& bytes) {
      bytes_ = bytes;
      heard_.push_back("bytes");
    };
    events_.ended = [this](telvo::Ending) { heard_.push_back("ended"); };
  }

  void start(telvo::Owner& owner, const std::string& scenario) {
    upload_.source = "/" + scenario;
    owner.start(upload_, events_);
  }

  telvo::Ending run(const std::string& scenario) {
    telvo::Owner owner;
    start(owner, scenario);
    return owner.wait();
  }

  PrivateBus bus_;
  telvo::Upload upload_;
  telvo::UploadEvents events_;
  std::vector<std::string> heard_;
  std::vector<telvo::Record> records_;
  telvo::Bytes bytes_;
};

TEST_F(OwnerTests, DeliversEverythingInTheOrderInWhichItWasPosted) {
  EXPECT_EQ(run("two-items"), telvo::Ending::finished);
  EXPECT_EQ(heard_, (std::vector<std::string>{"ready 1.2.3", "bytes", "item 1", "item 2", "ended"}));
}

TEST_F(OwnerTests, ARecordHasWhatTheHelperSaid) {
  run("two-items");
  ASSERT_EQ(records_.size(), 2U);
  const telvo::Record& first = records_[0];
  EXPECT_EQ(first.localPath, "/item/1");
  EXPECT_EQ(first.remoteDirectory, "/");
  EXPECT_EQ(first.total, 2U);
  EXPECT_EQ(first.percent, 50U);
  EXPECT_TRUE(first.isMore);
  EXPECT_EQ(first.outcome, telvo::Outcome::failed);
  EXPECT_EQ(first.error, "no room");
  EXPECT_EQ(first.errorCode, 452);
  EXPECT_TRUE(first.willRetry);
  EXPECT_FALSE(first.aborted);
  EXPECT_FALSE(records_[1].isMore);
  EXPECT_EQ(records_[1].outcome, telvo::Outcome::sent);
  EXPECT_EQ(bytes_.sent, 5U);
  EXPECT_EQ(bytes_.runTotal, 30U);
}

TEST_F(OwnerTests, ANotificationWithoutContentsIsNothingToSend) {
  EXPECT_EQ(run("nothing"), telvo::Ending::nothingToSend);
  EXPECT_EQ(heard_, std::vector<std::string>{"ended"});
}

TEST_F(OwnerTests, AHelperThatIsKilledEndsTheRun) {
  EXPECT_EQ(run("dies"), telvo::Ending::helperEnded);
  EXPECT_EQ(heard_, std::vector<std::string>{"ended"});
}

TEST_F(OwnerTests, WhatIsNotInTheWireFormatCountsForNothing) {
  EXPECT_EQ(run("odd-messages"), telvo::Ending::finished);
  ASSERT_EQ(records_.size(), 2U);
  EXPECT_EQ(records_[0].localPath, "");
  EXPECT_EQ(records_[0].nth, 0U);
  EXPECT_EQ(records_[0].total, 0U);
  EXPECT_EQ(records_[0].outcome, telvo::Outcome::unknown);
}

TEST_F(OwnerTests, AStopIsHeardByTheHelper) {
  telvo::Owner owner;
  events_.ready = [&owner](const std::string&) { owner.stop(); };
  start(owner, "waits");
  EXPECT_EQ(owner.wait(), telvo::Ending::finished);
  ASSERT_EQ(records_.size(), 1U);
  EXPECT_EQ(records_[0].total, 5U);
}

TEST_F(OwnerTests, AStopBeforeTheHelperListensIsKeptUntilItDoes) {
  telvo::Owner owner;
  const std::string sign = std::filesystem::temp_directory_path() / ("telvo-sign-" + std::to_string(getpid()));
  upload_.cache = sign;
  start(owner, "late-listener");
  owner.stop();
  std::ofstream(sign).put('x');
  EXPECT_EQ(owner.wait(), telvo::Ending::finished);
  std::filesystem::remove(sign);
}

TEST_F(OwnerTests, ANeighbourCannotEndTheRunWithAForgedRecord) {
  telvo::Owner owner;
  BusPeer neighbour(bus_.address());
  std::string token;
  // The neighbour has learnt the token from the helper's own message.
  events_.ready = [&](const std::string&) {
    while (neighbour.heard.empty()) g_main_context_iteration(nullptr, TRUE);
    const std::string& text = neighbour.heard.front();
    const std::size_t begin = text.find("', '") + 4;
    token = text.substr(begin, text.find('\'', begin) - begin);
    neighbour.emit("('TelvoFTPHelperProgressDistributedNotification', '" + token +
                   "', {'UserInfo': <{'LocalPath': <'/forged'>, 'IsMore': <false>}>})");
    owner.stop();
  };
  start(owner, "waits");
  EXPECT_EQ(owner.wait(), telvo::Ending::finished);
  EXPECT_EQ(token.size(), 36U);
  ASSERT_EQ(records_.size(), 1U);
  EXPECT_EQ(records_[0].localPath, "/item/1");
}

TEST_F(OwnerTests, ALostBusEndsTheRun) {
  telvo::Owner owner;
  events_.ready = [this](const std::string&) { bus_.stop(); };
  start(owner, "stubborn");
  EXPECT_EQ(owner.wait(), telvo::Ending::busLost);
}

// The process ids of this program's children.
std::string children() {
  const std::string self = std::to_string(getpid());
  std::ifstream file("/proc/" + self + "/task/" + self + "/children");
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST_F(OwnerTests, LetsAHelperGoThatDoesNotFollow) {
  const std::string before = children();
  {
    telvo::Owner owner;
    start(owner, "stubborn");
    EXPECT_NE(children(), before);
  }
  EXPECT_EQ(children(), before);
}

TEST_F(OwnerTests, EveryParameterIsTold) {
  const std::string file = std::filesystem::temp_directory_path() / ("telvo-arguments-" + std::to_string(getpid()));
  upload_.cache = file;
  upload_.host = "host:21";
  upload_.user = "anna";
  upload_.password = "-secret";
  upload_.remoteDirectory = "/x";
  upload_.exclude = {"*.o", "/build/"};
  upload_.temporaryNames = telvo::TemporaryNames::large;
  upload_.attempts = 4;
  upload_.bytesPerSecond = 1000;
  upload_.debug = upload_.reportOutcomes = upload_.rememberSentOnly = upload_.escapeNames = upload_.contentsOnly = true;
  upload_.deleteMissing = upload_.allowEmptySource = upload_.reportBytes = upload_.announce = upload_.dryRun = true;
  run("tells-its-arguments");
  std::ifstream stream(file);
  const std::string told{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  for (const char* const pair :
       {R"("-host", "host:21")", R"("-username", "anna")", R"("-password", "-secret")", R"("-debug", "YES")",
        R"("-remoteDirectory", "/x")", R"("-exclude", "*.o\n/build/")", R"("-temporaryNames", "large")",
        R"("-attempts", "4")", R"("-bytesPerSecond", "1000")", R"("-reportOutcomes", "YES")",
        R"("-rememberSentOnly", "YES")", R"("-escapeNames", "YES")", R"("-contentsOnly", "YES")",
        R"("-deleteMissing", "YES")", R"("-allowEmptySource", "YES")", R"("-reportBytes", "YES")",
        R"("-announce", "YES")", R"("-dryRun", "YES")", R"("-bundleIdentifier", "com.telvo.Owner.)"}) {
    EXPECT_NE(told.find(pair), std::string::npos) << pair << " in " << told;
  }
  EXPECT_NE(told.find("leads-its-group=True"), std::string::npos);
  std::filesystem::remove(file);
}

TEST_F(OwnerTests, WhatIsLeftAsItIsIsNotTold) {
  const std::string file = std::filesystem::temp_directory_path() / ("telvo-arguments-" + std::to_string(getpid()));
  upload_.cache = file;
  run("tells-its-arguments");
  std::ifstream stream(file);
  const std::string told{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  for (const char* const key : {"YES", "-attempts", "-temporaryNames", "-bytesPerSecond", "-exclude",
                                "-remoteDirectory", "-username", "-password"}) {
    EXPECT_EQ(told.find(key), std::string::npos) << key << " in " << told;
  }
  std::filesystem::remove(file);
}

TEST_F(OwnerTests, ANameThatAnotherProgramHasIsTold) {
  const telvo::Owner first(telvo::BusChoice::session, "com.example.Owner");
  EXPECT_THROW(telvo::Owner(telvo::BusChoice::session, "com.example.Owner"), std::runtime_error);
}

TEST_F(OwnerTests, AHelperThatCannotBeStartedIsTold) {
  telvo::Owner owner;
  upload_.helper = "/nowhere/TelvoFTPHelper";
  EXPECT_THROW(start(owner, "two-items"), std::runtime_error);
  // And is no reason to give up.
  upload_.helper = fakeHelper;
  start(owner, "nothing");
  EXPECT_EQ(owner.wait(), telvo::Ending::nothingToSend);
}

TEST_F(OwnerTests, WithoutASessionBusThereIsNoOwnerOrOneWithABusOfItsOwn) {
  bus_.stop();
  EXPECT_THROW(telvo::Owner(), std::runtime_error);
  telvo::Owner owner(telvo::BusChoice::sessionOrOwn);
  EXPECT_FALSE(owner.isOnSessionBus());
  start(owner, "two-items");
  EXPECT_EQ(owner.wait(), telvo::Ending::finished);
}

// Takes connections and says nothing.
class SilentBus {
 public:
  SilentBus() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = "telvo-silent-" + std::to_string(getpid());
    name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0) std::abort();
    listen(listener_, 5);
    address_ = "unix:abstract=" + name;
  }
  ~SilentBus() { close(listener_); }
  SilentBus(const SilentBus&) = delete;
  SilentBus& operator=(const SilentBus&) = delete;

  std::string address_;

 private:
  int listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

TEST(SilentBus, EndsTheStartWithAnError) {
  const SilentBus bus;
  const EnvironmentVariable variable("DBUS_SESSION_BUS_ADDRESS", bus.address_.c_str());
  for (const auto choice : {telvo::BusChoice::session, telvo::BusChoice::sessionOrOwn}) {
    try {
      const telvo::Owner owner(choice);
      ADD_FAILURE() << "there is an owner";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "the session bus does not answer");
    }
  }
}

TEST_F(OwnerTests, ABusThatFallsSilentLaterEndsTheStartWithAnError) {
  telvo::Owner owner;
  bus_.signal(SIGSTOP);
  EXPECT_THROW(start(owner, "two-items"), std::runtime_error);
  bus_.signal(SIGCONT);
}

}  // namespace
