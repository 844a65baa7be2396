// How an operator is told which database is meant, and what to do when it does not let the tool in.
#pragma once

#include <string>
#include <string_view>

#include "host/database_engine.h"
#include "host/settings.h"
#include "platform/sql_driver.h"

namespace vnq {

/// The settings that name a database server, as they stand in DataBase.ini, without the password:
/// "[server_connection] DB_SERVER=db1 DB_PORT=5432 DB_NAME=vnq DB_USER=im".
std::string ServerAddress(const Settings& settings);

/// The first setting without which no server can be reached, as a finding; empty when all are
/// there.
std::string MissingServerSetting(const Settings& settings);

/// What to do after a failed connect that the driver described as `driverError`.
std::string ConnectAdvice(const Settings& settings, DatabaseEngine engine,
                          std::string_view driverError);

/// What is wrong with the encoding of an open database: a PostgreSQL of another one than UTF8
/// refuses texts. Empty when nothing is.
std::string EncodingFinding(SqlDriver& driver, DatabaseEngine engine);

/// Several lines, as drivers report, as one.
std::string OneLine(std::string_view text);

}  // namespace vnq
