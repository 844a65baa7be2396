#include "platform/net/port_holder.h"

#include <fmt/format.h>
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

// The kernel's table: number, local address:port, remote one, state, queues, timer, repetitions,
// user, time-out, inode.
std::vector<ListeningSocket> SocketsOn(uint16_t port) {
  constexpr const char* kListening = "0A";
  std::vector<ListeningSocket> sockets;
  std::ifstream table("/proc/net/tcp");
  std::string line;
  std::getline(table, line);
  while (std::getline(table, line)) {
    std::istringstream cells(line);
    std::string number, local, remote, state, queues, timer, tries, timeout;
    ListeningSocket socket;
    cells >> number >> local >> remote >> state >> queues >> timer >> tries >> socket.user >>
        timeout >> socket.inode;
    const size_t colon = local.find(':');
    if (!cells || state != kListening || colon == local.npos) continue;
    if (std::strtoul(local.c_str() + colon + 1, nullptr, 16) == port) sockets.push_back(socket);
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

std::string HolderOfPort(uint16_t port) {
  const std::vector<ListeningSocket> sockets = SocketsOn(port);
  for (const ListeningSocket& socket : sockets) {
    std::string process = ProcessWith(socket.inode);
    if (!process.empty()) return process;
  }
  return sockets.empty() ? "" : "a program of user " + UserName(sockets.front().user);
}

}  // namespace vnq
