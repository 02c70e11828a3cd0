#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/FTPSessionPool.h"
#include "foundation/Foundation.h"
#include "streams/TelvoFTPData.h"
#include "streams/TelvoFTPStreamData.h"
#include "testing/ScriptedFTPServer.h"
#include "testing/TemporaryDirectory.h"
#include "tests/streams/NotificationRecorder.h"
#include "tests/streams/ProgressObserver.h"

// What a connection reports, and how a job goes on, when the server misbehaves at one item.

namespace {

using namespace cfnetwork;
using namespace scripted;

struct Fault {
  std::string name;
  std::string verb;
  Action action;
  NSInteger replyCode = 0;  // of the error that is reported
  std::string text;
  bool isUnseen = false;  // on a connection that was used before, nothing is reported at all
};

void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.name; }

std::vector<Fault> faults() {
  return {
      {"RefusedAtOnce", "STOR", reply("550 Permission denied."), 550, "Permission denied."},
      {"RefusedAtTheEnd", "STOR", storeThen("452 Disk full."), 452, "Disk full."},
      {"NoDataConnection", "STOR", reply("425 Cannot open data connection."), 425, "Cannot open data connection."},
      {"DataReset", "STOR", storePart(1000, then(resetData(), reply("426 Broken."))), 426, "Broken."},
      {"DataStalls", "STOR", storePart(1000, stall()), 0, "The server stopped taking data."},
      {"ConfirmedTooEarly", "STOR", storePart(1000, then(reply("226 Done."), closeData())), 0, ""},
      {"NeverConfirmed", "STOR", storePart(std::string::npos, then(closeData(), stall())), 0,
       "The server did not reply in time."},
      {"NeverAnswered", "STOR", stall(), 0, "The server did not reply in time."},
      {"ControlEndsAtSTOR", "STOR", dropControl(), 0, "The server closed the connection.", true},
      {"ControlEndsDuringData", "STOR", storePart(1000, dropControl()), 0, ""},
      {"ControlEndsBeforeTheConfirmation", "STOR", storePart(std::string::npos, then(closeData(), dropControl())), 0,
       "The server closed the connection."},
      {"421DuringData", "STOR", storePart(1000, then(reply("421 Going down."), dropControl())), 421, "Going down."},
      {"Garbage", "STOR", reply("what?"), 0, "The server sent something that is no FTP reply."},
  };
}

FTPLimits shortLimits() {
  FTPLimits limits;
  limits.connect = limits.reply = limits.progress = 1;
  limits.connections = 1;
  return limits;
}

// The limits of everything that is sent on this thread while it exists.
class Limits {
 public:
  explicit Limits(const FTPLimits& limits) { FTPSessionPool::ofThread().setLimits(limits); }
  Limits(const Limits&) = delete;
  Limits& operator=(const Limits&) = delete;
  ~Limits() { FTPSessionPool::ofThread().setLimits(FTPLimits()); }
};

Ref<NSString> hostOf(const ScriptedFTPServer& server) {
  return NSString::stringWithUTF8String(server.host() + ":" + std::to_string(server.port()));
}

class TelvoUploadFault : public testing::TestWithParam<Fault> {
 protected:
  TelvoUploadFault() {
    server.setReceiveBuffer(4096);
    // More than is kept for being sent again, so that every fault in the middle shows.
    for (const char* name : {"Site/a", "Site/b"}) folder.write(name, std::string(8000000, *name));
  }

  const Limits limits{shortLimits()};
  const TemporaryDirectory folder;
  ScriptedFTPServer server;
};

// One connection.

TEST_P(TelvoUploadFault, IsReportedOnceAndThenTheEnd) {
  const Fault& fault = GetParam();
  server.on(fault.verb, fault.action);
  const auto recorder = make<NotificationRecorder>();
  const auto connection = TelvoUploadFTPStreamData::streamData();
  connection->uploadPath_toHost_directory_username_password_forDelegate_useSameThread(
      folder.text("Site/a"), hostOf(server), "/"_ns, "telvo"_ns, "secret"_ns, recorder, true);

  const auto& reports = recorder->signatures;
  ASSERT_GE(reports.size(), 3U);
  EXPECT_EQ(reports.front(), "streamDataConnecting:");
  EXPECT_EQ(reports.back(), "streamDataEnded:");
  EXPECT_EQ(std::ranges::count(reports, "streamDataEnded:"), 1);
  EXPECT_EQ(std::ranges::count(reports, "streamDataConnectionTerminated:"), 0);
  EXPECT_EQ(std::ranges::count(reports, "streamDataDisconnected:"), 0);
  // A write that fails is reported as a text of its own, before the error that ends the connection.
  std::vector<id> errors;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    if (reports[i] == "streamData:errorOccurred:" && as<NSError>(recorder->objects[i])) {
      errors.push_back(recorder->objects[i]);
    }
  }
  ASSERT_EQ(errors.size(), 1U);
  const auto error = as<NSError>(errors[0]);
  const auto code = as<NSNumber>(error->userInfo() ? error->userInfo()->objectForKey(kCFFTPStatusCodeKey()) : id());
  EXPECT_EQ(code ? code->integerValue() : 0, fault.replyCode);
  EXPECT_EQ(std::string(error->localizedDescription()->UTF8String()).substr(0, fault.text.size()), fault.text);
  EXPECT_EQ(connection->inputStream(), nil);
  EXPECT_EQ(connection->outputStream(), nil);
  EXPECT_FALSE(connection->isConnected());
}

// A run.

using Texts = std::vector<std::string>;

TEST_P(TelvoUploadFault, AtTheSecondOfThreeItemsDoesNotStopTheRun) {
  const Fault& fault = GetParam();
  server.on(fault.verb, fault.action);
  const auto job = TelvoFTPData::ftpData();
  const auto observer = ProgressObserver::of(job);
  job->uploadPath_toHost_directory_username_password_cachedInfoPath_debugMode(
      folder.text("Site"), hostOf(server), "/"_ns, "telvo"_ns, "secret"_ns, nil, false);

  // No record tells whether its item was stored.
  EXPECT_EQ(observer->all("Nth"_ns), (Texts{"1", "2", "3"}));
  EXPECT_EQ(observer->all("Total"_ns), (Texts{"3", "3", "3"}));
  EXPECT_EQ(observer->all("Percent"_ns), (Texts{"33", "66", "100"}));
  EXPECT_EQ(observer->all("IsMore"_ns), (Texts{"1", "1", "0"}));
  EXPECT_EQ(observer->all("RemoteDirectory"_ns), (Texts{"/", "/Site", "/Site"}));
  EXPECT_FALSE(job->isWorking());

  const auto paths = observer->all("LocalPath"_ns);
  const auto contentAt = [&](std::size_t index) {
    return folder.read(std::filesystem::relative(paths.at(index), folder.path()));
  };
  const auto remoteAt = [&](std::size_t index) {
    return server.file("/Site/" + std::filesystem::path(paths.at(index)).filename().string());
  };
  EXPECT_TRUE(server.folders().contains("/Site"));
  EXPECT_TRUE(remoteAt(2) == contentAt(2)) << "the last item";
  if (fault.isUnseen) {
    EXPECT_TRUE(remoteAt(1) == contentAt(1)) << "the item that met the fault";
  }
}

INSTANTIATE_TEST_SUITE_P(Faults, TelvoUploadFault, testing::ValuesIn(faults()),
                         [](const auto& each) { return each.param.name; });

}  // namespace
