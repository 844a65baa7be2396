// Private to platform: what a reply of the server means for what comes next.
#pragma once

#include <string_view>

#include "platform/sql/postgres/postgres_connection.h"
#include "platform/sql/postgres/postgres_statements.h"

namespace vnq {

// 55P03: as long as lock_timeout says; 57014: as long as statement_timeout does, or by somebody's
// request.
inline constexpr std::string_view kPostgresLockNotHad = "55P03";
inline constexpr std::string_view kPostgresGivenUp = "57014";

/// What the refusal of a statement comes of.
SqlTrouble PostgresTroubleOf(const PostgresReply& reply);

/// True when what was prepared is out of date: the server does not know it any more, its columns
/// have changed, or the table under the name is another one now. None of it was run, or only read.
bool IsOutOfDate(const PostgresReply& reply, const PostgresStatement& prepared);

bool MayHaveWritten(const PostgresReply& reply);

/// True for a statement that begins with a word, in any letter case.
bool StartsWithWord(std::string_view statement, std::string_view word);

}  // namespace vnq
