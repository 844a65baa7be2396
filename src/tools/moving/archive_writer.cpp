#include "tools/moving/archive_writer.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <utility>

#include "tools/moving/archive_format.h"
#include "tools/moving/archive_row.h"

namespace vnq {
namespace {

constexpr size_t kPendingBytes = 256 * 1024;
constexpr int kMostLinks = 40;  // as many as the system follows

// Where a path leads to, also where nothing is there yet.
std::string BehindLinks(std::string path) {
  std::error_code error;
  for (int i = 0; i < kMostLinks; ++i) {
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error) break;
    path = (std::filesystem::path(path).parent_path() / target).string();
  }
  return path;
}

}  // namespace

ArchiveWriter::~ArchiveWriter() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!growingPath_.empty()) unlink(growingPath_.c_str());
}

bool ArchiveWriter::Open(const std::string& path) {
  path_ = path;
  struct stat state {};
  const bool isThere = path != kStandardOutput && stat(path.c_str(), &state) == 0;
  if (isThere && S_ISDIR(state.st_mode)) {
    error_ = path + " is a folder";
    return false;
  }
  if (path == kStandardOutput) {
    descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
  } else if (isThere && !S_ISREG(state.st_mode)) {
    descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
  } else if (!OpenGrowing(BehindLinks(path))) {
    return false;
  }
  if (descriptor_ < 0) return Fail(path);
  line_ = ArchiveVersionLine();
  return AddLine(line_);
}

bool ArchiveWriter::OpenGrowing(const std::string& path) {
  path_ = path;
  std::string growing = path + ".XXXXXX";
  descriptor_ = mkostemp(growing.data(), O_CLOEXEC);  // readable for the owner alone
  if (descriptor_ < 0) return Fail(growing);
  growingPath_ = growing;
  return true;
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
  if (growingPath_.empty()) return CloseStream();
  if (fsync(descriptor_) != 0) return Fail(growingPath_);
  if (rename(growingPath_.c_str(), path_.c_str()) != 0) return Fail(path_);
  growingPath_.clear();
  return true;
}

bool ArchiveWriter::CloseStream() {
  // What has nothing to sync says so.
  if (fsync(descriptor_) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP) {
    return Fail(path_);
  }
  return close(std::exchange(descriptor_, -1)) == 0 || Fail(path_);
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
    if (written < 0) return Fail(growingPath_.empty() ? path_ : growingPath_);
    at += static_cast<size_t>(written);
  }
  pending_.clear();
  return true;
}

bool ArchiveWriter::Fail(const std::string& what) {
  error_ = (what == kStandardOutput ? "standard output" : what) + ": " + strerror(errno);
  return false;
}

}  // namespace vnq
