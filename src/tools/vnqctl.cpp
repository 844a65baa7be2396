// vnqctl, the operator's tool: one subcommand a job.
#include <spdlog/spdlog.h>

#include <CLI/CLI.hpp>

#include "tools/backup/backup_command.h"
#include "tools/client/chat_command.h"
#include "tools/client/control_command.h"
#include "tools/client/meeting_command.h"
#include "tools/client/notify_command.h"
#include "tools/company/company.h"
#include "tools/doctor/doctor_command.h"
#include "tools/folder/init_command.h"
#include "tools/history/history_command.h"
#include "tools/library/json_commands.h"
#include "tools/library/text_command.h"
#include "tools/moving/export_command.h"
#include "tools/moving/import_command.h"
#include "tools/settings/setting_command.h"
#include "tools/terminal/command_line.h"
#include "tools/users/user_command.h"
#include "tools/watch/presence_command.h"
#include "tools/watch/probe_command.h"
#include "tools/watch/status_commands.h"

int main(int argc, char** argv) {
  // What goes wrong is said by the commands themselves; the log would stand between their lines.
  spdlog::set_level(spdlog::level::off);
  CLI::App app("Operates and tries a VNQ Main Service", "vnqctl");
  app.set_version_flag("--version", "vnqctl " VNQ_VERSION);
  app.require_subcommand(1);
  app.fallthrough();  // a group's options stand in front of its commands or behind them

  int exitCode = 0;
  vnq::AddInitCommand(app, exitCode);
  vnq::AddDoctorCommand(app, exitCode);
  vnq::AddStatusCommands(app, exitCode);
  vnq::AddPresenceCommand(app, exitCode);
  vnq::AddProbeCommand(app, exitCode);
  vnq::AddBackupCommands(app, exitCode);
  vnq::AddExportCommand(app, exitCode);
  vnq::AddImportCommand(app, exitCode);
  vnq::AddUserCommand(app, exitCode);
  vnq::AddDepartmentCommand(app, exitCode);
  vnq::AddRoleCommand(app, exitCode);
  vnq::AddGroupCommand(app, exitCode);
  vnq::AddKeywordCommand(app, exitCode);
  vnq::AddSettingCommand(app, exitCode);
  vnq::AddHistoryCommand(app, exitCode);
  vnq::AddChatCommand(app, exitCode);
  vnq::AddNotifyCommand(app, exitCode);
  vnq::AddMeetingCommand(app, exitCode);
  vnq::AddTextCommand(app, exitCode);
  vnq::AddJsonCommand(app, exitCode);
  vnq::AddScriptCommand(app, exitCode);
  vnq::AddControlCommand(app, exitCode);
  return vnq::RunProgram(app, argc, argv, exitCode);
}
