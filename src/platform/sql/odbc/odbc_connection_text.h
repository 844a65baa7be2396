// Private to platform: what an ODBC driver is told to connect to a server.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/sql/sql_driver.h"

namespace vnq {

/// An installed ODBC driver.
struct OdbcDriverInfo {
  std::string name;        ///< as odbcinst.ini writes it, or the path of the library
  bool isFreeTds = false;  ///< else it is taken for the maker's own
};

/// The connection text for a SQL Server database. Holds the password: not for a log. False, with
/// the reason in `error`, when a value has characters that the driver has no way to be told.
bool OdbcConnectionText(const ServerDatabaseOptions& options, const OdbcDriverInfo& driver,
                        std::string& text, std::string& error);

/// The installed driver of that name, without regard to ASCII case; the path of a driver's library
/// is taken as it stands. `environment` is the ODBC environment's handle.
std::optional<OdbcDriverInfo> FindOdbcDriver(void* environment, std::string_view name);

}  // namespace vnq
