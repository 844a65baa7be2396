// Private to platform: ODBC's handles and errors, and one statement with its parameters and rows.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq {

/// An ODBC handle and the duty to free it.
class OdbcHandle {
 public:
  OdbcHandle() = default;
  OdbcHandle(OdbcHandle&& other) noexcept;
  OdbcHandle& operator=(OdbcHandle&& other) noexcept;
  ~OdbcHandle() { Free(); }

  /// A handle that is not ok() when the driver manager gives none.
  static OdbcHandle Make(SQLSMALLINT type, SQLHANDLE parent);

  SQLHANDLE get() const { return handle_; }
  SQLSMALLINT type() const { return type_; }
  bool ok() const { return handle_ != nullptr; }

 private:
  void Free();

  SQLSMALLINT type_ = 0;
  SQLHANDLE handle_ = nullptr;
};

/// Why a call failed.
struct OdbcError {
  std::string state;  ///< SQLSTATE; empty for what the driver manager was not asked
  std::string text;   ///< the driver's own words, all records of them
  SqlTrouble trouble = SqlTrouble::kNone;

  bool IsTimeOut() const { return state.starts_with("HYT"); }
  /// True when the connection cannot be trusted any more.
  bool IsLost() const { return IsTimeOut() || state.starts_with("08"); }

  bool IsUnknownTable() const { return state == "42S02"; }

  /// SQLSTATE and text, for the log.
  std::string Describe() const;
};

/// What the driver says of the last call on the handle.
OdbcError ReadOdbcError(const OdbcHandle& handle);

/// True for a call that did what it was to do.
inline bool OdbcSucceeded(SQLRETURN code) {
  return code == SQL_SUCCESS || code == SQL_SUCCESS_WITH_INFO;
}

/// Places where statements find their parameters. A statement is bound to them once and then only
/// their contents change: a new binding would have the server prepare it again. As one statement
/// runs at a time, all of a connection share them.
class OdbcParameters {
 public:
  /// The longest text that is bound as one of bounded length, in 16-bit units.
  static constexpr size_t kLongestBounded = 4000;

  /// What decides how values are bound, a letter each: statements are prepared for one such text.
  static std::string Kinds(std::span<const SqlValue> values);

  /// Binds marker `number` (from 1) to the place of parameter `index`. A long text is bound by
  /// Put only.
  bool Bind(SQLHSTMT statement, size_t number, size_t index, char kind);

  /// Puts the value in its place.
  void Put(size_t index, const SqlValue& value);

 private:
  struct Place {
    SQLLEN length = 0;
    int64_t integer = 0;
    std::array<char16_t, kLongestBounded> text;
    std::u16string longText;
  };

  Place& PlaceOf(size_t index);

  std::deque<Place> places_;  // a place does not move
};

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
                                                std::string_view text, std::string kinds,
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
  std::string kinds_;
  std::vector<size_t> order_;
  std::u16string direct_;  // what to run when it is not prepared
};

/// A number as the driver manager's functions for attributes take it.
inline SQLPOINTER OdbcNumber(intptr_t value) {
  return reinterpret_cast<SQLPOINTER>(value);  // NOLINT(performance-no-int-to-ptr): no other way
}

/// For the driver manager's functions that take 16-bit text.
inline SQLWCHAR* OdbcText(const std::u16string& text) {
  return reinterpret_cast<SQLWCHAR*>(const_cast<char16_t*>(text.data()));
}

}  // namespace vnq
