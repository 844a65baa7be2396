// Reads archives (archive_format.h).
#pragma once

#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "tools/moving/table_source.h"

namespace vnq {

/// An archive that is whole: all of it was read when it was opened, and each row, count and
/// checksum was right.
class ArchiveReader : public TableSource {
 public:
  /// Null for a file that is no whole archive. `error` then tells what is wrong and where: table,
  /// row (from 1) and byte (from 0) at which the line begins.
  static std::unique_ptr<ArchiveReader> Open(const std::string& path, std::string& error);

  /// The same for a stream that can go back.
  static std::unique_ptr<ArchiveReader> Open(std::unique_ptr<std::istream> stream,
                                             std::string& error);

  const std::vector<SourceTable>& Tables() const override { return tables_; }

  /// Checks the table's rows once more while it gives them, since the file may have changed.
  bool ReadRows(size_t table, const RowSink& sink, std::string& error) override;

 private:
  explicit ArchiveReader(std::unique_ptr<std::istream> stream) : stream_(std::move(stream)) {}
  bool ReadAll(std::string& error);

  std::unique_ptr<std::istream> stream_;
  std::vector<SourceTable> tables_;
  std::vector<uint64_t> begins_;  // byte at which each table's heading begins
};

}  // namespace vnq
