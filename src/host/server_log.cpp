#include "host/server_log.h"

#include <fmt/format.h>

#include "host/host.h"

namespace vnq {
namespace {

constexpr int32_t kMaxRows = 2000;

// The check stands in front of the insert, so a log holds at most one row more than its ceiling.
void EmptyWhenFull(Host& host, std::string_view countWords, std::string_view deleteWords) {
  Cursor counted(host.database);
  counted.Open(Sql(countWords));
  const auto count = ToInt32(counted.Column(0));
  if (count && *count > kMaxRows) host.database.Execute(Sql(deleteWords));
}

// Kept: day before hour without a leading zero in the hour, and no year.
std::string ErrorStamp(const LocalTime& now) {
  return fmt::format("{:02}-{:02} {}:{:02}:{:02}", now.month, now.day, now.hour, now.minute,
                     now.second);
}

}  // namespace

void WriteServerLog(Host& host, const Expr& text, const Expr& userId, const Expr& ip,
                    LogIcon icon) {
  if (Skips("WriteServerLog", text, userId, ip)) return;
  EmptyWhenFull(host, "select count(*) from ServerLog", "Delete from ServerLog");
  Cursor Adodc1(host.database);
  Adodc1.OpenForNewRows(Sql("Select top 1 * from ServerLog"));
  Adodc1.AddNew();
  Adodc1.Set("Txt", text);
  Adodc1.Set("UserID", userId);
  Adodc1.Set("Ip", ip);
  Adodc1.Set("Ico", static_cast<int>(icon));
  Adodc1.Update();
}

void ErrLog(Host& host, const Expr& err1, const Expr& err2) {
  EmptyWhenFull(host, "select count(*) from ServerErrLog", "Delete from ServerErrLog");
  Cursor Adodc1(host.database);
  Adodc1.OpenForNewRows(Sql("Select top 1 * from ServerErrLog"));
  Adodc1.AddNew();
  Adodc1.Set("ToDate", ErrorStamp(host.clock.Now()));
  Adodc1.Set("Err1", err1);
  Adodc1.Set("Err2", err2);
  Adodc1.Update();
}

}  // namespace vnq
