#include "host/database/open_database.h"

#include <utility>

#include "host/database/jet_file.h"
#include "host/database/schema.h"
#include "platform/system/event_log.h"

namespace vnq {
namespace {

// Stands where no driver serves the configured database: every statement fails, and so is skipped.
class NoDriver : public SqlDriver {
 public:
  explicit NoDriver(std::string why) : why_(std::move(why)) {
    LogError("database_unavailable", "{}", why_);
  }

  bool Query(std::string_view, std::span<const SqlValue>, SqlRows&) override { return false; }
  bool Execute(std::string_view, std::span<const SqlValue>) override { return false; }
  bool Insert(const SqlRows&, std::span<const SqlAssignment>) override { return false; }
  bool UpdateRow(SqlRows&, size_t, std::span<const SqlAssignment>) override { return false; }
  bool DeleteRow(const SqlRows&, size_t) override { return false; }
  bool SyncCommitted() override { return true; }
  const std::string& LastError() const override { return why_; }

 private:
  std::string why_;
};

std::unique_ptr<SqlDriver> OpenServerDatabase(const Settings& settings,
                                              const PlatformSettings& platform, const Clock* clock,
                                              SqlCommit commit) {
  ServerDatabaseOptions options;
  options.host = settings.DB_SERVER;
  options.port = settings.DB_PORT;
  options.database = settings.DB_NAME;
  options.user = settings.DB_USER;
  options.password = settings.DB_PWD;
  options.odbcDriver = platform.databaseDriver;
  options.exactColumns = ExactTextColumns();
  options.connectTimeoutS = platform.connectTimeoutS;
  options.statementTimeoutS = platform.statementTimeoutS;
  options.socketFolder = platform.databaseSocket;
  options.busyTimeoutMs = platform.busyTimeoutMs;
  options.durability = platform.durability;
  options.commit = commit;
  options.clock = clock;
  const bool native = EngineOf(settings, platform) == DatabaseEngine::kPostgres;
  return native ? OpenPostgres(std::move(options)) : OpenOdbc(std::move(options));
}

}  // namespace

std::unique_ptr<SqlDriver> OpenConfiguredDatabase(const Settings& settings,
                                                  const PlatformSettings& platform,
                                                  const PathMapper& paths,
                                                  const std::string& AppPath, const Clock* clock,
                                                  SqlCommit commit) {
  if (!settings.IsAccess()) return OpenServerDatabase(settings, platform, clock, commit);
  SqliteOptions options;
  options.path = paths.Map(AppPath + settings.DataBaseName);
  if (IsJetFile(options.path)) {
    return std::make_unique<NoDriver>(JetFileAdvice(options.path, paths, AppPath));
  }
  options.busyTimeoutMs = platform.busyTimeoutMs;
  options.durability = platform.durability;
  options.commit = commit;
  options.clock = clock;
  return OpenSqlite(std::move(options));
}

}  // namespace vnq
