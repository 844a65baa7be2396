// Writes archives (archive_format.h).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "support/crc32.h"
#include "tools/moving/table_source.h"

namespace vnq {

/// The path that stands for standard output.
inline constexpr std::string_view kStandardOutput = "-";

/// One archive. It grows under a name of its own beside the wanted one, `FILE.XXXXXX`, and takes
/// the wanted name when it is whole; before, and after any failure, a file of that name stays as it
/// was. Nobody but its owner can read it. Links are followed: it takes the place of what they lead
/// to. Devices, pipes and standard output are written as they are, and keep what came to them.
///
/// After a call that returned false only LastError() and the destructor are of use.
class ArchiveWriter {
 public:
  ArchiveWriter() = default;
  /// Removes what was not closed.
  ~ArchiveWriter();
  ArchiveWriter(const ArchiveWriter&) = delete;
  ArchiveWriter& operator=(const ArchiveWriter&) = delete;

  bool Open(const std::string& path);

  bool BeginTable(const SourceTable& table);
  /// The cells of the table's columns.
  bool AddRow(std::span<const SqlValue> cells);
  bool EndTable();

  /// Writes the end, waits until the disk has everything, and gives the file its name.
  bool Close();

  const std::string& LastError() const { return error_; }

 private:
  bool OpenGrowing(const std::string& path);
  bool CloseStream();
  bool AddLine(std::string& line);
  bool Flush();
  bool Fail(const std::string& what);

  std::string path_, growingPath_;
  int descriptor_ = -1;
  std::string pending_;  // lines that were not written yet
  std::string line_;
  uint64_t tables_ = 0, tableRows_ = 0, rows_ = 0;
  Crc32 tableCrc_, crc_;
  std::string error_;
};

}  // namespace vnq
