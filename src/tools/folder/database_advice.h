// How an operator is told which database is meant, and what to do when it does not let the tool in.
#pragma once

#include <string>
#include <string_view>

#include "host/database/database_engine.h"
#include "host/settings/settings.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// Why a database server cannot be used and what to do; empty when it answers a statement. `ini` is
/// the path of DataBase.ini.
std::string ServerFault(SqlDriver& driver, const Settings& settings, DatabaseEngine engine,
                        const std::string& ini);

/// What is wrong with the encoding of an open database: a PostgreSQL of another one than UTF8
/// refuses texts. Empty when nothing is.
std::string EncodingFinding(SqlDriver& driver, DatabaseEngine engine);

/// Several lines, as drivers report, as one.
std::string OneLine(std::string_view text);

}  // namespace vnq
