// Where an import takes its tables from.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq {

struct SourceColumn {
  std::string name;
  SqlColumnType type = SqlColumnType::kText;

  /// Why its values cannot be taken over; empty when they can.
  std::string obstacle;
};

struct SourceTable {
  std::string name;
  std::vector<SourceColumn> columns;
  uint64_t rows = 0;

  /// The last value that the table's growing id was given, where the source tells; else 0.
  int64_t counter = 0;
};

/// Takes the cells of one row, in the order of the columns. False ends the reading.
using RowSink = std::function<bool(std::span<const SqlValue> cells)>;

class TableSource {
 public:
  virtual ~TableSource() = default;

  /// All tables, in their order; every row of them has been read once to tell.
  virtual const std::vector<SourceTable>& Tables() const = 0;

  /// What makes it doubtful that the rows are all and whole, a line each.
  virtual const std::vector<std::string>& Findings() const {
    static const std::vector<std::string> none;
    return none;
  }

  /// Gives the rows of Tables()[table] to `sink`. False when they could not all be read, with the
  /// reason in `error`, and when the sink ended it, with `error` as it was.
  virtual bool ReadRows(size_t table, const RowSink& sink, std::string& error) = 0;
};

}  // namespace vnq
