#include "server/load.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>

#include "host/host.h"
#include "host/values/fields.h"
#include "host/values/skipped.h"
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

// One statement of the chat sweep; {} is the date literal. The embedded dialect fills only some of
// them, and runs the others with no text, which fails.
struct ChatStatement {
  std::string_view words;
  bool forAccess;
};

// Kept: there is no statement for lv_user, whose rows all stay.
constexpr ChatStatement kChatStatements[] = {
    {"Delete from Messeng_Text where To_Date <={}", true},
    {"Delete from MessengClot_Text where  To_Date <={}", true},
    {"Delete from ToInfo where  To_Date <={}", true},
    {"Delete from MessengKefu_Text where To_Date <={}", false},
    {"Delete from lv_chat where intime <={}", false},
    {"Delete from lv_track where InTime <={}", false},
    {"Delete from lv_source where InTime <={}", false},
    {"Delete from Msg_Acks where IsReceipt1=0 and IsReceipt2=0 and To_Date <={}", false},
    {"Delete from MessengKefuClot_Text where To_Date <={}", false},
    {"Delete from lv_chater_KefuMsg_Acks where IsReceipt1=0 and IsReceipt2=0 and To_Date <={}",
     false},
};

constexpr int kShortFileDays = 15;
constexpr int kLongFileDays = 60;

// A date so many days ago as the dialect writes it in a statement.
std::string DateLiteral(const Host& host, int days) {
  const std::string date = host.clock.Now().MinusDays(days).Date();
  return host.settings.IsAccess() ? "#" + date + "#" : "'" + date + "'";
}

void RunDelete(Host& host, std::string_view words, const std::string& dateLiteral) {
  host.database.Execute(Sql(fmt::format(fmt::runtime(words), dateLiteral)));
}

void SweepChats(Host& host) {
  if (host.settings.deleteChats.options != 1) return;
  const std::string date = DateLiteral(host, host.settings.deleteChats.days);
  for (const ChatStatement& statement : kChatStatements) {
    if (statement.forAccess || !host.settings.IsAccess()) {
      RunDelete(host, statement.words, date);
    } else {
      NoteSkipped("retention", "no statement in this dialect");
    }
  }
}

void SweepOfflineFiles(Host& host) {
  const int16_t options = host.settings.deleteOfflineFiles.options;
  if (options != 1 && options != 2) return;
  RunDelete(host, "Delete from LeaveFile where ToDate <={}",
            DateLiteral(host, options == 1 ? kShortFileDays : kLongFileDays));
}

void SweepNotices(Host& host) {
  if (host.settings.deleteNotices.options != 1) return;
  RunDelete(host, "Delete from MessengNotice_Text where To_Date <={}",
            DateLiteral(host, host.settings.deleteNotices.days));
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
  const SharedLock alone(host.database, SharedLock::Kind::kRetention);
  if (!alone.IsHeld()) return;  // another node sweeps
  SweepChats(host);
  SweepOfflineFiles(host);
  SweepNotices(host);
}

}  // namespace vnq
