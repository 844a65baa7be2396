// Connections that cannot be served: no slot is left, or no descriptor.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>

#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class RefusedConnections : public ServerTest {
 protected:
  SaidLines said;

  // Takes every slot of an array by peers that vanish, and asks for one more.
  void FillUp(SlotArray& slots) {
    for (int i = 1; AcceptVanished(slots) != kNoSlot; ++i) {
      if (i % 100 == 0) server.Pump();
    }
    server.Pump();
  }
  static SlotIndex AcceptVanished(SlotArray& slots) {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) != 0)
      return kNoSlot;
    close(pair[1]);
    return slots.Accept(AcceptedSocket(pair[0], "127.0.0.9"));
  }
};

// No descriptor is left behind the next one, as long as the object lives.
class OneDescriptorLeft {
 public:
  OneDescriptorLeft() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const int next = dup(0);
    close(next);
    rlimit limit = before_;
    limit.rlim_cur = static_cast<rlim_t>(next) + 1;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~OneDescriptorLeft() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

TEST_F(RefusedConnections, WithoutASlotLeftTheFirstIsToldAndTheOthersAreCounted) {
  SlotArray& visitors = server.host().SckServer6001;
  FillUp(visitors);
  EXPECT_EQ(visitors.Highest(), 32767);
  EXPECT_EQ(visitors.State(1), SocketState::kClosing);
  EXPECT_EQ(said.Take(), Lines{"warning: 6001: no slot left: all 32767 are taken, and a connection "
                               "from 127.0.0.9 was refused"});
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(server.ConnectTo(6001).IsClosed());
  EXPECT_EQ(said.Take(), Lines{});
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(said.Take(), Lines{"warning: 6001: no slot left: 3 more within a minute"});
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(said.Take(), Lines{"info: 6001: no slot left: over, not once in the last minute"});
}

TEST_F(RefusedConnections, WithoutADescriptorTheyWaitItIsSaidOnceAndTriedTenTimesASecond) {
  std::optional<OneDescriptorLeft> scarce(std::in_place);
  TestClient client = server.ConnectTo(kClientPort);
  EXPECT_EQ(client.ReceiveBytes(), "");
  for (int i = 0; i < 10; ++i) server.AdvanceMs(100);
  EXPECT_EQ(said.Take(), Lines{"warning: connections have to wait: Too many open files"});

  scarce.reset();
  server.AdvanceMs(100);
  EXPECT_NE(client.ReceiveBytes(), "") << "the connection was lost meanwhile";
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(said.Take(), Lines{"warning: connections have to wait: 10 more within a minute"});
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(said.Take(),
            Lines{"info: connections have to wait: over, not once in the last minute"});
}

}  // namespace
}  // namespace vnq
