// Private to platform: what a select gave last, for as long as it must give the same again.
//
// Within one transaction no other program's write can be seen, so a select with the same values
// gives the same rows until this connection writes to a table that it reads. A walk over the
// members of a group runs one select for each of them again, and a writer of many messages is
// looked up for each.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq {

/// What this connection has written to a table.
struct SqliteTableWrites {
  std::string table;
  uint64_t statements = 0;
  uint64_t rowsAdded = 0;  ///< by those of them that added one row and did nothing else
};

/// What a statement touches, as the engine tells while it prepares it.
struct SqliteTouched {
  std::vector<const SqliteTableWrites*> reads;
  std::vector<SqliteTableWrites*> writes;
  bool isKnown = true;  ///< false: something else too, or what gives another result each time

  /// A number that grows with each write to what is read.
  uint64_t WritesToRead() const;

  /// Notes that the statement ran. addsRow: it is an insert of one row, and was done.
  void NoteRun(bool addsRow) const;
};

/// Listens while statements are prepared. One for a connection, for as long as that is open.
class SqliteTouchWatch {
 public:
  explicit SqliteTouchWatch(sqlite3* database);
  SqliteTouchWatch(const SqliteTouchWatch&) = delete;
  SqliteTouchWatch& operator=(const SqliteTouchWatch&) = delete;

  /// What is prepared from now on is noted there; null: nowhere.
  void NoteIn(SqliteTouched* touched) { touched_ = touched; }

 private:
  static int Note(void* self, int action, const char* first, const char* second, const char*,
                  const char*);
  SqliteTableWrites& WritesTo(const char* table);

  std::map<std::string, SqliteTableWrites> writes_;  // by table
  SqliteTouched* touched_ = nullptr;
};

/// The last result of one select.
class SqliteMemo {
 public:
  /// countsRows: the select gives the number of all rows of one table, and nothing else. Such a
  /// number is carried on over the rows that this connection adds.
  explicit SqliteMemo(bool countsRows = false) : countsRows_(countsRows) {}

  /// Gives the rows for these values in this turn. False when they are not known.
  bool Find(uint64_t turn, const SqliteTouched& touched, std::span<const SqlValue> values,
            SqlRows& rows);

  /// Takes a result. It is kept when the run before had the same values in the same turn: most
  /// selects are not repeated, and a copy costs too.
  void Note(uint64_t turn, const SqliteTouched& touched, std::span<const SqlValue> values,
            const SqlRows& rows);

 private:
  static constexpr size_t kMostCells = 200;
  static constexpr size_t kMostTextBytes = 4096;

  bool CarryOn(const SqliteTouched& touched);

  bool countsRows_;
  uint64_t turn_ = 0, writes_ = 0, rowsAdded_ = 0;
  size_t hash_ = 0;
  bool isKept_ = false;
  std::vector<SqlValue> values_;
  SqlRows rows_;
};

}  // namespace vnq
