#include <memory>

#include <gtest/gtest.h>

#include "cfnetwork/FTPConnection.h"
#include "foundation/Foundation.h"
#include "testing/ScriptedFTPServer.h"

// What of a control connection does not show through the streams that use it.

namespace {

using cfnetwork::FTPConnection;

class Calls : public FTPConnection::Delegate {
 public:
  void connectionDidLogIn() override { ++count; }
  void connectionDidFail(const Ref<NSError>&, FTPConnection::Loss) override { ++count; }

  int count = 0;
};

TEST(FTPConnection, ThatIsClosedWhileItIsMadeStaysClosed) {
  ScriptedFTPServer server;
  cfnetwork::FTPEndpoint endpoint;
  endpoint.host = server.host();
  endpoint.port = server.port();
  Calls calls;
  const auto connection =
      std::make_shared<FTPConnection>(NSRunLoop::currentRunLoop(), endpoint, cfnetwork::FTPLimits(), calls);
  connection->open();
  connection->close();
  NSRunLoop::currentRunLoop()->runUntilDate(NSDate::dateWithTimeIntervalSinceNow(0.3));
  EXPECT_TRUE(connection->isClosed());
  EXPECT_EQ(calls.count, 0);
  EXPECT_EQ(server.logins(), 0U);
}

}  // namespace
