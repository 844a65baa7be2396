// The archive reader and the reader of mdb-json's lines on arbitrary bytes.
//
// Besides crashes it looks for broken promises: an archive that was taken for whole gives all the
// rows that it tells, and each row that was read is written as a line that reads back as the same.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "tools/moving/access_rows.h"
#include "tools/moving/archive_reader.h"
#include "tools/moving/archive_row.h"

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

void CheckRow(std::span<const vnq::SqlValue> cells) {
  std::string line, error;
  vnq::AppendArchiveRow(cells, line);
  Require(line.find('\n') == std::string::npos);
  std::vector<vnq::SqlValue> again;
  Require(vnq::ParseArchiveRow(line, again, error));
  Require(again.size() == cells.size());
  for (size_t i = 0; i < cells.size(); ++i) {
    Require(again[i].kind == cells[i].kind && again[i].integer == cells[i].integer &&
            again[i].text == cells[i].text);
  }
}

void CheckArchive(const std::string& bytes) {
  std::string error;
  auto reader = vnq::ArchiveReader::Open(std::make_unique<std::istringstream>(bytes), error);
  Require((reader == nullptr) == !error.empty());
  if (!reader) return;
  for (size_t i = 0; i < reader->Tables().size(); ++i) {
    uint64_t rows = 0;
    const auto count = [&rows](std::span<const vnq::SqlValue> cells) {
      CheckRow(cells);
      return ++rows > 0;
    };
    Require(reader->ReadRows(i, count, error) && rows == reader->Tables()[i].rows);
  }
}

// The bytes as they stand are a text that an archive must keep.
void CheckText(const std::string& bytes) {
  const vnq::SqlValue cell = vnq::SqlValue::Text(bytes);
  CheckRow({&cell, 1});
}

void CheckLines(const std::string& bytes) {
  const std::vector<vnq::AccessColumn> columns = {
      {"a", "Text", vnq::AccessType::kText, {}},
      {"b", "Double", vnq::AccessType::kFloat, {}},
      {"c", "Currency", vnq::AccessType::kExact, {}},
      {"d", "Replication ID", vnq::AccessType::kGuid, {}},
  };
  vnq::AccessSchemaReader schema;
  std::istringstream lines(bytes);
  for (std::string line, error; std::getline(lines, line);) {
    schema.Add(line);
    std::vector<vnq::SqlValue> cells;
    if (vnq::ParseAccessRow(line, columns, cells, error)) CheckRow(cells);
    if (vnq::ParseArchiveRow(line, cells, error)) CheckRow(cells);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  CheckArchive(bytes);
  CheckText(bytes);
  CheckLines(bytes);
  return 0;
}
