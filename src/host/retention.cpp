#include "host/retention.h"

#include <fmt/format.h>

#include <string_view>

namespace vnq {
namespace {

constexpr std::string_view kDelete = "Delete from";

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
std::string DateLiteral(const Settings& settings, const LocalTime& now, int days) {
  const std::string date = now.MinusDays(days).Date();
  return settings.IsAccess() ? "#" + date + "#" : "'" + date + "'";
}

OldRows RowsOf(std::string_view words, const std::string& dateLiteral) {
  const std::string_view behind = words.substr(kDelete.size() + 1);
  return {std::string(behind.substr(0, behind.find(' '))),
          fmt::format(fmt::runtime(words), dateLiteral)};
}

void AddChats(const Settings& settings, const LocalTime& now, std::vector<OldRows>& old) {
  if (settings.deleteChats.options != 1) return;
  const std::string date = DateLiteral(settings, now, settings.deleteChats.days);
  for (const ChatStatement& statement : kChatStatements) {
    old.push_back(RowsOf(statement.words, date));
    if (!statement.forAccess && settings.IsAccess()) old.back().statement.clear();
  }
}

void AddOfflineFiles(const Settings& settings, const LocalTime& now, std::vector<OldRows>& old) {
  const int16_t options = settings.deleteOfflineFiles.options;
  if (options != 1 && options != 2) return;
  old.push_back(RowsOf("Delete from LeaveFile where ToDate <={}",
                       DateLiteral(settings, now, options == 1 ? kShortFileDays : kLongFileDays)));
}

void AddNotices(const Settings& settings, const LocalTime& now, std::vector<OldRows>& old) {
  if (settings.deleteNotices.options != 1) return;
  old.push_back(RowsOf("Delete from MessengNotice_Text where To_Date <={}",
                       DateLiteral(settings, now, settings.deleteNotices.days)));
}

}  // namespace

std::vector<OldRows> OldRowsBySettings(const Settings& settings, const LocalTime& now) {
  std::vector<OldRows> old;
  AddChats(settings, now, old);
  AddOfflineFiles(settings, now, old);
  AddNotices(settings, now, old);
  return old;
}

std::optional<int64_t> CountOldRows(Database& database, const OldRows& rows) {
  if (rows.statement.empty()) return std::nullopt;
  const std::string behind = rows.statement.substr(kDelete.size());
  const auto count = ToInt32(database.ReadValue(Sql("Select count(*) from" + behind)));
  return count ? std::optional<int64_t>(*count) : std::nullopt;
}

}  // namespace vnq
