#include "platform/net/port_holder.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "platform/system/file_access.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;

struct ListeningSocket {
  std::string inode;
  uid_t user = 0;
};

// Whether a listener on one of the addresses keeps others from the other one. An address that is
// not of IPv4 meets all.
bool Meet(in_addr_t one, const std::string& other) {
  in_addr address{};
  if (inet_pton(AF_INET, other.c_str(), &address) != 1) return true;
  return one == address.s_addr || one == INADDR_ANY || address.s_addr == INADDR_ANY;
}

// The kernel's table: number, local address:port, remote one, state, queues, timer, repetitions,
// user, time-out, inode.
std::vector<ListeningSocket> SocketsOn(const std::string& address, uint16_t port) {
  constexpr const char* kListening = "0A";
  std::vector<ListeningSocket> sockets;
  std::ifstream table("/proc/net/tcp");
  std::string line;
  std::getline(table, line);
  while (std::getline(table, line)) {
    std::istringstream cells(line);
    std::string row, local, remote, state, queues, timer, tries, timeout;
    ListeningSocket socket;
    cells >> row >> local >> remote >> state >> queues >> timer >> tries >> socket.user >>
        timeout >> socket.inode;
    const size_t colon = local.find(':');
    if (!cells || state != kListening || colon == local.npos) continue;
    const auto number = [&](size_t at) { return std::strtoul(&local[at], nullptr, 16); };
    if (number(colon + 1) == port && Meet(static_cast<in_addr_t>(number(0)), address)) {
      sockets.push_back(socket);
    }
  }
  return sockets;
}

bool HasOpen(const fs::path& process, const std::string& inode) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(process / "fd", ignored)) {
    if (fs::read_symlink(entry.path(), ignored) == "socket:[" + inode + "]") return true;
  }
  return false;
}

std::string ProcessWith(const std::string& inode) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator("/proc", ignored)) {
    const std::string pid = entry.path().filename().string();
    if (pid.find_first_not_of("0123456789") != pid.npos || !HasOpen(entry.path(), inode)) continue;
    std::ifstream file(entry.path() / "comm");
    std::string name;
    std::getline(file, name);
    return fmt::format("process {} ({})", pid, name);
  }
  return "";
}

}  // namespace

std::string HolderOfPort(const std::string& address, uint16_t port) {
  const std::vector<ListeningSocket> sockets = SocketsOn(address, port);
  for (const ListeningSocket& socket : sockets) {
    std::string process = ProcessWith(socket.inode);
    if (!process.empty()) return process;
  }
  return sockets.empty() ? "" : "a program of user " + UserName(sockets.front().user);
}

}  // namespace vnq
