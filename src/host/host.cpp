#include "host/host.h"

#include "host/database/open_database.h"
#include "host/protection/protection.h"

namespace vnq {
namespace {

OutgoingSettings OutgoingOf(const ProgramFolder& folder) {
  return {folder.settings.DataBaseIp, folder.platform.stopCommand, folder.platform.startCommand,
          !folder.platform.protection.restartInBackground};
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
      SckServer(loop, "6004"),
      SckServer6001(loop, "6001", true),
      SckServer6002(loop, "6002"),
      SckServer6003(loop, "6003"),
      SckServer6007(loop, "6007"),
      SckServer6008(loop, "6008"),
      outgoing(parts.http, parts.commands, page, OutgoingOf(parts.folder)) {
  protection = Protection::Of(*this);
  ConnectionString = vnq::ConnectionString(settings, AppPath);
  loop.SetSettle([this, &strings = parts.folder.strings] {
    database.EndTurn();
    strings.EndTurn();
  });
}

Host::~Host() {
  loop.SetSettle(nullptr);
}

}  // namespace vnq
