// Connections that cannot be served: no slot is left, or no descriptor.
#include <fcntl.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <sstream>

#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class RefusedConnections : public ServerTest {
 protected:
  RefusedConnections() {
    auto sink = std::make_shared<spdlog::sinks::ostream_sink_st>(said_);
    sink->set_pattern("%l %v");
    auto logger = std::make_shared<spdlog::logger>("test", sink);
    logger->set_level(spdlog::level::info);
    spdlog::set_default_logger(logger);
  }
  ~RefusedConnections() override { spdlog::set_default_logger(before_); }

  std::string Said() { return std::exchange(said_, std::ostringstream()).str(); }

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

 private:
  std::shared_ptr<spdlog::logger> before_ = spdlog::default_logger();
  std::ostringstream said_;
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
  EXPECT_EQ(Said(),
            "warning 6001: no slot left: all 32767 are taken, and a connection from 127.0.0.9 was "
            "refused\n");
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(server.ConnectTo(6001).IsClosed());
  EXPECT_EQ(Said(), "");
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(Said(), "warning 6001: no slot left: 3 more within a minute\n");
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(Said(), "info 6001: no slot left: over, not once in the last minute\n");
}

TEST_F(RefusedConnections, WithoutADescriptorTheyWaitItIsSaidOnceAndTriedTenTimesASecond) {
  std::optional<OneDescriptorLeft> scarce(std::in_place);
  TestClient client = server.ConnectTo(kClientPort);
  EXPECT_EQ(client.ReceiveBytes(), "");
  for (int i = 0; i < 10; ++i) server.AdvanceMs(100);
  EXPECT_EQ(Said(), "warning connections have to wait: Too many open files\n");

  scarce.reset();
  server.AdvanceMs(100);
  EXPECT_NE(client.ReceiveBytes(), "") << "the connection was lost meanwhile";
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(Said(), "warning connections have to wait: 10 more within a minute\n");
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(Said(), "info connections have to wait: over, not once in the last minute\n");
}

}  // namespace
}  // namespace vnq
