// The database that a deployment's settings name.
#pragma once

#include <memory>
#include <string>

#include "host/database/database_engine.h"
#include "host/settings/platform_settings.h"
#include "host/settings/settings.h"
#include "platform/sql/sql_driver.h"
#include "platform/system/paths.h"

namespace vnq {

class Clock;

/// Opens it; EngineOf tells of which kind it is. Never null: a database that cannot be served fails
/// every statement, and says why in LastError(). `clock` is for its back-off and outlives it; null
/// is the machine's. With SqlCommit::kTurn the caller ends each turn (Database::EndTurn).
std::unique_ptr<SqlDriver> OpenConfiguredDatabase(const Settings& settings,
                                                  const PlatformSettings& platform,
                                                  const PathMapper& paths,
                                                  const std::string& AppPath,
                                                  const Clock* clock = nullptr,
                                                  SqlCommit commit = SqlCommit::kStatement);

}  // namespace vnq
