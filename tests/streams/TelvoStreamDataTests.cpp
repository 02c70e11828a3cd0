#include <algorithm>
#include <atomic>
#include <cerrno>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "streams/TelvoStreamData.h"
#include "tests/streams/NotificationRecorder.h"
#include "tests/streams/TestConnection.h"
#include "tests/streams/TestStreams.h"

namespace {

TEST_F(TelvoStreamDataTest, StartsIdle) {
  EXPECT_EQ(connection->runLoop(), nil);
  EXPECT_EQ(connection->inputStream(), nil);
  EXPECT_EQ(connection->outputStream(), nil);
  EXPECT_EQ(connection->connectionCount(), 0);
  EXPECT_FALSE(connection->isConnected());
}

TEST_F(TelvoStreamDataTest, ReportsAConnectionFromBeginningToEnd) {
  when("streamDataConnected:", [&] { connection->input->signal(NSStreamEventEndEncountered); });
  connectOnThisThread();
  EXPECT_EQ(recorder->signatures,
            (Texts{"streamDataConnecting:", "streamData:connectedToStream:", "streamData:connectedToStream:",
                   "streamDataConnected:", "streamDataConnectionTerminated:", "streamDataEnded:"}));
  EXPECT_EQ(connection->input->closed, 1);
  EXPECT_EQ(connection->output->closed, 1);
  EXPECT_EQ(connection->inputStream(), nil);
  EXPECT_EQ(connection->connectionCount(), 0);
}

TEST_F(TelvoStreamDataTest, CallsTheOpenHandlerBeforeItCounts) {
  when("streamDataConnected:", [&] { connection->disconnect(); });
  connectOnThisThread();
  EXPECT_EQ(connection->handled, (Texts{"open, count 0", "open, count 1"}));
}

TEST_F(TelvoStreamDataTest, AMissingStreamEndsTheConnectionAtOnce) {
  connection->output = nil;
  connectOnThisThread();
  EXPECT_EQ(recorder->signatures, (Texts{"streamDataConnecting:", "streamDataEnded:"}));
}

TEST_F(TelvoStreamDataTest, TheBaseClassRaisesItsAssertionAndEnds) {
  const auto base = TelvoStreamData::streamData();
  base->setDelegate(recorder);
  const std::string log = logOf([&] {
    base->connectWithParameters(NSDictionary::dictionary({{"UseSameThread"_ns, "YES"_ns}}));
  });
  EXPECT_EQ(recorder->signatures, Texts{"streamDataEnded:"});
  EXPECT_NE(log.find("TelvoStreamData:201"), std::string::npos) << log;
  EXPECT_NE(log.find("An exception occurred while connecting to a remote server."), std::string::npos);
}

TEST_F(TelvoStreamDataTest, AnExceptionWhileSettingUpEndsTheConnectionOnce) {
  connection->raises = true;
  const std::string log = logOf([&] { connectOnThisThread(); });
  EXPECT_EQ(recorder->signatures, Texts{"streamDataEnded:"});
  EXPECT_NE(log.find("An exception occurred while connecting to a remote server."), std::string::npos);
  EXPECT_EQ(log.find("while terminating"), std::string::npos);
}

TEST_F(TelvoStreamDataTest, OneOpenStreamIsNotConnected) {
  connection->output->eventsOnOpen = {};
  when("streamData:connectedToStream:", [&] {
    EXPECT_FALSE(connection->isConnected());
    connection->disconnect();
  });
  connectOnThisThread();
  EXPECT_EQ(
      recorder->signatures,
      (Texts{"streamDataConnecting:", "streamData:connectedToStream:", "streamDataDisconnected:", "streamDataEnded:"}));
  EXPECT_EQ(recorder->objects[1], connection->input);
}

TEST_F(TelvoStreamDataTest, DisconnectLeavesTheStreamsOpenUntilTheRelease) {
  when("streamDataConnected:", [&] { connection->disconnect(); });
  connectOnThisThread();
  EXPECT_EQ(recorder->signatures.back(), "streamDataEnded:");
  EXPECT_EQ(recorder->signatures.at(recorder->signatures.size() - 2), "streamDataDisconnected:");
  EXPECT_TRUE(connection->isConnected());
  EXPECT_NE(connection->inputStream(), nil);
  const auto input = connection->input;
  const auto output = connection->output;
  EXPECT_EQ(input->closed, 0);
  connection = nil;
  EXPECT_EQ(input->closed, 1);
  EXPECT_EQ(output->closed, 1);
}

TEST_F(TelvoStreamDataTest, AReleasedConnectionThatIsNotConnectedDoesNotCloseItsStreams) {
  const auto input = connection->input;
  connection->setInputStream(input);
  input->setDelegate(connection.get());
  connection->incrementConnectionCount();
  connection = nil;
  EXPECT_EQ(input->closed, 0);
  EXPECT_EQ(input->delegate(), nullptr);
}

// What was read is handed over by then, and closing the output ends it on the other side.
TEST_F(TelvoStreamDataTest, ClosesTheInputBeforeTheOutput) {
  Texts closed;
  connection->input->onClose = [&] { closed.push_back("input"); };
  connection->output->onClose = [&] { closed.push_back("output"); };
  when("streamDataConnected:", [&] { connection->input->signal(NSStreamEventEndEncountered); });
  connectOnThisThread();
  EXPECT_EQ(closed, (Texts{"input", "output"}));
}

TEST_F(TelvoStreamDataTest, AStreamErrorTerminatesAndIsReportedAsAnObject) {
  connection->input->eventsOnOpen = {};
  connection->input->failsOnOpen = true;
  connection->output->eventsOnOpen = {};
  connectOnThisThread();
  ASSERT_EQ(recorder->signatures, (Texts{"streamDataConnecting:", "streamData:errorOccurred:", "streamDataEnded:"}));
  const auto error = as<NSError>(recorder->objects[1]);
  ASSERT_NE(error, nil);
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_EQ(connection->outputStream(), nil);
}

TEST_F(TelvoStreamDataTest, AHandlerThatAnswersNoKeepsTheConnection) {
  connection->answer = false;
  connection->input->eventsOnOpen = {NSStreamEventOpenCompleted, NSStreamEventErrorOccurred,
                                     NSStreamEventEndEncountered};
  connection->output->eventsOnOpen = {NSStreamEventOpenCompleted, NSStreamEventHasSpaceAvailable};
  int turns = 0;
  connection->onSpace = [&] {
    if (++turns < 5) {
      connection->output->signal(NSStreamEventHasSpaceAvailable);
    } else {
      connection->disconnect();
    }
  };
  connectOnThisThread();
  EXPECT_EQ(std::count(recorder->signatures.begin(), recorder->signatures.end(), "streamData:errorOccurred:"), 0);
  EXPECT_EQ(std::count(recorder->signatures.begin(), recorder->signatures.end(), "streamDataConnectionTerminated:"), 0);
}

TEST_F(TelvoStreamDataTest, DispatchesEventsByTheirCodes) {
  const Ref<NSStream> stream = connection->input;
  for (const NSUInteger code : {0U, 2U, 4U, 3U, 5U, 6U, 7U, 9U, 32U}) {
    connection->stream_handleEvent(stream, static_cast<NSStreamEvent>(code));
  }
  EXPECT_EQ(connection->handled,
            (Texts{"none", "bytes", "space", "other 3", "other 5", "other 6", "other 7", "other 9", "other 32"}));
}

TEST_F(TelvoStreamDataTest, ThirdOpenStreamIsNotConnectedAnyMore) {
  connection->incrementConnectionCount();
  connection->incrementConnectionCount();
  connection->stream_handleEvent(connection->input, NSStreamEventOpenCompleted);
  EXPECT_EQ(recorder->signatures, Texts{"streamData:connectedToStream:"});
  EXPECT_FALSE(connection->isConnected());
}

TEST_F(TelvoStreamDataTest, AnExceptionInATurnIsLoggedAndTheConnectionGoesOn) {
  connection->output->eventsOnOpen = {NSStreamEventOpenCompleted, NSStreamEventHasSpaceAvailable};
  int calls = 0;
  connection->onSpace = [&] {
    if (++calls > 1) return connection->input->signal(NSStreamEventEndEncountered);
    connection->output->signal(NSStreamEventHasSpaceAvailable);
    NSException::raise_format("TestException"_ns, "in a turn"_ns);
  };
  const std::string log = logOf([&] { connectOnThisThread(); });
  EXPECT_NE(log.find("Exception while communiating with a remote server: TestException (in a turn)"), std::string::npos)
      << log;
  EXPECT_EQ(recorder->signatures.back(), "streamDataEnded:");
  EXPECT_EQ(calls, 2);
}

TEST_F(TelvoStreamDataTest, RunsOnAThreadOfItsOwnAndReportsOnTheMainThread) {
  bool ended = false;
  bool eventsOnMainThread = false;
  connection->output->eventsOnOpen = {NSStreamEventOpenCompleted, NSStreamEventHasSpaceAvailable};
  connection->onSpace = [&] {
    eventsOnMainThread = NSThread::isMainThread();
    connection->input->signal(NSStreamEventEndEncountered);
  };
  when("streamDataEnded:", [&] { ended = true; });
  connection->connectWithParameters(NSDictionary::dictionary());
  EXPECT_TRUE(recorder->signatures.empty());
  const auto runLoop = NSRunLoop::currentRunLoop();
  while (!ended) runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
  EXPECT_TRUE(recorder->onMainThread);
  EXPECT_FALSE(eventsOnMainThread);
  EXPECT_EQ(recorder->signatures.front(), "streamDataConnecting:");
}

TEST_F(TelvoStreamDataTest, ATextForUseSameThreadIsReadAsABoolean) {
  connection->output = nil;
  connection->connectWithParameters(NSDictionary::dictionary({{"UseSameThread"_ns, "yes"_ns}}));
  EXPECT_EQ(recorder->signatures, (Texts{"streamDataConnecting:", "streamDataEnded:"}));
}

TEST_F(TelvoStreamDataTest, AnExceptionWhileClosingStillLetsGoOfTheStreams) {
  connection->output->onClose = [] { NSException::raise_format("TestException"_ns, "while closing"_ns); };
  when("streamDataConnected:", [&] { connection->input->signal(NSStreamEventEndEncountered); });
  const std::string log = logOf([&] { connectOnThisThread(); });
  EXPECT_NE(log.find("Exception while communiating with a remote server: TestException (while closing)"),
            std::string::npos);
  EXPECT_EQ(recorder->signatures.back(), "streamDataEnded:");
  EXPECT_EQ(connection->inputStream(), nil);
  EXPECT_EQ(connection->outputStream(), nil);
}

TEST_F(TelvoStreamDataTest, ASecondExceptionAfterAFailedSetUpIsLoggedToo) {
  connection->input->onClose = [] { NSException::raise_format("TestException"_ns, "while closing"_ns); };
  connection->setInputStream(connection->input);
  connection->setOutputStream(connection->output);
  connection->raises = true;
  const std::string log = logOf([&] { connectOnThisThread(); });
  EXPECT_NE(log.find("An exception occurred while connecting to a remote server."), std::string::npos);
  EXPECT_NE(log.find("An exception occurred while terminating a connection after a connection failure."),
            std::string::npos);
  EXPECT_EQ(recorder->signatures, Texts{"streamDataEnded:"});
}

TEST_F(TelvoStreamDataTest, AnErrorToldWhileClosingIsReportedOnceAndInsteadOfTheEnd) {
  connection->output->onClose = [output = connection->output.get()] {
    if (output->closed > 1) return;
    output->fail(NSError::errorWithPOSIXCode(EDQUOT));
    output->deliverIfWaiting(NSStreamEventErrorOccurred);
  };
  when("streamDataConnected:", [&] { connection->input->signal(NSStreamEventEndEncountered); });
  connectOnThisThread();
  EXPECT_EQ(recorder->signatures,
            (Texts{"streamDataConnecting:", "streamData:connectedToStream:", "streamData:connectedToStream:",
                   "streamDataConnected:", "streamData:errorOccurred:", "streamDataEnded:"}));
  EXPECT_EQ(as<NSError>(recorder->objects[4])->code(), EDQUOT);
}

TEST_F(TelvoStreamDataTest, DelegateMayReleaseTheConnectionInsideAReport) {
  const WeakRef<TestConnection> weak(connection);
  const auto output = connection->output;
  when("streamDataConnected:", [&] {
    connection->input->signal(NSStreamEventEndEncountered);
    connection = nil;
  });
  connection->connectWithParameters(NSDictionary::dictionary({{"UseSameThread"_ns, NSNumber::numberWithBool(true)}}));
  EXPECT_EQ(recorder->signatures.back(), "streamDataEnded:");
  EXPECT_EQ(output->closed, 1);
  EXPECT_TRUE(weak.expired());
}

TEST_F(TelvoStreamDataTest, DisconnectWorksFromAnotherThread) {
  connection->output->eventsOnOpen = {NSStreamEventOpenCompleted, NSStreamEventHasSpaceAvailable};
  std::thread other;
  std::atomic<bool> returned = false;
  connection->onSpace = [&] {
    if (other.joinable()) return;
    other = std::thread([&returned, connection = connection] {
      connection->disconnect();
      returned = true;
    });
  };
  connectOnThisThread();
  // The connection may have ended before its disconnection is told, for which the other thread waits.
  const auto runLoop = NSRunLoop::currentRunLoop();
  while (!returned) runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
  other.join();
  EXPECT_EQ(std::ranges::count(recorder->signatures, "streamDataDisconnected:"), 1);
  EXPECT_EQ(std::ranges::count(recorder->signatures, "streamDataEnded:"), 1);
  EXPECT_EQ(std::ranges::count(recorder->signatures, "streamDataConnectionTerminated:"), 0);
  EXPECT_TRUE(recorder->onMainThread);
}

TEST_F(TelvoStreamDataTest, TenThousandConnectionsOnThreadsOfTheirOwnStartAndStop) {
  int ended = 0;
  recorder->react = [&](const std::string& signature, const Ref<TelvoStreamData>& sender) {
    if (signature == "streamDataConnected:") sender->disconnect();
    if (signature == "streamDataEnded:") ++ended;
  };
  const auto runLoop = NSRunLoop::currentRunLoop();
  constexpr int atOnce = 20;
  for (int started = 0; started < 10000; started += atOnce) {
    for (int i = 0; i < atOnce; ++i) {
      const auto each = make<TestConnection>();
      each->setDelegate(recorder);
      each->connectWithParameters(nil);
    }
    while (ended < started + atOnce) {
      runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
    }
    recorder->signatures.clear();
    recorder->objects.clear();
  }
  EXPECT_EQ(ended, 10000);
  EXPECT_TRUE(recorder->onMainThread);
}

}  // namespace
