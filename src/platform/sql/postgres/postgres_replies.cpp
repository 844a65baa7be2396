#include "platform/sql/postgres/postgres_replies.h"

#include <strings.h>

#include <algorithm>

namespace vnq {

SqlTrouble PostgresTroubleOf(const PostgresReply& reply) {
  const std::string_view sqlState = reply.sqlState;
  if (sqlState == kPostgresLockNotHad) return SqlTrouble::kLocked;
  if (sqlState == "53100") return SqlTrouble::kFull;
  if (sqlState == "25006") return SqlTrouble::kReadOnly;
  if (sqlState == "58030") return SqlTrouble::kWriteFailed;
  if (sqlState == "42501") return SqlTrouble::kForbidden;
  const bool isMissing = sqlState == "42P01" || sqlState == "42703";
  return isMissing ? SqlTrouble::kMissing : SqlTrouble::kNone;
}

bool IsOutOfDate(const PostgresReply& reply, const PostgresStatement& prepared) {
  if (reply.done()) {
    return prepared.table && CommonPostgresTable(reply.result.get()) != prepared.table->number;
  }
  if (!reply.refused()) return false;
  bool nameless = reply.sqlState == "42703" || reply.sqlState == "42P01";
  return reply.sqlState == "0A000" || reply.sqlState == "26000" || (prepared.table && nameless);
}

bool MayHaveWritten(const PostgresReply& reply) {
  std::string_view tag = reply.commandTag();
  bool reads = tag.starts_with("SELECT") || tag.starts_with("BEGIN") || tag.starts_with("ROLLBACK");
  return !reads && reply.rowsTouched() != "0";
}

bool StartsWithWord(std::string_view statement, std::string_view word) {
  statement.remove_prefix(std::min(statement.find_first_not_of(" \t\r\n"), statement.size()));
  return statement.size() >= word.size() &&
         strncasecmp(statement.data(), word.data(), word.size()) == 0;
}

}  // namespace vnq
