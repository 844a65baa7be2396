#include "tools/moving/archive_reader.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <utility>

#include "support/ascii_case.h"
#include "tools/moving/archive_format.h"
#include "tools/moving/archive_row.h"

namespace vnq {
namespace {

constexpr size_t kBlockBytes = 256 * 1024;

// The lines of a stream, read in blocks.
class Lines {
 public:
  Lines(std::istream& stream, uint64_t begin) : stream_(stream), next_(begin) {
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(begin));
  }

  // The next line with its line end. False at the end, and for a line without an end or one that is
  // too long.
  bool Read() {
    line_.clear();
    begin_ = next_;
    while (true) {
      const std::string_view rest = std::string_view(block_).substr(at_);
      const size_t end = rest.find('\n');
      line_ += rest.substr(0, end == std::string_view::npos ? rest.size() : end + 1);
      at_ += end == std::string_view::npos ? rest.size() : end + 1;
      if (end != std::string_view::npos) break;
      if (line_.size() > kLongestArchiveLine || !ReadBlock()) return false;
    }
    next_ += line_.size();
    return true;
  }

  /// The line that was read last.
  const std::string& line() const { return line_; }
  std::string_view text() const { return std::string_view(line_).substr(0, line_.size() - 1); }
  uint64_t begin() const { return begin_; }

 private:
  bool ReadBlock() {
    block_.resize(kBlockBytes);
    stream_.read(block_.data(), static_cast<std::streamsize>(block_.size()));
    block_.resize(static_cast<size_t>(stream_.gcount()));
    at_ = 0;
    return !block_.empty();
  }

  std::istream& stream_;
  std::string block_, line_;
  size_t at_ = 0;  // in block_
  uint64_t begin_ = 0, next_;
};

// Reads an archive or one table of it, and checks every line.
class Walk {
 public:
  Walk(std::istream& stream, uint64_t begin, std::string& error)
      : lines_(stream, begin), error_(error) {}

  bool ReadVersion() {
    if (!lines_.Read() || !lines_.text().starts_with(kArchiveMark)) {
      error_ = "no archive: it does not begin with " + std::string(kArchiveMark);
      return false;
    }
    crc_.Add(lines_.line());
    if (lines_.text() == ArchiveVersionLine()) return true;
    error_ = "an archive of another version: its first line is not " + ArchiveVersionLine();
    return false;
  }

  // Reads the next heading; `isClose` and no heading when the archive ends as it should.
  bool ReadHeading(SourceTable& table, bool& isClose) {
    place_.clear();
    if (!lines_.Read()) return Broken();
    isClose = lines_.text().starts_with(R"({"tables":)");
    if (isClose) return ReadClose();
    std::string what;
    if (!ParseArchiveHeading(lines_.text(), table, what)) return Fail(what);
    tableCrc_ = Crc32();
    Count();
    return true;
  }

  bool ReadRows(SourceTable& table, const RowSink& sink) {
    while (true) {
      place_ = "table " + table.name + ", row " + std::to_string(table.rows + 1) + ", ";
      if (!lines_.Read()) return Broken();
      if (!lines_.text().starts_with('[')) return ReadEnd(table);
      std::string what;
      if (!ParseArchiveRow(lines_.text(), cells_, what)) return Fail(what);
      if (cells_.size() != table.columns.size())
        return Fail("another number of cells than columns");
      Count();
      ++table.rows;
      if (!sink(cells_)) return false;
    }
  }

  uint64_t lineBegin() const { return lines_.begin(); }

 private:
  bool ReadEnd(const SourceTable& table) {
    if (!Agrees(ArchiveEndLine(table.rows, tableCrc_))) return false;
    crc_.Add(lines_.line());
    ++tables_;
    rows_ += table.rows;
    return true;
  }

  bool ReadClose() {
    if (!Agrees(ArchiveCloseLine(tables_, rows_, crc_))) return false;
    return !lines_.Read() && lines_.line().empty() ? true : Fail("text behind the end");
  }

  bool Agrees(const std::string& expected) {
    if (lines_.text() == expected) return true;
    constexpr size_t kShown = 80;
    return Fail("damaged: " + expected + " is expected here, not " +
                std::string(lines_.text().substr(0, kShown)));
  }

  bool Broken() {
    if (lines_.line().size() > kLongestArchiveLine) return Fail("a line that is too long");
    return Fail("the archive breaks off");
  }

  bool Fail(const std::string& what) {
    error_ = place_ + "byte " + std::to_string(lines_.begin()) + ": " + what;
    return false;
  }

  void Count() {
    tableCrc_.Add(lines_.line());
    crc_.Add(lines_.line());
  }

  Lines lines_;
  std::string& error_;
  std::string place_;  // where the walk is, for messages
  std::vector<SqlValue> cells_;
  Crc32 tableCrc_, crc_;
  uint64_t tables_ = 0, rows_ = 0;
};

}  // namespace

std::unique_ptr<ArchiveReader> ArchiveReader::Open(const std::string& path, std::string& error) {
  auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
  if (!*file) {
    error = path + ": " + strerror(errno);
    return nullptr;
  }
  auto reader = Open(std::move(file), error);
  if (!reader) error = path + ": " + error;
  return reader;
}

std::unique_ptr<ArchiveReader> ArchiveReader::Open(std::unique_ptr<std::istream> stream,
                                                   std::string& error) {
  std::unique_ptr<ArchiveReader> reader(new ArchiveReader(std::move(stream)));
  return reader->ReadAll(error) ? std::move(reader) : nullptr;
}

bool ArchiveReader::ReadAll(std::string& error) {
  Walk walk(*stream_, 0, error);
  if (!walk.ReadVersion()) return false;
  std::set<std::string> names;
  while (true) {
    SourceTable table;
    bool isClose = false;
    if (!walk.ReadHeading(table, isClose)) return false;
    if (isClose) return true;
    begins_.push_back(walk.lineBegin());
    if (!names.insert(AsciiLower(table.name)).second) {
      error = "byte " + std::to_string(begins_.back()) + ": table " + table.name + " comes twice";
      return false;
    }
    if (!walk.ReadRows(table, [](auto) { return true; })) return false;
    tables_.push_back(std::move(table));
  }
}

bool ArchiveReader::ReadRows(size_t table, const RowSink& sink, std::string& error) {
  Walk walk(*stream_, begins_[table], error);
  SourceTable again;
  bool isClose = false;
  if (!walk.ReadHeading(again, isClose)) return false;
  if (again.rows == 0 && !isClose && ArchiveHeading(again) == ArchiveHeading(tables_[table])) {
    if (!walk.ReadRows(again, sink)) return false;
    if (again.rows == tables_[table].rows) return true;
  }
  error = "table " + tables_[table].name + ": the archive was changed while it was read";
  return false;
}

}  // namespace vnq
