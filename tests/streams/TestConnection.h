#pragma once

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "streams/TelvoStreamData.h"
#include "tests/streams/NotificationRecorder.h"
#include "tests/streams/TestStreams.h"

// A connection between two streams of the test's own, which notes what handlers were called.
class TestConnection : public TelvoStreamData {
  NS_OBJECT(TestConnection, TelvoStreamData)

 public:
  static Ref<TestConnection> streamData() { return make<TestConnection>(); }
  void setStreamsWithParameters(const Ref<NSDictionary>&) override {
    if (raises) NSException::raise_format("TestException"_ns, "while setting up"_ns);
    setInputStream(input);
    setOutputStream(output);
  }
  void handleNoEventForStream(const Ref<NSStream>&) override { handled.emplace_back("none"); }
  void handleOpenCompletedForStream(const Ref<NSStream>&) override {
    handled.emplace_back("open, count " + std::to_string(connectionCount()));
  }
  void handleHasBytesAvailableForStream(const Ref<NSStream>&) override { handled.emplace_back("bytes"); }
  void handleHasSpaceAvailableForStream(const Ref<NSStream>&) override {
    handled.emplace_back("space");
    if (onSpace) onSpace();
  }
  bool handleErrorOccurred_forStream(const Ref<NSError>&, const Ref<NSStream>&) override { return answer; }
  bool handleEndEncounteredForStream(const Ref<NSStream>&) override { return answer; }
  void handleOtherEvent_forStream(NSUInteger event, const Ref<NSStream>&) override {
    handled.emplace_back("other " + std::to_string(event));
  }

  Ref<TestInputStream> input = make<TestInputStream>();
  Ref<TestOutputStream> output = make<TestOutputStream>();
  bool raises = false;
  bool answer = true;
  std::function<void()> onSpace;
  std::vector<std::string> handled;
};

inline Class TestConnection::classObject() {
  static const NSClass object("TestConnection", TelvoStreamData::classObject(), {});
  return &object;
}

using Texts = std::vector<std::string>;

class TelvoStreamDataTest : public testing::Test {
 protected:
  TelvoStreamDataTest() { connection->setDelegate(recorder); }
  ~TelvoStreamDataTest() override { recorder->react = nullptr; }

  void connectOnThisThread() {
    connection->connectWithParameters(NSDictionary::dictionary({{"UseSameThread"_ns, NSNumber::numberWithBool(true)}}));
  }
  // Ends the connection once the signature has been sent.
  void when(const std::string& signature, std::function<void()> action) {
    recorder->react = [signature, action = std::move(action)](const std::string& sent, const Ref<TelvoStreamData>&) {
      if (sent == signature) action();
    };
  }
  // A connection with both streams open, without a loop around it.
  void makeConnected() {
    connection->setInputStream(connection->input);
    connection->setOutputStream(connection->output);
    connection->incrementConnectionCount();
    connection->incrementConnectionCount();
  }
  template <class Function>
  static std::string logOf(const Function& function) {
    testing::internal::CaptureStderr();
    function();
    return testing::internal::GetCapturedStderr();
  }

  Ref<TestConnection> connection = make<TestConnection>();
  Ref<NotificationRecorder> recorder = make<NotificationRecorder>();
};
