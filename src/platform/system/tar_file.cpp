#include "platform/system/tar_file.h"

#include <archive.h>
#include <archive_entry.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

namespace vnq {
namespace {

constexpr size_t kPieceBytes = 256 * 1024;

std::string Why(archive* file) {
  const char* text = archive_error_string(file);
  return text == nullptr ? "unknown failure" : text;
}

}  // namespace

// --- TarWriter ---

TarWriter::~TarWriter() {
  if (archive_ != nullptr) archive_write_free(archive_);
  if (descriptor_ >= 0) close(descriptor_);
  if (!growingPath_.empty()) unlink(growingPath_.c_str());
}

bool TarWriter::Open(const std::string& path, std::string& error) {
  path_ = path;
  std::string growing = path + ".XXXXXX";
  descriptor_ = mkostemp(growing.data(), O_CLOEXEC);
  if (descriptor_ < 0) {
    error = growing + ": " + strerror(errno);
    return false;
  }
  growingPath_ = growing;
  archive_ = archive_write_new();
  return (archive_write_add_filter_gzip(archive_) == ARCHIVE_OK &&
          archive_write_set_format_pax_restricted(archive_) == ARCHIVE_OK &&
          archive_write_open_fd(archive_, descriptor_) == ARCHIVE_OK) ||
         Fail(error);
}

bool TarWriter::BeginEntry(const std::string& name, uint64_t bytes, std::string& error) {
  const std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(),
                                                                            &archive_entry_free);
  archive_entry_set_pathname_utf8(entry.get(), name.c_str());
  archive_entry_set_size(entry.get(), static_cast<int64_t>(bytes));
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0600);
  archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
  return archive_write_header(archive_, entry.get()) == ARCHIVE_OK || Fail(error);
}

bool TarWriter::Write(std::string_view piece, std::string& error) {
  const la_ssize_t written = archive_write_data(archive_, piece.data(), piece.size());
  if (written == static_cast<la_ssize_t>(piece.size())) return true;
  if (written >= 0) archive_set_error(archive_, EIO, "a file has grown while it was read");
  return Fail(error);
}

bool TarWriter::Close(std::string& error) {
  if (archive_write_close(archive_) != ARCHIVE_OK) return Fail(error);
  if (fsync(descriptor_) != 0 || rename(growingPath_.c_str(), path_.c_str()) != 0) {
    error = path_ + ": " + strerror(errno);
    return false;
  }
  growingPath_.clear();
  return true;
}

bool TarWriter::Fail(std::string& error) {
  error = path_ + ": " + Why(archive_);
  return false;
}

// --- TarReader ---

TarReader::~TarReader() {
  if (archive_ != nullptr) archive_read_free(archive_);
}

bool TarReader::Open(const std::string& path, std::string& error) {
  path_ = path;
  archive_ = archive_read_new();
  archive_read_support_filter_gzip(archive_);
  archive_read_support_format_tar(archive_);
  if (archive_read_open_filename(archive_, path.c_str(), kPieceBytes) == ARCHIVE_OK) return true;
  error = path + ": " + Why(archive_);
  return false;
}

TarReader::Step TarReader::Next(std::string& name, std::string& error) {
  archive_entry* entry = nullptr;
  const int result = archive_read_next_header(archive_, &entry);
  if (result == ARCHIVE_EOF) return Step::kEnd;
  if (result != ARCHIVE_OK) {
    error = path_ + ": " + Why(archive_);
    return Step::kFailed;
  }
  const char* path = archive_entry_pathname_utf8(entry);
  name = path == nullptr ? "" : path;
  if (archive_entry_filetype(entry) == AE_IFREG && archive_entry_hardlink(entry) == nullptr) {
    return Step::kEntry;
  }
  error = path_ + ": " + name + " is no plain file";
  return Step::kFailed;
}

bool TarReader::Read(std::string& piece, std::string& error) {
  piece.resize(kPieceBytes);
  const la_ssize_t count = archive_read_data(archive_, piece.data(), piece.size());
  piece.resize(count > 0 ? static_cast<size_t>(count) : 0);
  if (count >= 0) return true;
  error = path_ + ": " + Why(archive_);
  return false;
}

}  // namespace vnq
