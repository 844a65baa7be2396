#include "server/load.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>

#include "host/host.h"
#include "host/retention.h"
#include "host/values/fields.h"
#include "host/values/skipped.h"
#include "platform/system/event_log.h"
#include "support/replace_all.h"

namespace vnq {
namespace {

// Only the first row of a kind counts. False, the list as it was, when the query failed.
bool ReadKeywords(Host& host, int type, std::vector<std::string>& keywords) {
  Cursor Adodc1(host.database);
  if (!Adodc1.Open(Sql("Select * from vnq_keyword where col_type=?", type))) return false;
  keywords.clear();
  if (Adodc1.RecordCount() >= 1) keywords = SplitField(Adodc1["col_keyword"], ",");
  return true;
}

// The first line, up to its LF, with NULs and tabs taken for blanks and a CR at its end dropped.
std::string FirstLine(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string line;
  std::getline(file, line);
  if (line.ends_with('\r')) line.pop_back();
  std::replace(line.begin(), line.end(), '\0', ' ');
  line = Trim(line).text();
  std::replace(line.begin(), line.end(), '\t', ' ');
  return Trim(line).text();
}

// --- Retention ---

// What goes is counted before, for the log.
std::string DeleteOldRows(Host& host, const OldRows& rows) {
  if (rows.statement.empty()) {
    NoteSkipped("retention", "no statement in this dialect");
    return "";
  }
  const int64_t count = CountOldRows(host.database, rows).value_or(0);
  host.database.Execute(Sql(rows.statement));
  return count == 0 ? "" : fmt::format("{} rows of {}", count, rows.table);
}

}  // namespace

void ReadDatabaseSettings(Host& host) {
  Cursor Adodc1(host.database);
  Adodc1.Open(
      Sql("Select * from Tab_Config where Col_Name='VNQ_CONSOLE' and Col_Genre='SysConfig' "
          "and Col_Disabled=0"));
  if (Adodc1.RecordCount() >= 1) {
    std::string root;
    Assign(root, Join(Adodc1["Col_Data"]));
    std::replace(root.begin(), root.end(), '/', '\\');
    host.ServerRootPath = root;
  }
  ReadKeywordLists(host);
}

bool ReadKeywordLists(Host& host) {
  const bool mask = ReadKeywords(host, 0, host.MaskKeywords);
  const bool block = ReadKeywords(host, 1, host.BlockKeywords);
  return mask && block;
}

bool DatabaseAnswers(Host& host) {
  Cursor row(host.database);
  return row.Open(Sql("Select top 1 UserID from Users_ID"));
}

void ReadVersionFile(Host& host) {
  const auto versions =
      Fields::Split(FirstLine(host.paths.Map(host.AppPath + "\\Web\\download\\log.txt")));
  Assign(host.MinClientVersion, ToInt32(versions[0]));
  Assign(host.ClientDownloadVersion, ToInt32(versions[1]));
}

void SetFontsAndAddresses(Host& host) {
  host.ServerFontInfo = "宋体,10,12681849,False,False,False";
  host.DefaultFontInfo = "宋体,10,0,False,False,False";
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select top 1 * from Plug where Plug_Site = '11' order by Plug_Index desc"));
  if (Adodc1.RecordCount() >= 1) {
    Assign(host.PushUrl, Join(Adodc1["Plug_Target"]));
    ReplaceAll(host.PushUrl, "[ServerIp]", host.settings.DataBaseIp);
  }
  host.WebSocketResponseTemplate =
      "HTTP/1.1 101 Web Socket Protocol Handshake\r\n"
      "Upgrade: websocket\r\n"
      "Connection: Upgrade\r\n"
      "Sec-WebSocket-Accept: [KEY]\r\n"
      "WebSocket-Origin: [ORGN]\r\n"
      "WebSocket-Location: [HOST]\r\n"
      "\r\n";
}

void SweepOldRows(Host& host) {
  const std::vector<OldRows> old = OldRowsBySettings(host.settings, host.clock.Now());
  if (old.empty()) return;
  const SharedLock alone(host.database, SharedLock::Kind::kRetention);
  if (!alone.IsHeld()) return;  // another node sweeps
  std::string deleted;
  for (const OldRows& rows : old) {
    const std::string words = DeleteOldRows(host, rows);
    if (!words.empty()) deleted += (deleted.empty() ? "" : ", ") + words;
  }
  LogInfo("retention", "retention: {}",
          deleted.empty() ? "no row is old enough" : deleted + " deleted");
}

}  // namespace vnq
