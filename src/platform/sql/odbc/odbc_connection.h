// Private to platform: one connection to a database behind an ODBC driver, and what is known there.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/odbc/odbc_statement.h"
#include "platform/sql/odbc/odbc_table.h"
#include "platform/sql/recent_cache.h"
#include "platform/sql/sql_dialect.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// What becomes of a statement's text.
enum class OdbcUse {
  kRows,     ///< translated; rows of one table get their key as further columns
  kCommand,  ///< translated
  kOwn,      ///< the driver's own: in the engine's dialect already
};

class OdbcConnection {
 public:
  /// Connects as the options say. Null on failure, with the reason in `error`.
  static std::unique_ptr<OdbcConnection> Open(const ServerDatabaseOptions& options,
                                              OdbcError& error);
  ~OdbcConnection();

  OdbcConnection(const OdbcConnection&) = delete;
  OdbcConnection& operator=(const OdbcConnection&) = delete;

  /// Runs a select of the written dialect and reads all rows.
  bool Query(std::string_view statement, std::span<const SqlValue> values, SqlRows& rows,
             OdbcError& error);

  /// Runs a statement of the written dialect.
  bool Execute(std::string_view statement, std::span<const SqlValue> values, OdbcError& error);

  /// Runs an insert, update or delete of the engine's dialect; `changed`: rows that it met.
  bool Change(std::string_view statement, std::span<const SqlValue> values, SQLLEN& changed,
              OdbcError& error);

  /// What is known of a table, read at first use. Null when there is no such table, and on failure;
  /// owned by the connection.
  const OdbcTable* Table(const std::string& name, OdbcError& error);

  /// True when the driver has noticed that the connection is gone. Sends nothing.
  bool IsDead() const;

  static constexpr size_t kStatements = 512;
  static constexpr size_t kLongestKept = 4096;  ///< bytes; a longer text is prepared at each use

 private:
  // A select and how its rows are found again.
  struct Prepared {
    std::unique_ptr<OdbcStatement> statement;
    std::string table;            // empty: the rows are for reading only
    size_t keyColumns = 0;        // that were added at the end of the select
    bool showsRowColumn = false;  // its text names kSqlRowColumn
    TranslatedSql plain;          // the select without them, until the longer one has run
    std::shared_ptr<const std::vector<SqlColumn>> columns;  // of the last run
    bool ofTable = false;                                   // they are all columns of the table
    bool failed = false;  // then it is made anew: FreeTDS runs none again whose first run failed
  };

  OdbcConnection() = default;
  bool MakeHandles();
  void TakeTimeouts(const ServerDatabaseOptions& options, bool isFreeTds);
  bool Connect(const ServerDatabaseOptions& options, OdbcError& error);
  Prepared* Find(OdbcUse use, std::string_view statement, std::span<const SqlValue> values,
                 OdbcError& error);
  bool RunPrepared(Prepared& prepared, std::span<const SqlValue> values, OdbcError& error);
  bool Make(OdbcUse use, std::string_view statement, std::span<const SqlValue> values,
            Prepared& made, OdbcError& error);
  bool Identify(const TranslatedSql& select, std::string& text, Prepared& made, OdbcError& error);
  bool RunSelect(Prepared& prepared, std::span<const SqlValue> values, OdbcError& error);
  static bool IsHidden(const Prepared& prepared, const OdbcColumn& column);
  bool Describe(Prepared& prepared, const std::vector<OdbcColumn>& all);
  bool MatchTable(Prepared& prepared, OdbcError& error);
  bool ReadRows(Prepared& prepared, SqlRows& rows, OdbcError& error);
  std::unique_ptr<OdbcStatement> Prepare(std::string_view text, std::span<const SqlValue> values,
                                         std::vector<size_t> order, OdbcError& error);

  OdbcHandle environment_;
  OdbcHandle handle_;
  bool connected_ = false;
  int statementTimeoutS_ = 0;
  std::vector<std::string> exactColumns_;
  OdbcParameters parameters_;
  RecentCache<Prepared> statements_{kStatements};
  Prepared unkept_;
  std::map<std::string, OdbcTable, std::less<>> tables_;
};

}  // namespace vnq
