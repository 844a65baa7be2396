#include "host/host.h"

#include <spdlog/spdlog.h>

namespace vnq {
namespace {

// Stands where no driver serves the configured database: every statement fails, and so is skipped.
class NoDriver : public SqlDriver {
 public:
  explicit NoDriver(std::string why) : why_(std::move(why)) { spdlog::error("{}", why_); }

  bool Query(std::string_view, std::span<const SqlValue>, SqlRows&) override { return false; }
  bool Execute(std::string_view, std::span<const SqlValue>) override { return false; }
  bool Insert(const SqlRows&, std::span<const SqlAssignment>) override { return false; }
  bool UpdateRow(const SqlRows&, size_t, std::span<const SqlAssignment>) override { return false; }
  bool DeleteRow(const SqlRows&, size_t) override { return false; }
  bool SyncCommitted() override { return true; }
  const std::string& LastError() const override { return why_; }

 private:
  std::string why_;
};

std::unique_ptr<SqlDriver> OpenDriver(const HostParts& parts, const Settings& settings) {
  if (!settings.IsAccess()) {
    return std::make_unique<NoDriver>("DataBase.ini: DB_TYPE=" + settings.DbType +
                                      ": no driver for server databases in this build");
  }
  SqliteOptions options;
  options.path = parts.iniStrings.paths().Map(parts.AppPath + settings.DataBaseName);
  options.busyTimeoutMs = parts.platform.busyTimeoutMs;
  options.durability = parts.platform.durability;
  return OpenSqlite(std::move(options));
}

OutgoingSettings OutgoingOf(const HostParts& parts, const Settings& settings) {
  return {settings.DataBaseIp, parts.platform.stopCommand, parts.platform.startCommand};
}

}  // namespace

Host::Host(HostParts parts)
    : loop(parts.loop),
      clock(parts.clock),
      page(parts.page),
      paths(parts.iniStrings.paths()),
      platform(parts.platform),
      AppPath(parts.AppPath),
      settings(Settings::Read(parts.iniStrings, parts.AppPath)),
      texts(parts.iniStrings, parts.AppPath, parts.platform.languageId),
      database(OpenDriver(parts, settings)),
      SckServer(loop, "6004"),
      SckServer6001(loop, "6001", true),
      SckServer6002(loop, "6002"),
      SckServer6003(loop, "6003"),
      SckServer6007(loop, "6007"),
      SckServer6008(loop, "6008"),
      outgoing(parts.http, parts.commands, page, OutgoingOf(parts, settings)) {
  ConnectionString = vnq::ConnectionString(settings, AppPath);
}

}  // namespace vnq
