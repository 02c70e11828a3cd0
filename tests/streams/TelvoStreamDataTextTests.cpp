#include <string>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "streams/TelvoStreamData.h"
#include "tests/streams/NotificationRecorder.h"
#include "tests/streams/TestConnection.h"
#include "tests/streams/TestStreams.h"

// Texts that are sent and received.

namespace {

TEST_F(TelvoStreamDataTest, SendStringWhileNotConnectedReportsAndSchedulesNothing) {
  connection->sendString("abc"_ns);
  EXPECT_EQ(recorder->signatures, Texts{"streamData:errorOccurred:"});
  EXPECT_EQ(recorder->textAt(0), "Can't send as not connected");
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.6));
  EXPECT_EQ(recorder->signatures.size(), 1U);
}

TEST_F(TelvoStreamDataTest, SendStringWritesALineAndReportsItWithItsEnd) {
  makeConnected();
  connection->sendString("abc"_ns);
  EXPECT_EQ(connection->output->written, "abc\r\n");
  EXPECT_EQ(recorder->signatures, Texts{"streamData:sentString:"});
  EXPECT_EQ(recorder->textAt(0), "abc\r\n");
}

// A missing stream has no room, as any message to nil says no, and so is asked again.
TEST_F(TelvoStreamDataTest, SendStringWaitsForAStreamThatIsMissing) {
  makeConnected();
  connection->setOutputStream(nil);
  connection->sendString("abc"_ns);
  EXPECT_EQ(recorder->signatures, Texts{});
  connection->setOutputStream(connection->output);
  const auto runLoop = NSRunLoop::currentRunLoop();
  for (int turns = 0; turns < 100 && connection->output->written.empty(); ++turns) {
    runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
  }
  EXPECT_EQ(connection->output->written, "abc\r\n");
}

TEST_F(TelvoStreamDataTest, SendStringReportsAFailedAndAShortWrite) {
  makeConnected();
  connection->output->writeResult = -1;
  connection->sendString("abc"_ns);
  connection->output->writeResult = 2;
  connection->sendString("abc"_ns);
  connection->output->writeResult = 0;
  connection->sendString("abc"_ns);
  EXPECT_EQ(recorder->textAt(0), "Was not able to send the 5 bytes string abc\r\n");
  EXPECT_EQ(recorder->textAt(1), "Was only able to send 2 bytes of the 5 bytes string abc\r\n");
  EXPECT_EQ(recorder->textAt(2), "Was only able to send 0 bytes of the 5 bytes string abc\r\n");
  EXPECT_TRUE(connection->isConnected());
}

TEST_F(TelvoStreamDataTest, SendStringTriesAgainUntilThereIsRoom) {
  makeConnected();
  connection->output->hasSpace = false;
  connection->sendString("abc"_ns);
  EXPECT_EQ(connection->output->written, "");
  int timers = 0;
  const auto runLoop = NSRunLoop::currentRunLoop();
  while (connection->output->written.empty() && timers < 100) {
    runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
    if (++timers == 8) connection->output->hasSpace = true;
  }
  EXPECT_EQ(connection->output->written, "abc\r\n");
  EXPECT_EQ(recorder->signatures, Texts{"streamData:sentString:"});
}

TEST_F(TelvoStreamDataTest, ReceivesTextInPiecesOf1024Bytes) {
  connection->input->bytes = std::string(1500, 'x');
  connection->receiveStringForStream(connection->input);
  connection->receiveStringForStream(connection->input);
  EXPECT_EQ(recorder->signatures, (Texts{"streamData:receivedString:", "streamData:receivedString:"}));
  EXPECT_EQ(as<NSString>(recorder->objects[0])->length(), 1024U);
  EXPECT_EQ(as<NSString>(recorder->objects[1])->length(), 476U);
}

TEST_F(TelvoStreamDataTest, ReportsInvalidUTF8AsHexadecimal) {
  connection->input->bytes = "a\xff";
  connection->receiveStringForStream(connection->input);
  EXPECT_EQ(recorder->textAt(0), "<61ff>");
}

TEST_F(TelvoStreamDataTest, ReceivingNothingReportsNothing) {
  connection->receiveStringForStream(connection->input);
  connection->input->readResult = -1;
  connection->receiveStringForStream(connection->input);
  EXPECT_TRUE(recorder->signatures.empty());
}

TEST_F(TelvoStreamDataTest, AMissingTextIsSentAsAnEmptyLine) {
  makeConnected();
  connection->sendString(nil);
  EXPECT_EQ(connection->output->written, "\r\n");
  connection->receiveStringForStream(nil);
  EXPECT_EQ(recorder->signatures, Texts{"streamData:sentString:"});
}

TEST_F(TelvoStreamDataTest, AConnectionThatEndsWhileATextWaitsForRoomIsReleased) {
  connection->output->hasSpace = false;
  connection->output->eventsOnOpen = {NSStreamEventOpenCompleted, NSStreamEventHasSpaceAvailable};
  WeakRef<TestConnection> weak(connection);
  bool ended = false;
  connection->onSpace = [connection = connection.get()] {
    connection->sendString("abc"_ns);
    connection->input->signal(NSStreamEventEndEncountered);
  };
  when("streamDataEnded:", [&] { ended = true; });
  connection->connectWithParameters(nil);
  connection = nil;
  const auto runLoop = NSRunLoop::currentRunLoop();
  while (!ended) runLoop->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
  for (int waits = 0; waits < 1000 && !weak.expired(); ++waits) NSThread::sleepForTimeInterval(0.01);
  EXPECT_TRUE(weak.expired());
}

}  // namespace
