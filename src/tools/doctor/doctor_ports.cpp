#include <filesystem>

#include "platform/net/event_loop.h"
#include "platform/net/tcp.h"
#include "platform/system/signals.h"
#include "tools/doctor/doctor.h"

namespace vnq {

namespace {

constexpr uint16_t kPorts[] = {6001, 6002, 6003, 6004, 6007, 6008};

// A folder without a lock file has never had a server, and gets none from a look at it.
bool ServerRuns(const std::string& appPath) {
  const std::string path = appPath + "/.vnq_main_service.lock";
  std::error_code ignored;
  std::string error;
  InstanceLock lock;
  return std::filesystem::exists(path, ignored) &&
         lock.Acquire(path, error) == InstanceLock::Result::kOtherInstance;
}

}  // namespace

void ExaminePorts(const ExaminedFolder& folder, Findings& findings) {
  if (ServerRuns(folder.appPath)) return findings.Ok("ports: the server runs on this folder");
  const std::string& address = folder.platform.bindAddress;
  SystemClock clock;
  EventLoop loop(clock);
  bool allFree = true;
  for (uint16_t port : kPorts) {
    TcpListener listener(loop);
    std::string error;
    if (listener.Listen(
            address, port, [](AcceptedSocket) {}, error))
      continue;
    allFree = false;
    findings.Error("port " + error +
                   ", and the server would stay silent there; end the program"
                   " that has it, or set another address: " +
                   KeyAt(PlatformIniPath(folder.appPath), "network", "bind_address", address));
  }
  if (allFree) findings.Ok("ports: 6001 to 6004, 6007 and 6008 are free on " + address);
}

}  // namespace vnq
