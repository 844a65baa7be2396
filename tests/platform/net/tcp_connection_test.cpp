#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/net/tcp.h"
#include "tests/harness/stepped_clock.h"

namespace vnq {
namespace {

using Pieces = std::vector<std::string>;

// Connections on a socket that keeps what each call to the system sent apart.
class TcpConnectionTest : public ::testing::Test {
 protected:
  TcpConnectionTest() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    own_ = ends[0];
    peer_ = ends[1];
    loop.SetSettle(
        [this] {
          atSettle = Received();
          owed = false;
        },
        [this] { return owed; });
    connection = Another();
  }
  ~TcpConnectionTest() override {
    loop.SetSettle(nullptr, nullptr);
    close(own_);
    close(peer_);
  }

  // One more connection that sends to the same peer.
  std::shared_ptr<TcpConnection> Another() {
    return TcpConnection::Start(loop, AcceptedSocket(dup(own_), "peer"), {});
  }

  // What has come since the last call; "(end)" for the end of the stream.
  Pieces Received() {
    Pieces pieces;
    char buffer[100];
    for (ssize_t count; (count = recv(peer_, buffer, sizeof buffer, 0)) >= 0;) {
      pieces.push_back(count > 0 ? std::string(buffer, static_cast<size_t>(count)) : "(end)");
      if (count == 0) break;
    }
    return pieces;
  }

  SteppedClock clock{{2026, 1, 2, 3, 4, 5}};
  EventLoop loop{clock};
  bool owed = false;
  Pieces atSettle;
  std::shared_ptr<TcpConnection> connection;

 private:
  int own_ = -1, peer_ = -1;
};

TEST_F(TcpConnectionTest, SendLeavesAtOnceWhereNothingIsOwed) {
  EXPECT_TRUE(connection->Send("a"));
  EXPECT_EQ(Received(), Pieces{"a"});
}

TEST_F(TcpConnectionTest, SendsWaitForTheSettleThatIsOwed) {
  owed = true;
  EXPECT_TRUE(connection->Send("a"));
  EXPECT_EQ(Received(), Pieces{});
  loop.Turn(0);
  EXPECT_EQ(atSettle, Pieces{}) << "it is settled before anything leaves";
  EXPECT_EQ(Received(), Pieces{"a"});
}

TEST_F(TcpConnectionTest, SendsThatWaitedLeaveOneByOneInTheOrderOfTheCallsOverAllConnections) {
  const auto other = Another();
  owed = true;
  connection->Send("1");
  other->Send("2");
  connection->Send("3");
  owed = false;
  other->Send("4");
  EXPECT_EQ(Received(), Pieces{}) << "none overtakes";
  loop.Turn(0);
  EXPECT_EQ(Received(), (Pieces{"1", "2", "3", "4"}));
}

TEST_F(TcpConnectionTest, CloseWaitsBehindWhatWasSent) {
  owed = true;
  connection->Send("last");
  connection->Close();
  EXPECT_FALSE(connection->Send("too late"));
  EXPECT_EQ(TcpConnection::Lingering(), 1);
  EXPECT_EQ(Received(), Pieces{});
  loop.Turn(0);
  EXPECT_EQ(Received(), (Pieces{"last", "(end)"}));
}

TEST_F(TcpConnectionTest, CloseIsSeenAtOnceWhereNothingIsOwed) {
  connection->Close();
  EXPECT_EQ(Received(), Pieces{"(end)"});
}

TEST_F(TcpConnectionTest, YieldLetsOutWhatWasSent) {
  Pieces received;
  loop.StartHandler([&] {
    owed = true;
    connection->Send("a");
    loop.Yield();
    received = Received();
  });
  loop.Turn(0);
  loop.Turn(0);
  EXPECT_EQ(received, Pieces{"a"});
}

TEST_F(TcpConnectionTest, ManySendsAreSettledTogether) {
  owed = true;
  for (size_t i = 0; i + 1 < EventLoop::kMostLeaving; ++i) connection->Send("a");
  EXPECT_EQ(Received(), Pieces{});
  connection->Send("b");
  EXPECT_EQ(Received().size(), EventLoop::kMostLeaving);
}

}  // namespace
}  // namespace vnq
