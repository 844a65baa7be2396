#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "host/database/database.h"
#include "host/database/database_engine.h"
#include "platform/system/password_hash.h"
#include "support/ascii_case.h"
#include "support/replace_all.h"
#include "support/shell_text.h"
#include "tools/doctor/doctor.h"

namespace vnq {

namespace {

constexpr std::string_view kRootSetting = "Tab_Config.VNQ_CONSOLE.SysConfig";
constexpr std::string_view kRootRows =
    "Select * from Tab_Config where Col_Name='VNQ_CONSOLE' and Col_Genre='SysConfig'"
    " and Col_Disabled=0";

void CheckPictureRoot(Database& database, const ProgramFolder& folder, Findings& findings) {
  const std::string row = "table Tab_Config, row VNQ_CONSOLE/SysConfig: Col_Data";
  Cursor rows(database);
  rows.Open(Sql(kRootRows));
  if (rows.RecordCount() == 0) {
    return findings.Warning(
        "table Tab_Config has no row Col_Name=VNQ_CONSOLE, Col_Genre=SysConfig, Col_Disabled=0: the"
        " folder of pictures and files is unknown, and no picture is ever deleted; add one whose"
        " Col_Data names that folder" +
        SettingCure(folder, kRootSetting, "FOLDER"));
  }
  std::string root = OrEmpty(rows["Col_Data"]);
  const std::string at = row + "=" + root;
  std::replace(root.begin(), root.end(), '/', '\\');
  const std::string pictures = folder.Map(root + "\\Mypic\\");
  std::error_code ignored;
  if (pictures.empty()) {
    return findings.Warning(at + " names a drive that [drives] in " +
                            PlatformIniPath(folder.appPath) + " gives no folder for");
  }
  if (!std::filesystem::is_directory(pictures, ignored)) {
    return findings.Warning(at + ": there is no folder " + pictures +
                            " for the users' pictures; make it or correct the row" +
                            SettingCure(folder, kRootSetting, "FOLDER"));
  }
  if (access(pictures.c_str(), W_OK) != 0) {
    return findings.Warning(at + ": the folder " + pictures +
                            " cannot be written, so no picture can be deleted");
  }
  findings.Ok("pictures: " + pictures);
}

void CheckPushAddress(Database& database, const ProgramFolder& folder, Findings& findings) {
  Cursor rows(database);
  rows.Open(Sql("Select top 1 * from Plug where Plug_Site = '11' order by Plug_Index desc"));
  if (rows.RecordCount() == 0) {
    return findings.Warning(
        "table Plug has no row with Plug_Site=11: the push to phones has no address; add one whose"
        " Plug_Target is it, or set [message_push] interval_time=0" +
        SettingCure(folder, "Plug.11", "http://HOST/PATH"));
  }
  const std::string target = OrEmpty(rows["Plug_Target"]);
  const std::string at = "table Plug, row Plug_Site=11: Plug_Target=" + target;
  std::string address = target;
  ReplaceAll(address, "[ServerIp]", folder.settings.DataBaseIp);
  constexpr std::string_view kScheme = "http://";
  const size_t host = kScheme.size();
  if (!address.starts_with(kScheme)) {
    return findings.Error(at + " does not begin with http://, the only way that pushes can go" +
                          SettingCure(folder, "Plug.11", "http://HOST/PATH"));
  }
  if (address.find_first_of("/:?") == host || address.size() == host ||
      address.find_first_of("/:?", host) == host) {
    return findings.Error(
        at + " has no host; " +
        KeyAt(folder.ini, "server_connection", "DataBaseIp", folder.settings.DataBaseIp) +
        " stands for [ServerIp]");
  }
  findings.Ok("push address: " + address);
}

void CheckKeywords(Database& database, const ProgramFolder& folder, Findings& findings) {
  for (int type : {0, 1}) {
    Cursor rows(database);
    rows.Open(Sql("Select * from vnq_keyword where col_type=?", type));
    if (rows.RecordCount() < 2) continue;
    findings.Warning("table vnq_keyword has several rows with col_type=" + std::to_string(type) +
                     ", and only the first counts; join their words by commas in one row: vnqctl"
                     " keyword list --app-path " +
                     ShellWord(folder.appPath) +
                     " shows those that count, keyword add adds to them");
  }
}

void CheckAccounts(Database& database, const ProgramFolder& folder, Findings& findings) {
  std::map<std::string, int> count;  // by login name, which compares without regard to ASCII case
  bool hasManager = false;
  Cursor users(database);
  users.Open(Sql("Select UserName,IsManager from Users_ID"));
  for (; !users.EndOfRows(); users.MoveNext()) {
    ++count[AsciiLower(OrEmpty(users["UserName"]))];
    hasManager = hasManager || Is(users["IsManager"], "1");
  }
  const std::string command = "vnqctl user add --app-path " + ShellWord(folder.appPath);
  if (count.empty()) findings.Warning("table Users_ID has no user; " + command + " adds one");
  for (const auto& [name, holders] : count) {
    if (holders == 1) continue;
    findings.Warning(
        "table Users_ID: " + std::to_string(holders) + " users are called " + name +
        ", and the password decides which of them logs in; give each a name of its own, or remove"
        " one: vnqctl user delete --app-path " +
        ShellWord(folder.appPath) + " USERID");
  }
  if (folder.settings.CheckIM0 == 0 || hasManager || count.empty()) return;
  findings.Warning(
      KeyAt(folder.ini, "server_connection", "CheckIM0", std::to_string(folder.settings.CheckIM0)) +
      " has managers told of applications, and nobody is one; vnqctl user set --app-path " +
      ShellWord(folder.appPath) + " USER --manager yes makes one");
}

struct ShownColumn {
  std::string_view table, column, key, query;
};

// Texts that clients show: what the code page lacks arrives as "?".
constexpr ShownColumn kShownColumns[] = {
    {"Users_ID", "UserName", "UserID", "Select UserName as t,UserID as k from Users_ID"},
    {"Users_ID", "FcName", "UserID", "Select FcName as t,UserID as k from Users_ID"},
    {"Users_Ro", "TypeName", "TypeID", "Select TypeName as t,TypeID as k from Users_Ro"},
    {"Clot_Ro", "TypeName", "TypeID", "Select TypeName as t,TypeID as k from Clot_Ro"},
};

void CheckCodePage(Database& database, const ProgramFolder& folder, const ShownColumn& shown,
                   Findings& findings) {
  Cursor rows(database);
  rows.Open(Sql(shown.query));
  int lost = 0;
  std::string first;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string text = OrEmpty(rows["t"]);
    if (folder.codePage->Holds(text) || lost++ > 0) continue;
    first = text + " where " + std::string(shown.key) + "=" + OrEmpty(rows["k"]);
  }
  if (lost == 0) return;
  findings.Warning("table " + std::string(shown.table) + ", column " + std::string(shown.column) +
                   ": code page " + std::to_string(folder.codePage->number()) +
                   " lacks characters" + " of " + std::to_string(lost) +
                   (lost == 1 ? " text" : " texts") + ", and clients show ? for them: " + first +
                   "; change the texts, or, where all clients do it too, the page" +
                   SettingCure(folder, "locale.code_page", "936"));
}

// As the schema has it. SQLite bounds no text.
std::string_view PasswordColumnType(DatabaseEngine engine) {
  return engine == DatabaseEngine::kPostgres ? "type text"
                                             : "nvarchar(255) collate Latin1_General_100_BIN2";
}

// A hash has 90 characters.
void CheckPasswordColumn(Database& database, const ProgramFolder& folder, Findings& findings) {
  constexpr size_t kHashLength = 90;
  SqlRows rows;
  if (!database.driver().Describe("Select UserPaws from Users_ID", {}, rows)) return;
  const size_t most = rows.columns->front().maxLength;
  if (most == 0 || most >= kHashLength) return;
  findings.Error(KeyAt(PlatformIniPath(folder.appPath), "protection", "hash_passwords", "yes") +
                 ": column UserPaws of table Users_ID takes " + std::to_string(most) +
                 " characters, and a stored hash has " + std::to_string(kHashLength) +
                 "; alter table Users_ID alter column UserPaws " +
                 std::string(PasswordColumnType(EngineOf(folder.settings, folder.platform))));
}

// A server that does not know them for hashes compares them as they are.
void CheckPasswords(Database& database, const ProgramFolder& folder, Findings& findings) {
  if (folder.platform.protection.hashPasswords) {
    return CheckPasswordColumn(database, folder, findings);
  }
  int hashed = 0;
  Cursor users(database);
  users.Open(Sql("Select UserPaws from Users_ID"));
  for (; !users.EndOfRows(); users.MoveNext()) hashed += IsPasswordHash(OrEmpty(users["UserPaws"]));
  if (hashed == 0) return;
  findings.Error("table Users_ID: the passwords of " + std::to_string(hashed) +
                 " users are stored as hashes, and the server takes them for passwords in clear: "
                 "they are locked out, and who reads the table gets in" +
                 SettingCure(folder, "protection.hash_passwords", "yes"));
}

}  // namespace

void ExamineRows(Database& database, const ProgramFolder& folder, Findings& findings) {
  CheckPictureRoot(database, folder, findings);
  if (folder.settings.pushIntervalMs != 0) CheckPushAddress(database, folder, findings);
  CheckKeywords(database, folder, findings);
  CheckAccounts(database, folder, findings);
  for (const ShownColumn& shown : kShownColumns) CheckCodePage(database, folder, shown, findings);
  CheckPasswords(database, folder, findings);
}

}  // namespace vnq
