// Cursors and connections: how every command reaches the database.
//
// A statement keeps the words of its rule, with a marker where a value goes:
//
//   Sql("Select * from Users_ID where UserID='?'", fields[1])          a text: bound, never glued
//   Sql("Select * from Tab_Chat where ChatId=?", fields[2])            a number: converted first
//   Sql("Delete from LeaveFile where ToDate <=#?#", day)               a date: bound as its text
//   SqlList("Delete from Clot_Form where UpperID='?' and UserID in (?)", users, fields[2])
//
// A text that holds a single quote fails its statement, as joined text would have; a number that
// does not convert and a date that is none fail it too. The three shared cursors of the design are
// roles: each routine makes the cursor it needs, named Adodc1, Adodc2 or Adodc3 after its role, and
// owns the rows, so that nothing that runs in a yield can close or move them.
#pragma once

#include <array>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/trouble_log.h"
#include "host/values/expr.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// A statement and its values, ready to run, or failed.
class Statement {
 public:
  Statement() = default;
  Statement(std::string_view words, std::span<const Expr> values);

  /// `list` fills the `(?)` in the words.
  Statement(std::string_view words, std::span<const Expr> values,
            const std::vector<std::string>& list);

  bool ok() const { return failure_.empty(); }

  /// Why the statement failed before it could run; empty when it did not.
  const std::string& failure() const { return failure_; }

  const std::string& text() const { return shared_ ? *shared_ : own_; }
  const std::vector<SqlValue>& parameters() const { return parameters_; }

 private:
  // The text, with a bare ? per parameter: of all statements of these words, or this one's own.
  const std::string* shared_ = nullptr;
  std::string own_;
  std::vector<SqlValue> parameters_;
  std::string failure_ = "no statement";
};

/// Builds a statement: each `'?'` in `words` takes the next value as text, each bare `?` as a
/// 32-bit integer, each `#?#` as a date of the form YYYY-MM-DD. Other texts in single quotes stay
/// as they are.
///
/// Failed: when a value has failed, does not convert or holds a single quote, and when markers and
/// values are not equal in number. NULL is the empty text, and no number.
template <typename... Values>
Statement Sql(std::string_view words, const Values&... values) {
  return Statement(words, std::array<Expr, sizeof...(values)>{Expr(values)...});
}

/// `words` with one `(?)` in it, which becomes the list of values: `... where UserID in (?)`, each
/// as text. An empty list, and a value that holds a quote, fail the statement. `values` are for the
/// other markers.
template <typename... Values>
Statement SqlList(std::string_view words, const std::vector<std::string>& list,
                  const Values&... values) {
  return Statement(words, std::array<Expr, sizeof...(values)>{Expr(values)...}, list);
}

/// The process's database. Owns the one physical connection that all cursors and jobs share.
class Database {
 public:
  /// clock: for what the log says of trouble; null is the machine's. Outlives the database.
  explicit Database(std::unique_ptr<SqlDriver> driver, const Clock* clock = nullptr)
      : driver_(std::move(driver)), trouble_(clock) {}

  SqlDriver& driver() { return *driver_; }

  /// Runs a statement that gives no rows, as on a connection of its own. False: skipped.
  bool Execute(const Statement& statement);

  /// The first column of the first row: a count, a maximum. Failed when the statement failed and,
  /// without being a skip, when there is no row.
  Expr ReadValue(const Statement& statement);

  /// Commits what the statements since the last call have written, where they share a transaction.
  /// A refused commit makes each of them a skipped one. Called before anybody outside can see what
  /// followed from them.
  void EndTurn();

  /// True while EndTurn may have something to commit.
  bool OwesCommit() const { return driver_->OwesCommit(); }

  /// Says that the statements to come will write, so that a transaction that they share can be
  /// begun for it at once. Only a hint, good until EndTurn.
  void ExpectWrites() { driver_->ExpectWrites(); }

  /// Says that other programs write what this one writes, at the same time: what is counted or
  /// taken for new must hold against them. Not for the embedded database. node: whom others take
  /// for alive while its connection stands.
  void ShareWithNodes(std::string_view node);

  /// Whether no connection of the node stands. False also where it cannot be told.
  bool IsNodeGone(std::string_view node);
  bool IsShared() const { return isShared_; }

