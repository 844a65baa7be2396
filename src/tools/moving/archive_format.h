// Archives: tables in one file that does not depend on an engine. JSON Lines, UTF-8, each line ends
// in LF; no blanks outside strings, members in this order. docs/archive.md shows one.
//
//   archive  = version { table } close
//   version  = {"vnqdata":1}
//   table    = heading { row } end
//   heading  = {"table":"Role","columns":[{"name":"ID","type":"integer"},...]}
//              {"table":...,"columns":...,"counter":17}     the growing id that was given last
//   row      = [1,"text",null]                              see archive_row.h
//   end      = {"rows":12,"crc32":"1b2c3d4e"}               of the heading and the rows
//   close    = {"tables":3,"rows":40,"crc32":"5f6a7b8c"}    of all lines in front of it
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/crc32.h"
#include "tools/moving/table_source.h"

namespace vnq {

/// What every archive begins with.
inline constexpr std::string_view kArchiveMark = R"({"vnqdata":)";

/// The longest line of one, in bytes.
inline constexpr size_t kLongestArchiveLine = size_t{1} << 30;

// The lines, without their line ends.
std::string ArchiveVersionLine();
std::string ArchiveHeading(const SourceTable& table);
std::string ArchiveEndLine(uint64_t rows, const Crc32& crc);
std::string ArchiveCloseLine(uint64_t tables, uint64_t rows, const Crc32& crc);

/// Reads a heading; `table` has no rows then. False, with what is wrong in `error`, for any other
/// line.
bool ParseArchiveHeading(std::string_view line, SourceTable& table, std::string& error);

}  // namespace vnq
