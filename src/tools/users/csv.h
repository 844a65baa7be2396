// Comma-separated values, RFC 4180, read so that one bad record does not take the others with it.
//
//   file   = { record line-end }          line-end = LF or CR LF
//   record = cell { separator cell }      separator = "," or, as told, ";" or a tab
//   cell   = text without '"' in front | '"' text with '""' for '"' '"'
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

struct CsvRecord {
  size_t line = 0;  ///< where it begins, from 1
  std::vector<std::string> cells;
  std::string error;  ///< why it cannot be read; the cells are then of no use
};

/// All records of a text. Empty lines are none; a byte order mark in front is dropped. A record
/// whose quote is never closed is bad, and reading goes on with the line behind the one it began
/// in.
std::vector<CsvRecord> ReadCsv(std::string_view text, char separator = ',');

}  // namespace vnq
