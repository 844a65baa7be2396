// vnqctl setting: what DataBase.ini, platform.ini and the two settings tables say.
//
//   NAME                     where it stands
//   SECTION.KEY              DataBase.ini or platform.ini, whichever has the section
//   Tab_Config.NAME.GENRE    column Col_Data of that row, such as Tab_Config.VNQ_CONSOLE.SysConfig
//   Plug.SITE                column Plug_Target of that row, such as Plug.11, the push address
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct SettingOptions {
  std::string appPath;
  std::string name;
  std::string value;
  bool json = false;
};

/// Each returns the exit code: 0, or 1 with the reason on `err`.
int RunSettingList(const SettingOptions& options, std::ostream& out, std::ostream& err);
int RunSettingGet(const SettingOptions& options, std::ostream& out, std::ostream& err);

/// A value that the server could not read as it stands is refused: more than 127 bytes or a
/// character that the code page lacks in DataBase.ini, a number that is none, what platform.ini
/// does not take. The file keeps its comments, its mode and its owner.
int RunSettingSet(const SettingOptions& options, std::ostream& out, std::ostream& err);

void AddSettingCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
