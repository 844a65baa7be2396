// Private to platform: one ODBC statement, with the reading of its rows.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/odbc/odbc_handle.h"
#include "platform/sql/odbc/odbc_parameters.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// What a column of a result or of a table is to the driver.
struct OdbcColumn {
  SqlColumn column;
  enum class Kind { kInteger, kText, kOther } kind = Kind::kOther;
};

/// One statement, ready to run any number of times.
class OdbcStatement {
 public:
  /// Prepares `text` for values of the given kinds; order[i] is the parameter of marker i. A
  /// statement without markers is not prepared: only so may it begin or end a transaction.
  static std::unique_ptr<OdbcStatement> Prepare(SQLHDBC connection, OdbcParameters& parameters,
                                                std::string_view text, OdbcValueKinds kinds,
                                                std::vector<size_t> order, int timeoutS,
                                                OdbcError& error);

  /// Runs it to the point where its rows can be read. After a failure nothing of it is open.
  bool Run(std::span<const SqlValue> values, OdbcError& error);

  /// Asks for a table's primary key, or for the columns that find its rows best, in place of a run.
  /// Column kKeyName or kRowIdName (from 0) of each row is the name of a column.
  bool RunPrimaryKeys(std::string_view table, OdbcError& error);
  bool RunBestRowId(std::string_view table, OdbcError& error);
  static constexpr size_t kKeyName = 3, kRowIdName = 1;

  /// The columns of the result that is open.
  std::vector<OdbcColumn> Columns();

  enum class Step { kRow, kEnd, kFailed };

  /// Steps to the next row.
  Step Fetch(OdbcError& error);

  /// The value of a column (from 0) of the current row; columns are read from left to right.
  bool Read(size_t column, OdbcColumn::Kind kind, SqlValue& value, OdbcError& error);

  /// Rows that the last run changed.
  SQLLEN RowCount() const;

  /// Goes through all further results, so that none of their errors is missed, and closes.
  bool Finish(OdbcError& error);

  /// Closes the result, whatever is left of it.
  void Close() { SQLFreeStmt(handle_.get(), SQL_CLOSE); }

 private:
  OdbcStatement(OdbcHandle handle, OdbcParameters& parameters)
      : handle_(std::move(handle)), parameters_(parameters) {}

  SQLHSTMT handle() const { return handle_.get(); }
  bool Began(SQLRETURN code, OdbcError& error);

  bool BindAll(bool longTextsOnly);
  bool Fail(OdbcError& error);
  OdbcColumn ColumnAt(SQLUSMALLINT number);
  bool ReadText(SQLUSMALLINT number, SqlValue& value, OdbcError& error);

  OdbcHandle handle_;
  OdbcParameters& parameters_;
  OdbcValueKinds kinds_;
  std::vector<size_t> order_;
  std::u16string direct_;  // what to run when it is not prepared
};

}  // namespace vnq
