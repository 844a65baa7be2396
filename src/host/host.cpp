#include "host/host.h"

#include "host/database/open_database.h"

namespace vnq {
namespace {

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
      database(OpenConfiguredDatabase(settings, parts.platform, paths, parts.AppPath, &parts.clock,
                                      parts.platform.commit),
               &parts.clock),
      SckServer(loop, "6004"),
      SckServer6001(loop, "6001", true),
      SckServer6002(loop, "6002"),
      SckServer6003(loop, "6003"),
      SckServer6007(loop, "6007"),
      SckServer6008(loop, "6008"),
      outgoing(parts.http, parts.commands, page, OutgoingOf(parts, settings)) {
  ConnectionString = vnq::ConnectionString(settings, AppPath);
  loop.SetSettle([this, &strings = parts.iniStrings] {
    database.EndTurn();
    strings.EndTurn();
  });
}

Host::~Host() {
  loop.SetSettle(nullptr);
}

}  // namespace vnq
