#include "tools/moving/archive_writer.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "tools/moving/archive_format.h"
#include "tools/moving/archive_row.h"

namespace vnq {
namespace {

constexpr size_t kPendingBytes = 256 * 1024;

}  // namespace

ArchiveWriter::~ArchiveWriter() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!growingPath_.empty()) unlink(growingPath_.c_str());
}

bool ArchiveWriter::Open(const std::string& path) {
  path_ = path;
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    error_ = path + " is a folder";
    return false;
  }
  std::string growing = path + ".XXXXXX";
  descriptor_ = mkostemp(growing.data(), O_CLOEXEC);  // readable for the owner alone
  if (descriptor_ < 0) return Fail(growing);
  growingPath_ = growing;
  line_ = ArchiveVersionLine();
  return AddLine(line_);
}

bool ArchiveWriter::BeginTable(const SourceTable& table) {
  tableRows_ = 0;
  tableCrc_ = Crc32();
  line_ = ArchiveHeading(table);
  return AddLine(line_);
}

bool ArchiveWriter::AddRow(std::span<const SqlValue> cells) {
  line_.clear();
  AppendArchiveRow(cells, line_);
  if (line_.size() > kLongestArchiveLine) {
    error_ = "a row is longer than an archive can hold";
    return false;
  }
  ++tableRows_;
  return AddLine(line_);
}

bool ArchiveWriter::EndTable() {
  ++tables_;
  rows_ += tableRows_;
  line_ = ArchiveEndLine(tableRows_, tableCrc_);
  return AddLine(line_);
}

bool ArchiveWriter::Close() {
  line_ = ArchiveCloseLine(tables_, rows_, crc_);
  if (!AddLine(line_) || !Flush()) return false;
  if (fsync(descriptor_) != 0) return Fail(growingPath_);
  if (rename(growingPath_.c_str(), path_.c_str()) != 0) return Fail(path_);
  growingPath_.clear();
  return true;
}

bool ArchiveWriter::AddLine(std::string& line) {
  line += '\n';
  tableCrc_.Add(line);
  crc_.Add(line);
  pending_ += line;
  return pending_.size() < kPendingBytes || Flush();
}

bool ArchiveWriter::Flush() {
  for (size_t at = 0; at < pending_.size();) {
    const ssize_t written = write(descriptor_, pending_.data() + at, pending_.size() - at);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return Fail(growingPath_);
    at += static_cast<size_t>(written);
  }
  pending_.clear();
  return true;
}

bool ArchiveWriter::Fail(const std::string& what) {
  error_ = what + ": " + strerror(errno);
  return false;
}

}  // namespace vnq
