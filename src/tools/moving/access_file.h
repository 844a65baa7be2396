// The tables of an Access file (Jet 3, Jet 4, ACE), read through the programs of the Debian package
// mdbtools.
//
// What those programs do not tell apart comes as the one of both: the empty text is NULL, a text
// ends in front of its first NUL, a lone surrogate is "???".
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/system/child_process.h"
#include "tools/moving/access_rows.h"
#include "tools/moving/table_source.h"

namespace vnq {

class AccessFile : public TableSource {
 public:
  /// codePage  of the texts in Jet 3 files, which do not tell theirs.
  ///
  /// Reads all rows of the schema's tables once; of others only how many there are. Null, with the
  /// reason in `error`, when that does not work.
  static std::unique_ptr<AccessFile> Open(const std::string& path, int codePage,
                                          std::string& error);

  const std::vector<SourceTable>& Tables() const override { return tables_; }
  bool ReadRows(size_t table, const RowSink& sink, std::string& error) override;
  const std::vector<std::string>& Findings() const override { return findings_; }

 private:
  AccessFile(std::string path, int codePage) : path_(std::move(path)), codePage_(codePage) {}

  bool ReadSchema(std::string& error);
  bool ReadAll(size_t table, std::string& error);
  bool ReadStatedRows(size_t table, uint64_t& rows, std::string& error);
  bool Read(size_t table, const RowSink& sink, std::string& error);
  ChildCommand Command(const std::string& program, std::vector<std::string> arguments) const;

  std::string path_;
  int codePage_;
  std::vector<AccessTable> accessTables_;
  std::vector<SourceTable> tables_;  // the same ones
  std::vector<std::string> findings_;
};

}  // namespace vnq
