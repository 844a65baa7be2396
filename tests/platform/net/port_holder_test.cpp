#include "platform/net/port_holder.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/net/tcp.h"
#include "tests/harness/own_address.h"

namespace vnq {
namespace {

constexpr uint16_t kPort = 6004;

void Listen(TcpListener& listener, const std::string& address) {
  std::string error;
  ASSERT_TRUE(listener.Listen(
      address, kPort, [](AcceptedSocket) {}, error))
      << error;
}

std::string Named(pid_t process) {
  return "process " + std::to_string(process) + " ";
}

// Two programs, each with the port at an address of its own.
TEST(PortHolder, IsWhoHasThePortAtTheAddress) {
  SystemClock clock;
  EventLoop loop(clock);
  TcpListener theirs(loop), ours(loop);
  const std::string theirAddress = AddressOfThisProcess(216),
                    ourAddress = AddressOfThisProcess(217);
  Listen(theirs, theirAddress);
  const pid_t child = fork();
  if (child == 0) {
    pause();
    _exit(0);
  }
  theirs.Close();
  Listen(ours, ourAddress);
  EXPECT_EQ(HolderOfPort(theirAddress, kPort).find(Named(child)), 0U);
  EXPECT_EQ(HolderOfPort(ourAddress, kPort).find(Named(getpid())), 0U);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST(PortHolder, IsNobodyWhereNobodyListens) {
  EXPECT_EQ(HolderOfPort(AddressOfThisProcess(218), kPort), "");
}

}  // namespace
}  // namespace vnq
