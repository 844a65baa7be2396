#include "tools/doctor/doctor_command.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <utility>

#include <CLI/CLI.hpp>

#include "platform/net/event_loop.h"
#include "platform/net/tcp.h"
#include "platform/system/instance.h"
#include "tools/doctor/doctor.h"
#include "tools/library/json_string.h"
#include "tools/terminal/command_line.h"

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

// Whether this server's ports are free, or taken by itself.
void ExaminePorts(const ProgramFolder& folder, Findings& findings) {
  if (ServerRuns(folder)) return findings.Ok("ports: the server runs on this folder");
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

std::string Counted(int number, const std::string& what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

void Examine(const DoctorOptions& options, Findings& findings) {
  auto folder = ExamineFolder(options.appPath, options.localeName, findings);
  if (!folder) return;
  ExamineSettings(*folder, findings);
  ExamineTexts(*folder, findings);
  ExamineVersionFile(*folder, findings);
  if (const auto database = ExamineDatabase(*folder, findings)) {
    if (ExamineSchema(*database, *folder, findings)) {
      ExamineTextsInDatabase(*database, *folder, findings);
      ExamineRows(*database, *folder, findings);
    }
  }
  ExamineNodes(*folder, findings);
  ExaminePorts(*folder, findings);
}

}  // namespace

void Findings::Line(std::string_view kind, std::string_view what) {
  if (json_) {
    out_ << (std::exchange(hasLines_, true) ? ",\n" : "\n") << "{\"kind\":" << JsonString(kind)
         << ",\"finding\":" << JsonString(what) << "}";
  } else {
    out_ << kind << ": " << what << "\n";
  }
  out_.flush();  // a check behind it may take its time
}

void Findings::Conclude() {
  if (json_) {
    out_ << "\n]\n";
  } else {
    out_ << Counted(errors_, "error") << ", " << Counted(warnings_, "warning") << "\n";
  }
}

int RunDoctor(const DoctorOptions& options, std::ostream& out) {
  Findings findings(out, options.json);
  Examine(options, findings);
  findings.Conclude();
  return findings.errors() == 0 ? 0 : 1;
}

void AddDoctorCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<DoctorOptions>();
  CLI::App* command =
      app.add_subcommand("doctor", "Check settings, texts, database and ports, and say what to do");
  AddAppPath(*command, options->appPath)->required();
  command->add_flag("--json", options->json, "As a JSON array, an object a finding");
  command->callback([options, &exitCode] {
    options->localeName = SystemLocaleName();
    exitCode = RunDoctor(*options, std::cout);
  });
}

}  // namespace vnq
