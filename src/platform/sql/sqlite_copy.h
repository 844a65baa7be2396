// Whole SQLite databases, copied while programs work on them.
#pragma once

#include <string>

namespace vnq {

/// Copies the database `from` over the database `to`, which is made where it is not there, as it is
/// at one moment. Programs that have either open see it change between two of their statements;
/// while one of them writes it is waited for, at most busyTimeoutMs. False, with the reason in
/// `error`: `to` is as it was, or, where it was not there, may be empty.
bool CopySqliteDatabase(const std::string& from, const std::string& to, int busyTimeoutMs,
                        std::string& error);

/// Reads all of a database and tells what is damaged, in `error`. True: nothing is.
bool CheckSqliteDatabase(const std::string& path, std::string& error);

}  // namespace vnq
