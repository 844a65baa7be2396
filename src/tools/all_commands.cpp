#include "tools/all_commands.h"

#include <CLI/CLI.hpp>

#include "tools/backup/backup_command.h"
#include "tools/client/chat_command.h"
#include "tools/client/control_command.h"
#include "tools/client/meeting_command.h"
#include "tools/client/notify_command.h"
#include "tools/company/company.h"
#include "tools/decode/decode_command.h"
#include "tools/doctor/doctor_command.h"
#include "tools/folder/init_command.h"
#include "tools/history/history_command.h"
#include "tools/library/json_commands.h"
#include "tools/library/text_command.h"
#include "tools/moving/export_command.h"
#include "tools/moving/import_command.h"
#include "tools/retention/retention_command.h"
#include "tools/schema/upgrade_command.h"
#include "tools/settings/setting_command.h"
#include "tools/users/user_command.h"
#include "tools/watch/presence_command.h"
#include "tools/watch/probe_command.h"
#include "tools/watch/status_commands.h"
#include "tools/watch/trace_command.h"

namespace vnq {

void AddAllCommands(CLI::App& app, int& exitCode) {
  AddInitCommand(app, exitCode);
  AddDoctorCommand(app, exitCode);
  AddStatusCommands(app, exitCode);
  AddPresenceCommand(app, exitCode);
  AddProbeCommand(app, exitCode);
  AddTraceCommand(app, exitCode);
  AddBackupCommands(app, exitCode);
  AddUpgradeCommand(app, exitCode);
  AddRetentionCommand(app, exitCode);
  AddExportCommand(app, exitCode);
  AddImportCommand(app, exitCode);
  AddUserCommand(app, exitCode);
  AddDepartmentCommand(app, exitCode);
  AddRoleCommand(app, exitCode);
  AddGroupCommand(app, exitCode);
  AddKeywordCommand(app, exitCode);
  AddSettingCommand(app, exitCode);
  AddHistoryCommand(app, exitCode);
  AddChatCommand(app, exitCode);
  AddNotifyCommand(app, exitCode);
  AddMeetingCommand(app, exitCode);
  AddDecodeCommand(app, exitCode);
  AddTextCommand(app, exitCode);
  AddJsonCommand(app, exitCode);
  AddScriptCommand(app, exitCode);
  AddControlCommand(app, exitCode);
}

}  // namespace vnq
