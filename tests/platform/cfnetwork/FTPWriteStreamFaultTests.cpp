#include <cerrno>
#include <chrono>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"
#include "cfnetwork/FTPConnectionPool.h"
#include "testing/ScriptedFTPServer.h"
#include "tests/platform/cfnetwork/TestContent.h"
#include "tests/platform/cfnetwork/Upload.h"

// What the stream does on a server that misbehaves. Whatever it is: the item ends, its error carries what the server
// has said, a file without an error is whole, and the next item goes out.

namespace {

using namespace scripted;
using scripted::send;  // not the system's

constexpr std::size_t smallSize = 2000;
constexpr std::size_t largeSize = 3000000;  // more than is kept for being sent again

// How well the server is known when the fault comes: it is met first; files are used to find its ways out; known.
enum class Stage { First, Trial, Known };

FTPLimits shortLimits() {
  FTPLimits limits;
  limits.connect = limits.reply = limits.progress = 1.5;
  return limits;
}

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
  FTPLimits limits() const { return errorCode == kCFURLErrorTimedOut ? shortLimits() : FTPLimits(); }
};

Fault floodedBy(const std::string& name, const std::string& verb, Action flood) {
  Fault fault{name, verb, std::move(flood), 0, "", kCFURLErrorBadServerResponse};
  fault.isUnseenWhenKept = true;
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

void expectStored(ScriptedFTPServer& server, const std::string& path, const std::string& content) {
  Upload upload(server, path, content);
  EXPECT_TRUE(upload.stores()) << path << ": " << upload.errorText();
  EXPECT_EQ(server.file(path) == content, true) << path;
}

// The items that follow are stored, whole, and do not need a new connection each.
void expectRunToGoOn(ScriptedFTPServer& server) {
  const std::size_t before = server.sessions();
  expectStored(server, "/next", "next");
  EXPECT_TRUE(Upload(server, "/folder" + std::to_string(server.folders().size()) + "/").stores());
  expectStored(server, "/large", contentOfSize(largeSize));
  expectStored(server, "/last", "last");
  EXPECT_LE(server.sessions(), before + 2);
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
  if (stage != Stage::First) expectStored(server, "/one", "one");
  if (stage == Stage::Known) expectStored(server, "/two", "two");
  server.on(fault.verb, fault.action);
  // What goes wrong on trial, or with a connection that was used before, may be tried again.
  if (stage != Stage::First && !fault.isUnseenWhenKept) server.on(fault.verb, fault.action);

  const std::string content = contentOfSize(fault.size);
  Upload upload(server, "/item", content);
  upload.limits = fault.limits();
  if (fault.isFlood) upload.bytesFromServer = FTPReplyParser::maximumReply;
  upload.run();
  if (stage == Stage::Known && fault.isUnseenWhenKept) {
    EXPECT_TRUE(upload.isStored()) << upload.errorText();
  } else if (stage != Stage::Trial || upload.error) {
    expectError(upload, fault);
  }
  if (!upload.error) {
    EXPECT_EQ(server.file("/item") == content, true);
  }
  server.forgetActions();
  expectRunToGoOn(server);
}

std::vector<Fault> faultsOfStoring() {
  std::vector<Fault> faults{
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
      {"226 with the last bytes unread", "STOR", storePart(smallSize - 1, then(reply("226 Done."), closeData())), 0, "",
       kCFURLErrorNetworkConnectionLost},
      {"226 with all bytes unread and the data connection left open", "STOR", storePart(0, reply("226 Done.")), 0, "",
       kCFURLErrorNetworkConnectionLost},
      {"226 with all bytes unread", "STOR", storePart(0, then(reply("226 Done."), closeData())), 0, ""},
      {"226 never comes", "STOR", storePart(std::string::npos, then(closeData(), stall())), 0, "", kCFURLErrorTimedOut},
      {"226 never comes and commands are answered", "STOR", storePart(std::string::npos, closeData()), 0, "",
       kCFURLErrorTimedOut, smallSize, true},
      {"no reply at all", "STOR", stall(), 0, "", kCFURLErrorTimedOut, smallSize, true},
      {"garbage to STOR", "STOR", reply("\x01\x02 what"), 0, "", kCFURLErrorBadServerResponse, smallSize, true},
      {"garbage instead of 226", "STOR", storePart(std::string::npos, then(closeData(), reply("done"))), 0, "",
       kCFURLErrorBadServerResponse},
      {"reply of another command to STOR", "STOR", reply("257 Made."), 0, "", kCFURLErrorBadServerResponse, smallSize,
       true},
      {"refusal in single bytes", "STOR", sendOneByOne("550-No\r\n such\r\n550 thing.\r\n"), 550, "No\n such\nthing."},
      {"refusal with NULs", "STOR", scripted::send(std::string("550 N\0o.\r\n", 10)), 550, ""},
      {"refusal that is no text", "STOR", scripted::send("550 \xff\xfe\r\n"), 550, ""},
      floodedBy("line without an end", "STOR", flood(std::string(100000, 'x'))),
      floodedBy("reply without an end", "STOR", then(reply("550-"), flood(std::string(1000, 'x') + "\r\n"))),
  };
  for (const int code : {425, 426, 450, 451, 452, 550, 552, 553, 501, 530}) {
    const std::string line = std::to_string(code) + " Refused for a reason.";
    const std::string text = "Refused for a reason.";
    // That a port which was given ahead of time is gone is mended unseen.
    const bool isUnseen = code == 425;
    faults.push_back({std::to_string(code) + " to STOR", "STOR", reply(line), code, text, 0, smallSize, isUnseen});
    faults.push_back(
        {std::to_string(code) + " to STOR of a large file", "STOR", reply(line), code, text, 0, largeSize, isUnseen});
    faults.push_back(
        {std::to_string(code) + " at the end", "STOR", storeThen(line), code, text, 0, smallSize, isUnseen});
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

std::string nameOfCase(const testing::TestParamInfo<std::tuple<Fault, Stage>>& info) {
  constexpr std::array stages{"First", "Trial", "Known"};
  return nameOf(std::get<0>(info.param).name) + stages[static_cast<std::size_t>(std::get<1>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(Storing, FTPWriteStreamFault,
                         testing::Combine(testing::ValuesIn(faultsOfStoring()),
                                          testing::Values(Stage::First, Stage::Trial, Stage::Known)),
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
      {"end at EPSV", "EPSV", dropControl(), 0, "", kCFURLErrorNetworkConnectionLost},
      {"no reply to EPSV", "EPSV", stall(), 0, "", kCFURLErrorTimedOut},
      {"data connection refused", "EPSV", closedDataPort(), 425, "No data connection."},
      {"data connection swallowed", "EPSV", fullDataPort(), 425, "No data connection."},
  };
}

INSTANTIATE_TEST_SUITE_P(Beginning, FTPWriteStreamFault,
                         testing::Combine(testing::ValuesIn(faultsOfBeginning()), testing::Values(Stage::First)),
                         nameOfCase);

// Also when the file was to find something out about the server, and when the server takes no other connection. Faults
// that take long are left to the tests above.
TEST(FTPWriteStreamFaults, OneThatComesEveryTimeEndsTheItemAfterAtMostTwoOtherConnections) {
  for (const Fault& fault : faultsOfStoring()) {
    if (fault.isFlood || fault.errorCode == kCFURLErrorTimedOut) continue;
    for (const int filesBefore : {1, 2, 3}) {
      for (const bool isRefused : {false, true}) {
        const testing::Message trace = testing::Message() << fault.name << ", " << filesBefore << ", " << isRefused;
        SCOPED_TRACE(trace);
        ScriptedFTPServer server;
        for (int i = 0; i < filesBefore; ++i) expectStored(server, "/" + std::to_string(i), "content");
        server.always(fault.verb, fault.action);
        if (isRefused) server.always("GREETING", then(reply("421 Too many users."), dropControl()));
        Upload upload(server, "/item", contentOfSize(fault.size));
        EXPECT_FALSE(upload.stores());
        EXPECT_LE(server.sessions(), isRefused ? 2U : 3U);
      }
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

// Greetings and replies that are unusual and all right.

TEST(FTPWriteStreamOddReplies, AGreetingMayTakeSeconds) {
  ScriptedFTPServer server;
  server.on("GREETING", afterSeconds(2, reply("220 At last.")));
  expectStored(server, "/a", "content");
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, AGreetingMayBeAnnounced) {
  ScriptedFTPServer server;
  server.on("GREETING", scripted::send("120 Ready in 0 minutes.\r\n220 Ready.\r\n"));
  expectStored(server, "/a", "content");
}

TEST(FTPWriteStreamOddReplies, TenMegabytesAreRead) {
  std::string lines;
  while (lines.size() < 10000000) lines += " a line of a long reply, which says nothing\r\n";
  ScriptedFTPServer server;
  server.on("GREETING", scripted::send("220-\r\n" + lines + "220 Ready.\r\n"));
  server.on("MKD", scripted::send("550-" + std::string(10000000, 'x') + "\r\n550 No.\r\n"));
  Upload upload(server, "/a", "content");
  upload.bytesFromServer = lines.size();
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  Upload folder(server, "/folder/");
  folder.bytesFromServer = lines.size();
  EXPECT_FALSE(folder.stores());
  EXPECT_EQ(folder.replyCode(), 550);
  EXPECT_LE(folder.errorText().size(), FTPReplyParser::maximumText);
  expectRunToGoOn(server);
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, RepliesMayComeInSingleBytes) {
  ScriptedFTPServer server;
  server.on("GREETING", sendOneByOne("220-Welcome\r\n to this\r\n220 server.\r\n"));
  server.on("USER", [](Session& session, const std::string& user) {
    session.user = user;
    session.sendOneByOne("331 Password, please.\r\n");
  });
  server.always("EPSV", [](Session& session, const std::string&) {
    session.sendOneByOne(extendedPassiveReply(session.listen()) + "\r\n");
  });
  server.always("STOR", [](Session& session, const std::string& path) {
    session.sendOneByOne("150-Send\r\n150 it.\r\n");
    session.openData();
    const std::string content = session.receive();
    session.closeData();
    session.note(path, content);
    session.sendOneByOne("226-Stored\r\n \r\n226 it.\r\n");
  });
  for (const char* path : {"/a", "/b", "/c", "/d"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, SeveralRepliesMayComeInOnePacket) {
  ScriptedFTPServer server;
  server.on("PASS", [](Session& session, const std::string&) { session.loggedIn = true; });
  server.on("TYPE", silence());
  server.on("EPSV", [](Session& session, const std::string&) {
    session.send("230 Come in.\r\n200 Type set.\r\n" + extendedPassiveReply(session.listen()) + "\r\n");
  });
  expectRunToGoOn(server);
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, MoreThanOnePreliminaryReplyIsTaken) {
  ScriptedFTPServer server;
  server.always("STOR", then(reply("150 Wait."), storeThen("226 Stored.")));
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
}

TEST(FTPWriteStreamOddReplies, TheOtherConfirmationsOfTheProtocolAreTaken) {
  ScriptedFTPServer server;
  server.always("STOR", storeThen("250 Stored."));
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
}

// Kept connections.

TEST(FTPWriteStreamKept, ADeadConnectionIsReplacedUnseen) {
  const std::vector<std::pair<std::string, Action>> faults{
      {"421", then(reply("421 Idle for too long."), dropControl())},
      {"421 without an end", reply("421 Idle for too long.")},
      {"end", dropControl()},
      {"reset", resetControl()},
      {"garbage", reply("garbage")},
      {"a reply to nothing", reply("200 By the way.")},
      {"a second reply", reply("426 And another thing.")},
  };
  for (const auto& [name, fault] : faults) {
    SCOPED_TRACE(name);
    ScriptedFTPServer server;
    for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
    server.on("STOR", then(storeThen("226 Stored."), fault));
    expectStored(server, "/last-before", "content");
    Upload folder(server, "/folder/");
    // What the server says without being asked may come so late that it is taken for the reply about the folder.
    folder.run();
    EXPECT_TRUE(server.waitUntil([&] { return server.folders().contains("/folder"); })) << folder.errorText();
    expectRunToGoOn(server);
    EXPECT_LE(server.sessions(), 3U);
  }
}

TEST(FTPWriteStreamKept, ItIsReplacedOnceForAnItem) {
  ScriptedFTPServer server;
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  server.always("STOR", dropControl());
  Upload upload(server, "/d", "content");
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorNetworkConnectionLost);
  EXPECT_EQ(server.sessions(), 2U);
}

// Whatever the file was used to find out, too.
TEST(FTPWriteStreamKept, AConnectionWhoseReplacementIsRefusedTellsThatRefusal) {
  for (int before = 1; before <= 4; ++before) {
    SCOPED_TRACE(before);
    ScriptedFTPServer server;
    for (int i = 0; i < before; ++i) expectStored(server, "/" + std::to_string(i), "content");
    server.on("STOR", dropControl());
    server.always("GREETING", then(reply("421 Too many users."), dropControl()));
    Upload upload(server, "/d", "content");
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.replyCode(), 421);
    EXPECT_EQ(server.sessions(), 2U);
    server.forgetActions();
    expectRunToGoOn(server);
  }
}

TEST(FTPWriteStreamKept, APortThatWasGivenAheadAndIsClosedIsAskedForAgain) {
  ScriptedFTPServer server;
  for (const char* path : {"/a", "/b"}) expectStored(server, path, "content");
  server.on("EPSV", closedDataPort());
  expectStored(server, "/c", "content");
  expectStored(server, "/d", "content");
  expectRunToGoOn(server);
}

// The limits.

TEST(FTPWriteStreamLimits, TheyAreTheThreadsUnlessAStreamHasItsOwn) {
  FTPConnectionPool& pool = FTPConnectionPool::ofThread();
  EXPECT_EQ(pool.limits().connect, 30);
  EXPECT_EQ(pool.limits().reply, 60);
  EXPECT_EQ(pool.limits().progress, 60);
  ScriptedFTPServer server;
  server.on("STOR", stall());
  pool.setLimits(shortLimits());
  const auto stream =
      CFWriteStreamCreateWithFTPURL(NSURL::URLWithString(NSString::stringWithUTF8String(server.url("//a"))));
  stream->open();
  while (stream->streamStatus() != NSStreamStatusError) {
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
  }
  pool.setLimits(FTPLimits());
  EXPECT_EQ(stream->streamError()->code(), kCFURLErrorTimedOut);
  stream->close();
}

TEST(FTPWriteStreamLimits, AKeptConnectionGoesByThoseOfTheStreamThatUsesIt) {
  ScriptedFTPServer server;
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  server.on("STOR", storePart(std::string::npos, then(closeData(), stall())));
  Upload upload(server, "/d", "content");
  upload.limits = shortLimits();
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
}

TEST(FTPWriteStreamLimits, ADataConnectionThatStallsEnds) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  for (const std::size_t size : {std::size_t{8000000}, std::size_t{400000}}) {
    server.on("STOR", storePart(1000, stall()));
    Upload upload(server, "/a", contentOfSize(size));
    upload.limits = shortLimits();
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
    EXPECT_EQ(upload.errorText(), "The server stopped taking data.");
    // Also when the writer was through long ago, and only the system's buffers are left to drain.
    EXPECT_EQ(upload.errorCameInsideClose, size == 400000);
  }
  expectStored(server, "/next", "next");
}

TEST(FTPWriteStreamLimits, ASlowServerIsNotAStalledOne) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  server.on("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.openData();
    std::string content;
    while (!session.dataEnd()) {
      content += session.receive(40000);
      session.sleep(0.2);
    }
    session.closeData();
    session.note(path, content);
    session.reply("226 Stored.");
  });
  const std::string content = contentOfSize(600000);
  Upload upload(server, "/a", content);
  upload.limits = shortLimits();
  EXPECT_TRUE(upload.stores()) << upload.errorText();
  EXPECT_EQ(server.file("/a") == content, true);
}

TEST(FTPWriteStreamLimits, ADataConnectionThatIsNotMadeEnds) {
  ScriptedFTPServer server;
  server.on("EPSV", fullDataPort());
  server.on("STOR", stall());
  Upload upload(server, "/a", "content");
  upload.limits = shortLimits();
  upload.limits.reply = 30;
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
  expectStored(server, "/next", "next");
}

TEST(FTPWriteStreamLimits, AControlConnectionThatIsNotMadeEnds) {
  ScriptedFTPServer server;
  std::uint16_t port = 0;
  server.on("GREETING", [&](Session& session, const std::string&) {
    port = session.fullPort();
    session.reply("220 Ready.");
  });
  expectStored(server, "/a", "content");
  Upload upload("ftp://127.0.0.1:" + std::to_string(port) + "//a", "content");
  upload.limits = shortLimits();
  EXPECT_FALSE(upload.stores());
  EXPECT_EQ(upload.errorCode(), kCFURLErrorTimedOut);
}

TEST(FTPWriteStreamLimits, AServerThatFloodsTheDataConnectionIsNotReadForEver) {
  ScriptedFTPServer server;
  server.always("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.openData();
    const std::string content = session.receive();
    session.note(path, content);
    session.sendData(std::string(20000000, 'x'));
    session.closeData();
    session.reply("226 Stored.");
  });
  Upload upload(server, "/a", "content");
  upload.bytesFromServer = 2 << 20;
  upload.run();
  EXPECT_TRUE(upload.isOver());
}

// Passive mode.

TEST(FTPWriteStreamPassive, EPSVThatIsRefusedOrMalformedIsFollowedByPASV) {
  for (const char* answer : {"500 What?", "502 Not here.", "522 Not this protocol.", "425 Not now.", "229 Come.",
                             "229 Come (|||0|)", "229 Come (|||65536|)", "229 Come (|||-5|)", "229 Come (1,2,3)"}) {
    SCOPED_TRACE(answer);
    ScriptedFTPServer server;
    server.always("EPSV", reply(answer));
    expectRunToGoOn(server);
    EXPECT_EQ(server.sessions(), 1U);
    EXPECT_EQ(server.count("EPSV"), 1U);
  }
}

TEST(FTPWriteStreamPassive, PASVThatIsRefusedOrMalformedIsTheItemsError) {
  for (const auto& [answer, code] : std::vector<std::pair<std::string, NSInteger>>{
           {"500 What?", 500},
           {"425 Cannot open a port.", 425},
           {"227 Come.", 227},
           {"227 Come (127,0,0,1,0,0)", 227},
           {"227 Come (127,0,0,1,256,1)", 227},
           {"227 Come (127,0,0,1,4)", 227},
           {"227 Come (127,0,0,1,-1,-1)", 227},
       }) {
    SCOPED_TRACE(answer);
    ScriptedFTPServer server;
    server.always("EPSV", reply("500 What?"));
    server.on("PASV", reply(answer));
    Upload upload(server, "/a", "content");
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.replyCode(), code);
    EXPECT_EQ(upload.errorText(), answer.substr(4));
    expectRunToGoOn(server);
    EXPECT_EQ(server.sessions(), 1U);
  }
}

TEST(FTPWriteStreamPassive, TheAddressOfAnotherHostIsNotConnected) {
  // A second server, to whose address the first one points: with the right port, everything would arrive there.
  ScriptedFTPServer other("127.0.0.2");
  ScriptedFTPServer server;
  server.always("EPSV", reply("500 What?"));
  server.always(
      "PASV", [](Session& session, const std::string&) { session.reply(passiveReply("127,0,0,2", session.listen())); });
  expectRunToGoOn(server);
  EXPECT_EQ(server.sessions(), 1U);
  EXPECT_EQ(other.sessions(), 0U);
}

// Folders.

TEST(FTPWriteStreamFolder, ARefusalIsTheItemsErrorAndTheConnectionStays) {
  for (const auto& [line, code] : std::vector<std::pair<std::string, NSInteger>>{{"550 File exists.", 550},
                                                                                 {"521 Exists.", 521},
                                                                                 {"550 Permission denied.", 550},
                                                                                 {"553 Bad name.", 553},
                                                                                 {"452 Disk full.", 452}}) {
    for (int filesBefore = 0; filesBefore < 3; ++filesBefore) {
      SCOPED_TRACE(line + " " + std::to_string(filesBefore));
      ScriptedFTPServer server;
      for (int i = 0; i < filesBefore; ++i) expectStored(server, "/" + std::to_string(i), "content");
      server.on("MKD", reply(line));
      Upload upload(server, "/folder/");
      EXPECT_FALSE(upload.stores());
      EXPECT_EQ(upload.replyCode(), code);
      EXPECT_EQ(upload.errorText(), line.substr(4));
      expectRunToGoOn(server);
      EXPECT_EQ(server.sessions(), 1U);
    }
  }
}

TEST(FTPWriteStreamFolder, AConnectionThatFailsIsAnErrorOnceAndThenReplaced) {
  for (const auto& [action, code] : std::vector<std::pair<Action, NSInteger>>{
           {dropControl(), kCFURLErrorNetworkConnectionLost},
           {stall(), kCFURLErrorTimedOut},
           {reply("garbage"), kCFURLErrorBadServerResponse},
           {reply("226 Something else."), kCFURLErrorBadServerResponse},
       }) {
    ScriptedFTPServer server;
    server.on("MKD", action);
    Upload upload(server, "/folder/");
    upload.limits = shortLimits();
    EXPECT_FALSE(upload.stores());
    EXPECT_EQ(upload.errorCode(), code);
    expectRunToGoOn(server);
  }
}

TEST(FTPWriteStreamFolder, ThePortForTheNextFileIsAskedForAlongWithIt) {
  ScriptedFTPServer server;
  EXPECT_TRUE(Upload(server, "/one/").stores());
  EXPECT_TRUE(Upload(server, "/two/").stores());
  EXPECT_EQ(server.count("EPSV"), 1U);
  expectStored(server, "/two/a", "content");
  EXPECT_EQ(server.count("EPSV"), 1U);
  std::promise<std::string> behind;
  server.on("MKD", [&](Session& session, const std::string&) {
    behind.set_value(session.unread());
    session.reply("257 Made.");
  });
  ASSERT_TRUE(Upload(server, "/three/").stores());
  EXPECT_EQ(behind.get_future().get(), "EPSV\r\n");
  expectStored(server, "/three/a", "content");
}

// What is sent behind a transfer.

TEST(FTPWriteStreamBehind, NothingThatAServerDoesAboutTheProbeHarmsAnItem) {
  const std::vector<std::pair<std::string, Action>> answers{
      {"passed over", silence()},
      {"not known", reply("502 Not known.")},
      {"not known at all", reply("500 What?")},
      {"refused", reply("550 No.")},
      {"421", then(reply("421 Too much."), dropControl())},
      {"end", dropControl()},
      {"garbage", reply("what?")},
  };
  for (const bool serves : {false, true}) {
    for (const auto& [name, answer] : answers) {
      SCOPED_TRACE(name + (serves ? ", during the transfer" : ", after the transfer"));
      ScriptedFTPServer server;
      if (serves) server.always("STOR", storeServing("226 Stored."));
      server.on("NOOP", answer);
      Upload first(server, "/first", "content");
      first.limits = shortLimits();
      first.run();
      // An answer that no server gives to this command is told from the next one's only when it comes before that.
      // It may do so even on a server that serves it during a transfer, when that is over quickly.
      EXPECT_TRUE(server.waitUntil([&] { return server.count("NOOP") == 1; }));
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      // A connection that ends during the transfer is the one thing that cannot be mended.
      if (!serves || !first.error) {
        EXPECT_TRUE(first.isStored()) << first.errorText();
        EXPECT_EQ(server.file("/first"), "content");
      }
      Upload folder(server, "/folder/");
      folder.limits = shortLimits();
      EXPECT_TRUE(folder.stores()) << folder.errorText();
      expectRunToGoOn(server);
      EXPECT_LE(server.sessions(), 3U);
    }
  }
}

// A reply that nobody has asked for may come just when the next command has been sent, and then it is taken for that
// one's reply.
TEST(FTPWriteStreamBehind, ASecondReplyToTheProbeCostsNoMoreThanTheNextItem) {
  for (const bool serves : {false, true}) {
    SCOPED_TRACE(serves ? "during the transfer" : "after the transfer");
    ScriptedFTPServer server;
    if (serves) server.always("STOR", storeServing("226 Stored."));
    server.on("NOOP", then(reply("200 Yes."), reply("200 Yes.")));
    Upload first(server, "/first", "content");
    first.limits = shortLimits();
    first.run();
    EXPECT_TRUE(first.error || server.waitUntil([&] { return server.file("/first") == "content"; }));
    Upload folder(server, "/folder/");
    folder.limits = shortLimits();
    folder.run();
    expectRunToGoOn(server);
    EXPECT_LE(server.sessions(), 3U);
  }
}

TEST(FTPWriteStreamBehind, NothingThatAServerDoesAboutAnEarlyRequestForAPortHarmsAnItem) {
  const std::vector<std::pair<std::string, Action>> answers{
      {"passed over", silence()},
      {"refused", reply("425 Not during a transfer.")},
      {"refused for good", reply("550 No.")},
      {"421", then(reply("421 Too much."), dropControl())},
      {"end", dropControl()},
      {"closed port", closedDataPort()},
      {"malformed", reply("229 Come.")},
      {"reply to something else", reply("200 Yes.")},
      {"ends the transfer", then(closeData(), reply("425 No."))},
  };
  for (const bool serves : {false, true}) {
    for (const auto& [name, answer] : answers) {
      for (const int filesBefore : {1, 2, 3}) {
        SCOPED_TRACE(name + (serves ? ", during the transfer " : ", after the transfer ") +
                     std::to_string(filesBefore));
        ScriptedFTPServer server;
        for (int i = 0; i < filesBefore; ++i) expectStored(server, "/" + std::to_string(i), "content");
        // The next STOR has a request for a port behind it, unless the port it needs is asked for only now.
        server.on("STOR", [serves, answer = answer](Session& session, const std::string& path) {
          session.server().on("EPSV", answer);
          (serves ? storeServing("226 Stored.") : storeThen("226 Stored."))(session, path);
        });
        Upload upload(server, "/item", "content");
        upload.limits = shortLimits();
        upload.run();
        if (!upload.error) {
          EXPECT_EQ(server.file("/item"), "content");
        }
        EXPECT_TRUE(upload.isStored() || serves) << upload.errorText();
        Upload next(server, "/after", "content");
        next.limits = shortLimits();
        EXPECT_TRUE(next.stores()) << next.errorText();
        EXPECT_EQ(server.file("/after"), "content");
        server.forgetActions();
        expectRunToGoOn(server);
        EXPECT_LE(server.sessions(), 4U);
      }
    }
  }
}

// Confirmations.

TEST(FTPWriteStreamConfirmation, AResetAfterItIsNoFailureWhenTheFileIsWhole) {
  ScriptedFTPServer server;
  for (const Action& end : {then(reply("226 Stored."), resetData()), then(resetData(), reply("226 Stored."))}) {
    server.always("STOR", storePart(std::string::npos, end));
    for (const std::size_t size : {std::size_t{0}, smallSize, largeSize}) {
      for (int i = 0; i < 4; ++i) expectStored(server, "/" + std::to_string(i), contentOfSize(size));
    }
  }
}

TEST(FTPWriteStreamConfirmation, ADataConnectionThatTheServerLeavesOpenIsNoFailure) {
  ScriptedFTPServer server;
  server.always("STOR", storePart(std::string::npos, reply("226 Stored.")));
  for (const char* path : {"/a", "/b", "/c"}) expectStored(server, path, "content");
  EXPECT_EQ(server.sessions(), 1U);
  // Nor when there are no sizes to be had.
  server.always("SIZE", reply("500 What?"));
  expectStored(server, "/d", "content");
}

TEST(FTPWriteStreamConfirmation, AnEarlyOneIsNotBelievedBeforeAllDataIsRead) {
  ScriptedFTPServer server;
  server.setReceiveBuffer(4096);
  server.always("STOR", [](Session& session, const std::string& path) {
    session.reply("150 Send it.");
    session.reply("226 Stored, soon.");
    session.openData();
    session.note(path, session.receive());
    session.closeData();
  });
  for (const std::size_t size : {smallSize, std::size_t{400000}, largeSize}) {
    for (int i = 0; i < 3; ++i) {
      Upload upload(server, "/a", contentOfSize(size));
      upload.limits = shortLimits();
      upload.run();
      if (!upload.error) {
        EXPECT_EQ(server.file("/a") == contentOfSize(size), true);
      }
    }
  }
  server.forgetActions();
  expectRunToGoOn(server);
}

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
