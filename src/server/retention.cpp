// The retention sweep. It runs at load and at no other time.
#include <fmt/format.h>

#include "host/host.h"
#include "host/values/skipped.h"
#include "server/start_up.h"

namespace vnq {
namespace {

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

void SweepOldRows(Host& host) {
  SweepChats(host);
  SweepOfflineFiles(host);
  SweepNotices(host);
}

}  // namespace vnq
