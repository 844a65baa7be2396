#include <algorithm>
#include <filesystem>

#include "platform/net/event_loop.h"
#include "platform/net/port_holder.h"
#include "platform/net/tcp.h"
#include "platform/system/instance.h"
#include "sessions/sessions.h"
#include "support/shell_text.h"
#include "tools/doctor/doctor.h"
#include "tools/watch/status_commands.h"

namespace vnq {

namespace {

constexpr uint16_t kPorts[] = {6001, 6002, 6003, 6004, 6007, 6008};

// A folder without a lock file has never had a server, and gets none from a look at it.
bool ServerRuns(const ProgramFolder& folder) {
  const std::string path = folder.LockPath();
  std::error_code ignored;
  std::string error;
  InstanceLock lock;
  return std::filesystem::exists(path, ignored) &&
         lock.Acquire(path, error) == InstanceLock::Result::kOtherInstance;
}

// The number behind "process " in the first line of the status.
std::string ProcessOf(const std::string& status) {
  constexpr std::string_view kWord = ", process ";
  const size_t at = status.find(kWord);
  if (at == status.npos) return "self";
  const std::string rest = status.substr(at + kWord.size());
  return rest.substr(0, rest.find_first_not_of("0123456789"));
}

void SayPresence(size_t users, const ProgramFolder& folder, Findings& findings) {
  if (users == 0) return;
  findings.Warning("table Users_ID: " + std::to_string(users) +
                   (users == 1 ? " user seems" : " users seem") +
                   " to be online without a session, as after a crash; vnqctl presence repair"
                   " --app-path " +
                   ShellWord(folder.appPath) + " sets that right");
}

}  // namespace

RunningServer LookForServer(const ProgramFolder& folder, Findings& findings) {
  RunningServer server;
  server.runs = ServerRuns(folder);
  if (!server.runs) return server;
  std::string answer, error;
  server.answers = AskServer(folder.appPath, "status", answer, error);
  if (server.answers) {
    server.process = ProcessOf(answer);
  } else {
    findings.Warning("the server runs on this folder and does not answer vnqctl: " + error +
                     "; run this as the user that the server runs as");
  }
  return server;
}

void ExaminePorts(const ProgramFolder& folder, const RunningServer& server, Findings& findings) {
  if (server.runs) return findings.Ok("ports: the server runs on this folder");
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
    const std::string holder = HolderOfPort(address, port);
    findings.Error("port " + error + (holder.empty() ? "" : ", by " + holder) +
                   ", and the server would stay silent there; end the program that has it, or set"
                   " another address: " +
                   KeyAt(PlatformIniPath(folder.appPath), "network", "bind_address", address) +
                   SettingCure(folder, "network.bind_address", "ADDRESS"));
  }
  if (allFree) findings.Ok("ports: 6001 to 6004, 6007 and 6008 are free on " + address);
}

void ExaminePresence(Database& database, const ProgramFolder& folder, const RunningServer& server,
                     Findings& findings) {
  if (server.answers) {
    std::string answer, error;
    if (!AskServer(folder.appPath, "presence repair test", answer, error)) return;
    const auto lines = std::count(answer.begin(), answer.end(), '\n');
    return SayPresence(static_cast<size_t>(lines), folder, findings);
  }
  if (server.runs) return;  // it alone knows who is connected
  const auto nobody = [](const std::string&) { return false; };
  const auto repaired = RepairPresence(database, nobody, true);
  if (repaired) SayPresence(repaired->size(), folder, findings);
}

}  // namespace vnq
