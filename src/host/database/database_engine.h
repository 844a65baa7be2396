// Which kind of database a deployment's settings name.
#pragma once

#include <string_view>

namespace vnq {

struct PlatformSettings;
struct Settings;

enum class DatabaseEngine {
  kSqlite,     ///< the embedded database, a file
  kPostgres,   ///< a PostgreSQL server
  kSqlServer,  ///< a server behind an ODBC driver, spoken to in Transact-SQL
};

/// The engine that DB_TYPE of DataBase.ini and [database] driver of platform.ini choose.
DatabaseEngine EngineOf(const Settings& settings, const PlatformSettings& platform);

/// The engine's name as people write it.
std::string_view EngineName(DatabaseEngine engine);

}  // namespace vnq
