// The database that a test server stands on.
//
// VNQ_TEST_DATABASE picks it for the whole run: the embedded one ("sqlite", also when unset), a
// PostgreSQL at VNQ_TEST_POSTGRES ("postgresql", see scripts/with_postgres.sh), or the server of
// tests/tds behind FreeTDS at VNQ_TEST_TDS ("tds", see scripts/with_tds.sh).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/settings/platform_settings.h"

namespace vnq {

class TestDatabase {
 public:
  /// A new one, empty but for the schema, of the kind that the run is for; gone with the object.
  static std::unique_ptr<TestDatabase> Make();
  virtual ~TestDatabase() = default;

  /// True when the run is for the embedded database.
  static bool IsEmbedded();
  /// True when the run is for a PostgreSQL.
  static bool IsPostgres();

  /// Lines of section server_connection that name the database.
  virtual std::string Settings() const = 0;
  /// Lines of section database of platform.ini.
  virtual std::string PlatformIni() const = 0;

  /// To be called when the program's folder and the schema are there.
  virtual void Open(const std::string& folder) = 0;

  /// What another program does: a select, its rows joined by '|' with NULL as "NULL".
  virtual std::vector<std::string> Rows(const std::string& select) = 0;
  /// Statements that give no rows, separated by semicolons.
  virtual void Run(const std::string& statements) = 0;
};

}  // namespace vnq
