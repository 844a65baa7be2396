#include "host/database/database_engine.h"

#include "host/settings/platform_settings.h"
#include "host/settings/settings.h"

namespace vnq {

DatabaseEngine EngineOf(const Settings& settings, const PlatformSettings& platform) {
  if (settings.IsAccess()) return DatabaseEngine::kSqlite;
  return platform.databaseDriver == "postgresql" ? DatabaseEngine::kPostgres
                                                 : DatabaseEngine::kSqlServer;
}

std::string_view EngineName(DatabaseEngine engine) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return "SQLite";
    case DatabaseEngine::kPostgres:
      return "PostgreSQL";
    case DatabaseEngine::kSqlServer:
      return "SQL Server";
  }
  return "";
}

}  // namespace vnq
