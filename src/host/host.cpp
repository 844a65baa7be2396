#include "host/host.h"

#include "host/database/open_database.h"
#include "host/nodes/cluster.h"
#include "host/protection/protection.h"

namespace vnq {
namespace {

constexpr int kLogInsSaidAMinute = 600;

OutgoingSettings OutgoingOf(const ProgramFolder& folder) {
  return {folder.settings.DataBaseIp, folder.platform.stopCommand, folder.platform.startCommand,
          !folder.platform.protection.restartInBackground};
}

size_t Bytes(int megabytes) {
  return static_cast<size_t>(megabytes) * kMegabyte;
}

ConnectionLimits ConnectionLimitsOf(const LimitSettings& limits) {
  return {Bytes(limits.connectionOutputMb), Bytes(limits.outputMb), Bytes(limits.inputMb)};
}

PendingRecords::Limits RecordLimitsOf(const LimitSettings& limits) {
  return {Bytes(limits.recordMb), Bytes(limits.pendingMb)};
}

}  // namespace

Host::Host(HostParts parts)
    : loop(parts.loop),
      clock(parts.clock),
      page(parts.page),
      paths(parts.folder.strings.paths()),
      platform(parts.folder.platform),
      AppPath(parts.folder.appPath),
      settings(parts.folder.settings),
      texts(parts.folder.strings, AppPath, platform.languageId),
      database(
          OpenConfiguredDatabase(settings, platform, paths, AppPath, &parts.clock, platform.commit),
          &parts.clock),
      budget(std::make_shared<ConnectionBudget>(loop, ConnectionLimitsOf(platform.limits))),
      SckServer(loop, "6004", false, budget),
      SckServer6001(loop, "6001", true, budget),
      SckServer6002(loop, "6002", false, budget),
      SckServer6003(loop, "6003", false, budget),
      SckServer6007(loop, "6007", false, budget),
      SckServer6008(loop, "6008", false, budget),
      PendingRecord(loop, RecordLimitsOf(platform.limits)),
      PendingVisitorRecord(loop, RecordLimitsOf(platform.limits)),
      trace(loop),
      logIns(loop, "log-ins", kLogInsSaidAMinute),
      refusedLogins(loop, "log-in refused", "login_refused"),
      outgoing(parts.http, parts.commands, page, OutgoingOf(parts.folder)),
      PushQueue(loop, Bytes(platform.limits.pushMb)) {
  protection = Protection::Of(*this);
  ConnectionString = vnq::ConnectionString(settings, AppPath);
  loop.SetSettle(
      [this, &strings = parts.folder.strings] {
        database.EndTurn();
        strings.EndTurn();
      },
      [this] { return database.OwesCommit(); });
}

Host::~Host() {
  loop.SetSettle(nullptr, nullptr);
}

}  // namespace vnq
