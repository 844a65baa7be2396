#include "tools/moving/access_file.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/database/schema.h"
#include "support/ascii_case.h"
#include "support/numbers.h"
#include "tools/folder/database_advice.h"

namespace vnq {
namespace {

// Beyond it the programs cut a value off without a word.
constexpr size_t kLongestValue = 199'998;

bool Start(ChildProcess& child, const ChildCommand& command, std::string& error) {
  switch (child.Start(command, error)) {
    case ChildProcess::Started::kYes:
      return true;
    case ChildProcess::Started::kNotFound:
      error = "an Access file is read by " + command.program +
              ", which is not there; the Debian package mdbtools has it";
      return false;
    case ChildProcess::Started::kError:
      break;
  }
  return false;
}

// What a program said when it failed, in one line.
bool Finish(ChildProcess& child, const ChildCommand& command, std::string& error) {
  std::string how, said;
  if (child.Finish(how, said)) return true;
  error = command.program + ": " + (said.empty() ? how : OneLine(said) + " (" + how + ")");
  return false;
}

bool IsOfTheSchema(const std::string& name) {
  return std::any_of(SchemaTables().begin(), SchemaTables().end(), [&name](const TableDef& table) {
    return AsciiLower(table.name) == AsciiLower(name);
  });
}

SourceColumn Described(const AccessColumn& column) {
  SourceColumn described{column.name, SqlColumnType::kText, ""};
  if (column.type == AccessType::kWhole || column.type == AccessType::kBoolean) {
    described.type = SqlColumnType::kInteger;
  }
  if (column.type == AccessType::kUnusable) {
    described.obstacle = "its type is " + column.typeName + ", which no column here can hold";
  }
  return described;
}

}  // namespace

std::unique_ptr<AccessFile> AccessFile::Open(const std::string& path, int codePage,
                                             std::string& error) {
  std::error_code ignored;
  const std::string absolute = std::filesystem::absolute(path, ignored).string();
  std::unique_ptr<AccessFile> file(new AccessFile(absolute, codePage));
  bool isRead = file->ReadSchema(error);
  for (size_t i = 0; isRead && i < file->tables_.size(); ++i) isRead = file->ReadAll(i, error);
  if (isRead) return file;
  error = path + ": " + error;
  return nullptr;
}

bool AccessFile::ReadSchema(std::string& error) {
  const ChildCommand command =
      Command("mdb-schema", {"--no-indexes", "--no-relations", "--no-default-values",
                             "--no-not-null", "--no-comments", path_, "access"});
  ChildProcess child;
  if (!Start(child, command, error)) return false;
  AccessSchemaReader reader;
  for (std::string line; child.ReadLine(line);) reader.Add(line);
  if (!Finish(child, command, error)) return false;
  accessTables_ = std::move(reader.tables());
  for (const AccessTable& table : accessTables_) {
    tables_.push_back({table.name, {}, 0, 0});
    for (const AccessColumn& column : table.columns) {
      tables_.back().columns.push_back(Described(column));
    }
  }
  return true;
}

// The first reading: how many rows there are, and what the dates of each column hold.
bool AccessFile::ReadAll(size_t table, std::string& error) {
  uint64_t stated = 0;
  if (!ReadStatedRows(table, stated, error)) return false;
  SourceTable& counted = tables_[table];
  counted.rows = stated;
  if (!IsOfTheSchema(counted.name)) return true;
  std::vector<AccessColumn>& columns = accessTables_[table].columns;
  uint64_t rows = 0;
  const auto note = [&](std::span<const SqlValue> cells) {
    ++rows;
    for (size_t i = 0; i < columns.size(); ++i) {
      if (cells[i].kind != SqlValue::Kind::kText) continue;
      if (columns[i].type == AccessType::kDateTime) NoteAccessDate(cells[i].text, columns[i].dates);
      if (cells[i].text.size() < kLongestValue) continue;
      findings_.push_back("table " + counted.name + ", row " + std::to_string(rows) + ", column " +
                          columns[i].name + ": a text of this length may have lost its end");
    }
    return true;
  };
  if (!Read(table, note, error)) return false;
  counted.rows = rows;
  if (rows != stated) {
    findings_.push_back("table " + counted.name + ": the file states " + std::to_string(stated) +
                        " rows, and " + std::to_string(rows) + " can be read");
  }
  return true;
}

bool AccessFile::ReadStatedRows(size_t table, uint64_t& rows, std::string& error) {
  // The programs take it for an option, whatever stands in front of it.
  if (tables_[table].name.starts_with('-')) return true;
  const ChildCommand command = Command("mdb-count", {path_, tables_[table].name});
  ChildProcess child;
  if (!Start(child, command, error)) return false;
  std::string line, rest;
  child.ReadLine(line);
  while (child.ReadLine(rest)) {
  }
  if (!Finish(child, command, error)) return false;
  rows = static_cast<uint64_t>(std::max(0.0, ParsePrefixNumber(line)));
  return true;
}

bool AccessFile::ReadRows(size_t table, const RowSink& sink, std::string& error) {
  const std::vector<AccessColumn>& columns = accessTables_[table].columns;
  std::vector<SqlValue> formed;
  const auto form = [&](std::span<const SqlValue> cells) {
    formed.assign(cells.begin(), cells.end());
    for (size_t i = 0; i < columns.size(); ++i) {
      const bool isDate = columns[i].type == AccessType::kDateTime;
      if (!isDate || formed[i].kind != SqlValue::Kind::kText) continue;
      formed[i].text = FormAccessDate(formed[i].text, columns[i].dates);
    }
    return sink(formed);
  };
  return Read(table, form, error);
}

bool AccessFile::Read(size_t table, const RowSink& sink, std::string& error) {
  const std::string format(kAccessDateFormat), &name = tables_[table].name;
  const ChildCommand command =
      Command("mdb-json", {"--date-format", format, "--datetime-format", format, path_, name});
  ChildProcess child;
  if (!Start(child, command, error)) return false;
  std::vector<SqlValue> cells;
  uint64_t row = 0;
  for (std::string line, what; child.ReadLine(line);) {
    ++row;
    if (!ParseAccessRow(line, accessTables_[table].columns, cells, what)) {
      error = "table " + name + ", row " + std::to_string(row) + ": mdb-json: " + what;
      return false;
    }
    if (!sink(cells)) return false;
  }
  if (Finish(child, command, error)) return true;
  error = "table " + name + ": " + error;
  return false;
}

ChildCommand AccessFile::Command(const std::string& program,
                                 std::vector<std::string> arguments) const {
  // Names of tables are read as UTF-8, whatever the machine's locale is.
  return {program,
          std::move(arguments),
          {{"LC_ALL", "C.UTF-8"}, {"MDB_JET3_CHARSET", "CP" + std::to_string(codePage_)}}};
}

}  // namespace vnq
