#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <ostream>

#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/FaultTesting.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What the stream does on a server that misbehaves. Whatever it is: the item ends, its error carries what the server
// has said, a file without an error is whole, and the next item goes out.

namespace {

using namespace cfnetwork;
using namespace scripted;
using scripted::send;  // not the system's

// When the fault comes: with the first item, or over a control connection that was used before.
enum class Stage { First, Kept };

struct Fault {
  std::string name;
  std::string verb;
  Action action;
  NSInteger replyCode = 0;
  std::string text{};       // of the error, or the beginning of it
  NSInteger errorCode = 0;  // looked at when there is no code of a reply; 0 for any
  std::size_t size = smallSize;
  bool isUnseenWhenKept = false;  // a connection that was used before is replaced, and the item stored
  bool isFlood = false;           // the server sends more than the longest reply

  // What ends otherwise has time enough to do so on a machine that is busy with other things.
  FTPLimits limits() const { return errorCode == kCFURLErrorTimedOut ? shortLimits() : Upload::oneConnection(); }
};

Fault floodedBy(const std::string& name, const std::string& verb, Action flood) {
  Fault fault{name, verb, std::move(flood), 0, "", kCFURLErrorBadServerResponse};
  fault.isFlood = true;
  return fault;
}

void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.name; }

std::string nameOf(const std::string& name) {
  std::string result;
  for (const char character : name) {
    if (std::isalnum(static_cast<unsigned char>(character))) result.push_back(character);
  }
  return result;
}

void expectError(Upload& upload, const Fault& fault) {
  ASSERT_TRUE(upload.error) << "stored";
  EXPECT_EQ(upload.replyCode(), fault.replyCode) << upload.errorText();
  EXPECT_EQ(upload.errorText().substr(0, fault.text.size()), fault.text);
  if (fault.errorCode != 0) {
    EXPECT_EQ(upload.errorCode(), fault.errorCode) << upload.errorText();
  }
  EXPECT_EQ(std::count(upload.events.begin(), upload.events.end(), NSStreamEventErrorOccurred), 1);
  EXPECT_LE(std::count(upload.events.begin(), upload.events.end(), NSStreamEventOpenCompleted), 1);
  EXPECT_EQ(upload.events.back(), NSStreamEventErrorOccurred);
}

class FTPWriteStreamFault : public testing::TestWithParam<std::tuple<Fault, Stage>> {};

TEST_P(FTPWriteStreamFault, EndsTheItemAndNotTheRun) {
  const auto& [fault, stage] = GetParam();
  ScriptedFTPServer server;
  if (stage == Stage::Kept) expectStored(server, "/one", "one");
  // What the server does not read stays with the client.
  server.setReceiveBuffer(4096);
  server.on(fault.verb, fault.action);

  const std::string content = contentOfSize(fault.size);
  Upload upload(server, "/item", content);
  upload.limits = fault.limits();
  if (fault.isFlood) upload.bytesFromServer = FTPReplyParser::maximumReply;
  upload.run();
  if (stage == Stage::Kept && fault.isUnseenWhenKept) {
    EXPECT_TRUE(upload.isStored()) << upload.errorText();
    EXPECT_EQ(server.file("/item") == content, true);
  } else {
    expectError(upload, fault);
  }
  server.forgetActions();
  server.setReceiveBuffer(0);
  expectRunToGoOn(server);
}

