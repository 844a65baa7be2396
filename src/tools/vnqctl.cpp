// vnqctl, the operator's tool: one subcommand a job.

#include <iostream>

#include <CLI/CLI.hpp>

#include "tools/client/chat_command.h"
#include "tools/client/control_command.h"
#include "tools/client/meeting_command.h"
#include "tools/client/notify_command.h"
#include "tools/doctor/doctor_command.h"
#include "tools/folder/init_command.h"
#include "tools/history/history_command.h"
#include "tools/library/json_command.h"
#include "tools/library/script_command.h"
#include "tools/library/text_command.h"
#include "tools/moving/export_command.h"
#include "tools/moving/import_command.h"
#include "tools/users/user_command.h"

namespace {

constexpr int kBadArguments = 2;

// The words of the error and a usage line, on standard error.
int Refuse(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App* chosen = &app;
  while (!chosen->get_subcommands().empty()) chosen = chosen->get_subcommands().front();
  std::string name = chosen->get_name();
  for (const CLI::App* one = chosen->get_parent(); one != nullptr; one = one->get_parent()) {
    name.insert(0, " ").insert(0, one->get_name());
  }
  const bool hasCommands = !chosen->get_subcommands({}).empty();
  std::cerr << "vnqctl: " << error.what() << "\n"
            << "Usage: " << name << " [OPTIONS]" << (hasCommands ? " COMMAND ..." : "") << "; "
            << name << " --help tells more\n";
  return kBadArguments;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Operates and tries a VNQ Main Service", "vnqctl");
  app.set_version_flag("--version", "vnqctl " VNQ_VERSION);
  app.require_subcommand(1);

  int exitCode = 0;
  vnq::AddInitCommand(app, exitCode);
  vnq::AddDoctorCommand(app, exitCode);
  vnq::AddExportCommand(app, exitCode);
  vnq::AddImportCommand(app, exitCode);
  vnq::AddUserCommand(app, exitCode);
  vnq::AddHistoryCommand(app, exitCode);
  vnq::AddChatCommand(app, exitCode);
  vnq::AddNotifyCommand(app, exitCode);
  vnq::AddMeetingCommand(app, exitCode);
  vnq::AddTextCommand(app, exitCode);
  vnq::AddJsonCommand(app, exitCode);
  vnq::AddScriptCommand(app, exitCode);
  vnq::AddControlCommand(app, exitCode);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version are thrown, too; they print on standard output and end with 0.
    return error.get_exit_code() == 0 ? app.exit(error) : Refuse(app, error);
  }
  return exitCode;
}
