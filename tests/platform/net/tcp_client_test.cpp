#include "platform/net/tcp_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "tests/harness/loopback_http_server.h"

namespace vnq {
namespace {

constexpr uint16_t kPort = 6004;
constexpr int64_t kTimeoutMs = 5000;

class TcpClient : public ::testing::Test {
 protected:
  TcpClient() : loop_(clock_), address_(LoopbackAddress(5)) {}

  void Connect(const std::string& address) {
    ConnectTcp(loop_, address, kPort, kTimeoutMs, [this](std::optional<AcceptedSocket> socket) {
      ++calls_;
      if (socket) sockets_.push_back(std::move(*socket));
    });
    EXPECT_EQ(calls_, 0);
  }
  bool IsDone() {
    return RunUntil(loop_, [this] { return calls_ > 0; });
  }

  MovableClock clock_;
  EventLoop loop_;
  std::string address_;
  int calls_ = 0;
  std::vector<AcceptedSocket> sockets_;
};

TEST_F(TcpClient, ListenerIsReached) {
  TcpListener listener(loop_);
  std::string error;
  int requests = 0;
  ASSERT_TRUE(listener.Listen(
      address_, kPort, [&](AcceptedSocket) { ++requests; }, error))
      << error;
  Connect(address_);
  EXPECT_TRUE(IsDone());
  ASSERT_EQ(sockets_.size(), 1u);
  EXPECT_EQ(sockets_[0].remoteIp(), address_);
  EXPECT_TRUE(RunUntil(loop_, [&] { return requests == 1; }));
}

TEST_F(TcpClient, RefusedConnectionGivesNothing) {
  Connect(address_);
  EXPECT_TRUE(IsDone());
  EXPECT_TRUE(sockets_.empty());
}

TEST_F(TcpClient, TextThatIsNoAddressGivesNothing) {
  Connect("localhost");
  EXPECT_TRUE(IsDone());
  EXPECT_TRUE(sockets_.empty());
}

// A listener whose backlog is full leaves the next request without an answer.
TEST_F(TcpClient, SilentPeerEndsAtTheTimeOut) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in own{};
  own.sin_family = AF_INET;
  own.sin_port = htons(kPort);
  inet_pton(AF_INET, address_.c_str(), &own.sin_addr);
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
  ASSERT_EQ(listen(listener, 0), 0);
  const int waiting = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(connect(waiting, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);

  Connect(address_);
  for (int i = 0; i < 5; ++i) loop_.Turn(1);
  EXPECT_EQ(calls_, 0);
  clock_.AdvanceMs(kTimeoutMs);
  EXPECT_TRUE(IsDone());
  EXPECT_TRUE(sockets_.empty());
  for (int i = 0; i < 5; ++i) loop_.Turn(1);
  EXPECT_EQ(calls_, 1);
  close(waiting);
  close(listener);
}

TEST_F(TcpClient, AttemptEndsWithItsLoop) {
  auto loop = std::make_unique<EventLoop>(clock_);
  bool called = false;
  ConnectTcp(*loop, address_, kPort, kTimeoutMs,
             [&](std::optional<AcceptedSocket>) { called = true; });
  loop.reset();
  EXPECT_FALSE(called);
}

}  // namespace
}  // namespace vnq