std::vector<Fault> faultsOfTheConnections() {
  return {
      {"control connection ended at STOR", "STOR", dropControl(), 0, "", kCFURLErrorNetworkConnectionLost, smallSize,
       true},
      {"control connection reset at STOR", "STOR", resetControl(), 0, "", 0, smallSize, true},
      {"421 at STOR", "STOR", then(reply("421 Closing."), dropControl()), 421, "Closing.", 0, smallSize, true},
      {"control connection ended after 150", "STOR", then(reply("150 Yes."), dropControl()), 0, "", 0, largeSize},
      {"control connection reset after 150", "STOR", then(reply("150 Yes."), resetControl()), 0, "", 0, largeSize},
      {"control connection ended during data", "STOR", storePart(1000, dropControl()), 0, "", 0, largeSize},
      {"control connection reset during data", "STOR", storePart(1000, resetControl()), 0, "", 0, largeSize},
      {"control connection ended before 226", "STOR", storePart(std::string::npos, then(closeData(), dropControl())), 0,
       "", kCFURLErrorNetworkConnectionLost},
      {"control connection reset before 226", "STOR", storePart(std::string::npos, then(closeData(), resetControl()))},
      {"421 during data", "STOR", storePart(1000, then(reply("421 Going down."), dropControl())), 421, "Going down.", 0,
       largeSize},
      {"421 instead of 226", "STOR", storePart(std::string::npos, then(reply("421 Going down."), dropControl())), 421,
       "Going down."},
      {"data connection reset half-way, with a reason", "STOR",
       storePart(1000, then(resetData(), reply("426 Broken off."))), 426, "Broken off.", 0, largeSize},
      {"data connection reset half-way, without a reason", "STOR", storePart(1000, then(resetData(), stall())), 0, "",
       0, largeSize},
      {"data connection ended half-way, with a reason", "STOR",
       storePart(1000, then(closeData(), reply("552 Quota exceeded."))), 552, "Quota exceeded.", 0, largeSize},
      {"data connection ended at once", "STOR", storePart(0, then(closeData(), reply("451 Local error."))), 451,
       "Local error.", 0, largeSize},
      {"data connection ended half-way and 226", "STOR", storePart(1000, then(closeData(), reply("226 Done."))), 0, "",
       0, largeSize},
      {"226 half-way and data connection ended", "STOR", storePart(1000, then(reply("226 Done."), closeData())), 0, "",
       0, largeSize},
      {"226 never comes", "STOR", storePart(std::string::npos, then(closeData(), stall())), 0, "", kCFURLErrorTimedOut},
      {"226 never comes and commands are answered", "STOR", storePart(std::string::npos, closeData()), 0, "",
       kCFURLErrorTimedOut},
  };
}

std::vector<Fault> faultsOfTheReplies() {
  return {
      {"no reply at all", "STOR", stall(), 0, "", kCFURLErrorTimedOut},
      {"garbage to STOR", "STOR", reply("\x01\x02 what"), 0, "", kCFURLErrorBadServerResponse},
      {"garbage instead of 226", "STOR", storePart(std::string::npos, then(closeData(), reply("done"))), 0, "",
       kCFURLErrorBadServerResponse},
      {"reply of another command to STOR", "STOR", reply("257 Made."), 0, "", kCFURLErrorBadServerResponse},
      {"refusal in single bytes", "STOR", sendOneByOne("550-No\r\n such\r\n550 thing.\r\n"), 550, "No\n such\nthing."},
      {"refusal with NULs", "STOR", scripted::send(std::string("550 N\0o.\r\n", 10)), 550, ""},
      {"refusal that is no text", "STOR", scripted::send("550 \xff\xfe\r\n"), 550, ""},
      floodedBy("line without an end", "STOR", flood(std::string(100000, 'x'))),
      floodedBy("reply without an end", "STOR", then(reply("550-"), flood(std::string(1000, 'x') + "\r\n"))),
  };
}

std::vector<Fault> refusals() {
  std::vector<Fault> faults;
  for (const int code : {425, 426, 450, 451, 452, 550, 552, 553, 501, 530}) {
    const std::string line = std::to_string(code) + " Refused for a reason.";
    const std::string text = "Refused for a reason.";
    // The server could not use the data connection: it has not begun, and the item is sent over another one.
    const bool isUnseen = code == 425;
    faults.push_back({std::to_string(code) + " to STOR", "STOR", reply(line), code, text, 0, smallSize, isUnseen});
    faults.push_back(
        {std::to_string(code) + " to STOR of a large file", "STOR", reply(line), code, text, 0, largeSize, isUnseen});
    faults.push_back({std::to_string(code) + " at the end", "STOR", storeThen(line), code, text});
    faults.push_back(
        {std::to_string(code) + " at the end of a large file", "STOR", storeThen(line), code, text, 0, largeSize});
  }
  for (const int code : {426, 451, 452, 550, 552}) {
    const std::string line = std::to_string(code) + " Refused for a reason.";
    faults.push_back({std::to_string(code) + " at the end and 226", "STOR", then(storeThen(line), reply("226 Over.")),
                      code, "Refused for a reason."});
  }
  return faults;
}

