// Private to platform: what the selects of one turn gave, for those that are asked again within it.
//
// A log's rows are counted, and a writer of many messages is looked up, for each message anew; an
// answer from the server costs more than all else that a message needs. What is given from here is
// never older than kLongestMs, as if the select had come so much sooner, and never from before a
// row that this connection has written to a table that it reads.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq {

class PostgresMemo {
 public:
  /// Gives the rows of the same select with the same values, when they are known.
  bool Find(std::string_view statement, std::span<const SqlValue> values, int64_t nowMs,
            SqlRows& rows) const;

  /// Takes what a select gave, unless it is large or may give something else each time.
  void Note(std::string_view statement, std::span<const SqlValue> values, int64_t nowMs,
            const SqlRows& rows);

  /// A row waits to be added to the table, as that is named in SqlRows.
  void NoteWaiting(std::string_view table);

  /// The same of a row that may turn out not to be added.
  void NoteMaybeWaiting(std::string_view table);

  /// All rows that have waited were added: numbers of rows are carried on over them.
  void NoteAdded();

  /// Forgets everything: a turn has ended, or something else was written.
  void Forget() { read_.clear(); }

  static constexpr int64_t kLongestMs = 3;

 private:
  struct Read {
    std::string words;  // in lower case
    std::vector<SqlValue> values;
    SqlRows rows;
    int64_t readMs = 0;
    int64_t waiting = 0;  // rows of the table that is counted
  };

  static constexpr size_t kMostCells = 200;
  static constexpr size_t kMostTextBytes = 4096;
  static constexpr size_t kMostKept = 64;

  std::map<std::string, Read, std::less<>> read_;  // by statement
};

}  // namespace vnq
