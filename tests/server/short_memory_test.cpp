// The shipped binary where the system gives it no more memory.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>
#include <vector>

#include "support/base64_text.h"
#include "tests/harness/own_address.h"
#include "tests/harness/real_process.h"
#include "tests/harness/sqlite_test_database.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

constexpr size_t kMegabyte = 1024 * 1024;

// A value of /proc/PID/status in bytes.
size_t StatusBytes(pid_t process, const std::string& key) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    size_t kilobytes = 0;
    if (word == key + ":" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

class Peer {
 public:
  explicit Peer(const std::string& address) : descriptor_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(6004);
    inet_pton(AF_INET, address.c_str(), &peer.sin_addr);
    EXPECT_EQ(connect(descriptor_, reinterpret_cast<sockaddr*>(&peer), sizeof peer), 0);
    const timeval limit{10, 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    Receive();  // the greeting
  }
  Peer(Peer&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Peer& operator=(Peer&&) = delete;
  ~Peer() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  void Send(const std::string& records) const {
    const std::string wire = Base64EncodeBytes(records);
    for (size_t at = 0; at < wire.size();) {
      const ssize_t sent = send(descriptor_, wire.data() + at, wire.size() - at, MSG_NOSIGNAL);
      if (sent <= 0) return;
      at += static_cast<size_t>(sent);
    }
  }
  std::string Receive() const {
    char buffer[1000];
    const ssize_t count = recv(descriptor_, buffer, sizeof buffer, 0);
    if (count <= 0) return "(nothing)";
    return Base64DecodeBytes(std::string(buffer, static_cast<size_t>(count)));
  }

 private:
  int descriptor_;
};

class ShortMemory : public ::testing::Test {
 protected:
  ShortMemory() {
    std::string name = (std::filesystem::temp_directory_path() / "vnq_memory_XXXXXX").string();
    folder = mkdtemp(name.data());
    std::ostringstream said;
    EXPECT_EQ(RunInit({folder, false, "en_US.UTF-8"}, said, said), 0) << said.str();
  }
  ~ShortMemory() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  std::string folder;
};

TEST_F(ShortMemory, TheServerStaysAndUnloads) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer itself ends a process that has no memory left";
#endif
  SqliteFile database(folder + "/Web/Data/vnq.db");
  database.Run("insert into Users_ID(UserID,UserName,UserIcoLine) values('1','name1',0)");
  const std::string address = AddressOfThisProcess(216);
  RealProcess server({VNQ_SERVER_PROGRAM, "--app-path", folder, "--bind", address});
  ASSERT_TRUE(server.WaitForWords("ready")) << server.standardError();
  const rlim_t most = StatusBytes(server.pid(), "VmSize") + 48 * kMegabyte;
  const rlimit limit{most, most};
  ASSERT_EQ(prlimit(server.pid(), RLIMIT_AS, &limit, nullptr), 0);

  const Peer online(address);
  online.Send(".+successful_online|1|1|#");
  EXPECT_EQ(online.Receive(), ".+SynchronousSuccessfully|#");
  {
    std::vector<Peer> peers;
    for (int i = 0; i < 12; ++i) {
      peers.emplace_back(address);
      peers.back().Send(".+message|1|2|" + std::string(8 * kMegabyte, 'a'));
    }
    EXPECT_TRUE(server.WaitForWords("memory is short")) << server.standardError();
    online.Send(".+y|#");
    EXPECT_EQ(online.Receive(), ".+y|#");
  }
  server.Signal(SIGTERM);
  EXPECT_EQ(server.ExitCode(), 0) << server.standardError();
  EXPECT_EQ(database.Rows("select UserIcoLine from Users_ID where UserID='1'"),
            std::vector<std::string>{"0"});
}

}  // namespace
}  // namespace vnq