std::vector<Fault> faultsOfStoring() {
  std::vector<Fault> faults = faultsOfTheConnections();
  for (Fault& fault : faultsOfTheReplies()) faults.push_back(std::move(fault));
  for (Fault& fault : refusals()) faults.push_back(std::move(fault));
  return faults;
}

std::string nameOfCase(const testing::TestParamInfo<std::tuple<Fault, Stage>>& info) {
  constexpr std::array stages{"First", "Kept"};
  return nameOf(std::get<0>(info.param).name) + stages[static_cast<std::size_t>(std::get<1>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(Storing, FTPWriteStreamFault,
                         testing::Combine(testing::ValuesIn(faultsOfStoring()),
                                          testing::Values(Stage::First, Stage::Kept)),
                         nameOfCase);

// Before the first item can be sent.
std::vector<Fault> faultsOfBeginning() {
  const std::string flooded(100000, 'x');
  return {
      {"421 greeting", "GREETING", then(reply("421 Too many users."), dropControl()), 421, "Too many users."},
      {"refusing greeting", "GREETING", then(reply("530 Not you."), dropControl()), 530, "Not you."},
      {"no greeting", "GREETING", stall(), 0, "", kCFURLErrorTimedOut},
      {"end instead of a greeting", "GREETING", dropControl(), 0, "", kCFURLErrorNetworkConnectionLost},
      {"reset instead of a greeting", "GREETING", resetControl()},
      {"greeting of another protocol", "GREETING", reply("SSH-2.0-Server"), 0, "", kCFURLErrorBadServerResponse},
      {"greeting of NULs", "GREETING", scripted::send(std::string(1000, '\0') + "\r\n"), 0, "",
       kCFURLErrorBadServerResponse},
      floodedBy("greeting without a line end", "GREETING", flood(flooded)),
      floodedBy("greeting without an end", "GREETING", then(reply("220-"), flood(flooded + "\r\n"))),
      floodedBy("empty lines without an end", "GREETING", flood(std::string(100000, '\n'))),
      {"half a greeting", "GREETING", then(scripted::send("220 Rea"), dropControl()), 0, "",
       kCFURLErrorNetworkConnectionLost},
      {"user refused", "USER", reply("530 Nobody."), 530, "Nobody."},
      {"user answered by 421", "USER", reply("421 Later."), 421, "Later."},
      {"account wanted", "USER", reply("332 Account?"), 332, "Account?"},
      {"end at USER", "USER", dropControl(), 0, "", kCFURLErrorNetworkConnectionLost},
      {"no reply to USER", "USER", stall(), 0, "", kCFURLErrorTimedOut},
      {"password refused", "PASS", reply("530 Wrong."), 530, "Wrong."},
      {"password refused in several lines", "PASS", scripted::send("530-Wrong\r\n530-or old.\r\n530 Bye.\r\n"), 530,
       "Wrong\n530-or old.\nBye."},
      {"password answered by 421", "PASS", then(reply("421 Later."), dropControl()), 421, "Later."},
      {"account wanted after the password", "PASS", reply("332 Account?"), 332, "Account?"},
      {"end at PASS", "PASS", dropControl(), 0, "", kCFURLErrorNetworkConnectionLost},
      {"no reply to PASS", "PASS", stall(), 0, "", kCFURLErrorTimedOut},
      {"421 after the login", "TYPE", then(reply("421 Going down."), dropControl()), 421, "Going down."},
      {"end after the login", "TYPE", dropControl(), 0, "", kCFURLErrorNetworkConnectionLost},
      {"binary type refused", "TYPE", reply("504 Text only."), 504, "Text only."},
  };
}

INSTANTIATE_TEST_SUITE_P(Beginning, FTPWriteStreamFault,
                         testing::Combine(testing::ValuesIn(faultsOfBeginning()), testing::Values(Stage::First)),
                         nameOfCase);

// On the way to a data connection: STOR is not sent, and what is on the server stays what it was.
std::vector<Fault> faultsOfPreparing() {
  return {
      {"no reply to EPSV", "EPSV", stall(), 0, "", kCFURLErrorTimedOut, smallSize, true},
      {"garbage to EPSV", "EPSV", reply("what?"), 0, "", kCFURLErrorBadServerResponse, smallSize, true},
      {"reply of another command to EPSV", "EPSV", reply("226 Stored."), 0, "", kCFURLErrorBadServerResponse, smallSize,
       true},
      {"data connection refused", "EPSV", closedDataPort(), 0, "", ECONNREFUSED},
      {"data connection swallowed", "EPSV", fullDataPort(), 0, "", kCFURLErrorTimedOut},
  };
}

INSTANTIATE_TEST_SUITE_P(Preparing, FTPWriteStreamFault,
                         testing::Combine(testing::ValuesIn(faultsOfPreparing()),
                                          testing::Values(Stage::First, Stage::Kept)),
                         nameOfCase);

TEST(FTPWriteStreamFaults, WithoutADataConnectionAFileIsNotAskedFor) {
  for (const Fault& fault : faultsOfPreparing()) {
    SCOPED_TRACE(fault.name);
    ScriptedFTPServer server;
    expectStored(server, "/item", "as it was");
    server.always("EPSV", fault.action).always("PASV", reply("502 Not here."));
    for (int i = 0; i < 3; ++i) {
      Upload upload(server, "/item", "another content");
      upload.limits = fault.limits();
      EXPECT_FALSE(upload.stores());
    }
    EXPECT_EQ(server.count("STOR"), 1U);
    EXPECT_EQ(server.file("/item"), "as it was");
  }
}

// Also when the server takes no other connection. Faults that take long are left to the tests above.
TEST(FTPWriteStreamFaults, OneThatComesEveryTimeEndsTheItemAfterAtMostOneOtherConnection) {
  for (const Fault& fault : faultsOfStoring()) {
    if (fault.isFlood || fault.errorCode == kCFURLErrorTimedOut) continue;
    for (const bool isRefused : {false, true}) {
      const testing::Message trace = testing::Message() << fault.name << ", " << isRefused;
      SCOPED_TRACE(trace);
      ScriptedFTPServer server;
      expectStored(server, "/one", "content");
      server.setReceiveBuffer(4096);
      server.always(fault.verb, fault.action);
      if (isRefused) server.always("GREETING", then(reply("421 Too many users."), dropControl()));
      Upload upload(server, "/item", contentOfSize(fault.size));
      EXPECT_FALSE(upload.stores());
      EXPECT_LE(server.sessions(), 2U);
      EXPECT_LE(server.count("STOR"), 1U + (fault.isUnseenWhenKept ? 3U : 1U));
    }
  }
}

// A password that is wrong is not tried once more for the same item, since accounts get locked for that.
TEST(FTPWriteStreamFaults, ARefusedLoginIsTriedOnceForEachItem) {
  ScriptedFTPServer server;
  server.always("PASS", reply("530 Wrong."));
  for (std::size_t i = 1; i <= 3; ++i) {
    Upload upload(server, "/a", "x");
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.replyCode(), 530);
    EXPECT_EQ(server.count("PASS"), i);
  }
  EXPECT_EQ(server.count("STOR"), 0U);
}

TEST(FTPWriteStreamFaults, TheErrorOfALimitTellsWhichOne) {
  ScriptedFTPServer server;
  server.on("STOR", stall());
  Upload upload(server, "/a", "x");
  upload.limits = shortLimits();
  upload.run();
  EXPECT_EQ(upload.errorText(), "The server did not reply in time.");
}

}  // namespace