  /// Ends the connection in order, at the end of the process: the embedded database is one file
  /// again. No statement may follow.
  void Close();

  /// True while statements fail for what keeps the database from running any.
  bool IsInTrouble() const { return trouble_.Lasts(); }

  /// Makes everything written since the last call survive a power cut. False: some of it may be
  /// lost already, or will be in a power cut; that is said once until a call succeeds. Called once
  /// a second, it also has the log tell of trouble that lasts or is over.
  bool SyncCommitted();

 private:
  friend class Cursor;
  bool Query(const Statement& statement, SqlRows& rows);
  bool Describe(const Statement& statement, SqlRows& rows);
  bool Insert(const SqlRows& target, std::span<const SqlAssignment> values,
              std::span<const SqlAssignment> key = {});
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values);
  bool DeleteRow(const SqlRows& rows, size_t row);
  bool Conclude(std::string_view statement, bool done);
  void NoteUndone();

  std::unique_ptr<SqlDriver> driver_;
  TroubleLog trouble_;
  bool wroteRow_ = false;  // in this turn, so that it is known to last only at its end
  bool syncFailed_ = false;
  bool isShared_ = false;
};

/// Held by one program of those that share a database, so that what is read in it is still so when
/// it is written; waits until it is free, or as long as a statement waits for a lock. Not to yield
/// in. Where the database is not shared nobody else is there, and it costs nothing.
class SharedLock {
 public:
  enum class Kind { kAccounts = 1, kGroups = 2, kRetention = 3 };

  SharedLock(Database& database, Kind kind);
  ~SharedLock();
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;

  /// False where it could not be had.
  bool IsHeld() const { return isHeld_; }

  /// Commits what was written, and lets the next have it.
  void Release();

 private:
  Database& database_;
  const Kind kind_;
  bool isHeld_;
};

/// A row set with a current row. All rows are in memory from Open on.
///
/// A row set that did not open has no rows: RecordCount() is 0 and EndOfRows() is true. Reading a
/// column of it, AddNew, Set, Update and Delete on it fail and are skipped. Column names are
/// compared without regard to case.
class Cursor {
 public:
  explicit Cursor(Database& database) : database_(&database) {}

  /// Runs the query and stands on the first row. Whatever was open before is closed first.
  bool Open(const Statement& statement);

  /// The same for new rows alone: which rows the query has does not matter, and it may show none.
  bool OpenForNewRows(const Statement& statement);
  void Close();

  bool IsOpen() const { return open_; }
  int RecordCount() const;
  bool EndOfRows() const;
  void MoveFirst();
  void MoveNext();

  /// A column of the current row, by name or by position from 0.
  Expr operator[](std::string_view column) const;
  Expr Column(size_t position) const;

  /// Begins a new row; assigned columns go to it until Update, and what was assigned to the current
  /// row before is forgotten. Works on an open row set without rows. The new row does not join the
  /// row set.
  void AddNew();

  /// Assigns a column of the new or current row. A value that does not fit the column's type is
  /// skipped by itself; the Update behind it still runs. NULL clears the column.
  bool Set(std::string_view column, const Expr& value);

  /// Assigns a counter of the current row one more than it holds; where the database is shared, one
  /// more than it holds when it is written. A NULL stays.
  bool Increment(std::string_view column);

  /// Writes the assigned columns: an insert behind AddNew, else an update of the current row, whose
  /// values read as written from then on. Columns that were not assigned take their defaults in an
  /// insert, and keep their values in an update, which does nothing without any. Skipped or not,
  /// the assignments are used up.
  bool Update();

  /// Update for the new row of what the query did not find: where the database is shared, and
  /// another node has added a row with the same values in these columns since, nothing is added.
  bool UpdateOnce(std::initializer_list<std::string_view> key);

  /// Deletes the current row. It stays the current one until a move, but cannot be read or written
  /// any more.
  bool Delete();

 private:
  int ColumnIndex(std::string_view column) const;
  bool OnRow() const { return open_ && !deleted_ && row_ < rows_.rowCount(); }
  bool WriteRow();
  void LeaveRow();

  Database* database_;
  SqlRows rows_;
  std::vector<SqlAssignment> assigned_;
  size_t row_ = 0;
  bool open_ = false;
  bool adding_ = false;
  bool deleted_ = false;  // the current row is
};

}  // namespace vnq
