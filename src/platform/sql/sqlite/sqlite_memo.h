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

/// What a statement touches, as the engine tells while it prepares it.
struct SqliteTouched {
  std::vector<const uint64_t*> reads;  ///< counts of the tables' writes
  std::vector<uint64_t*> writes;
  bool isKnown = true;  ///< false: something else too, or what gives another result each time

  /// A number that grows with each write to what is read.
  uint64_t WritesToRead() const;
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
  uint64_t& WritesTo(const char* table) { return writes_[table ? table : ""]; }

  std::map<std::string, uint64_t> writes_;  // by table
  SqliteTouched* touched_ = nullptr;
};

/// The last result of one select.
class SqliteMemo {
 public:
  /// The rows for these values in this turn; null when they are not known.
  const SqlRows* Find(uint64_t turn, const SqliteTouched& touched,
                      std::span<const SqlValue> values) const;

  /// Takes a result. It is kept when the run before had the same values in the same turn: most
  /// selects are not repeated, and a copy costs too.
  void Note(uint64_t turn, const SqliteTouched& touched, std::span<const SqlValue> values,
            const SqlRows& rows);

 private:
  static constexpr size_t kMostCells = 200;
  static constexpr size_t kMostTextBytes = 4096;

  uint64_t turn_ = 0, writes_ = 0;
  size_t hash_ = 0;
  bool isKept_ = false;
  std::vector<SqlValue> values_;
  SqlRows rows_;
};

}  // namespace vnq
