#include "tools/backup/backup_file.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "support/crc32.h"

namespace vnq {
namespace {

constexpr size_t kPieceBytes = 256 * 1024;

std::string ChecksumLine(const Crc32& crc, uint64_t bytes, std::string_view entry) {
  return fmt::format("{} {} {}\n", crc.Hex(), bytes, entry);
}

bool Fail(std::string& error, std::string why) {
  error = std::move(why);
  return false;
}

bool IsKnownPlace(std::string_view name) {
  return name == kBackupDatabase || name.starts_with(kBackupFolder) ||
         name.starts_with(kBackupPictures);
}

/// Reads one entry after the other and keeps the sums that the last one has to equal.
class Checker {
 public:
  Checker(const std::string& path, BackupContents& contents) : path_(path), contents_(contents) {}

  bool Run(std::string& error) {
    if (!tar_.Open(path_, error)) return false;
    for (;;) {
      std::string name;
      switch (tar_.Next(name, error)) {
        case TarReader::Step::kFailed:
          return false;
        case TarReader::Step::kEnd:
          return isWhole_ || Fail(error, path_ + ": the backup breaks off");
        case TarReader::Step::kEntry:
          if (!CheckEntry(name, error)) return false;
      }
    }
  }

 private:
  bool CheckEntry(const std::string& name, std::string& error) {
    if (isWhole_) return Fail(error, path_ + ": something follows the checksums");
    if (isFirst_ != (name == kBackupHead)) return Fail(error, path_ + " is no backup of vnqctl");
    const bool isText = name == kBackupHead || name == kBackupChecksums;
    if (!isText && !IsBackupEntry(name)) return Fail(error, path_ + ": unknown entry " + name);
    std::string text;
    uint64_t bytes = 0;
    Crc32 crc;
    for (std::string piece;;) {
      if (!tar_.Read(piece, error)) return false;
      if (piece.empty()) break;
      crc.Add(piece);
      bytes += piece.size();
      if (isText) text += piece;
    }
    if (name == kBackupChecksums) {
      isWhole_ = text == checksums_;
      return isWhole_ || Fail(error, path_ + ": the checksums do not fit what is in it");
    }
    checksums_ += ChecksumLine(crc, bytes, name);
    return isFirst_ ? TakeHead(text, error) : TakeEntry(name, bytes);
  }

  bool TakeHead(const std::string& text, std::string& error) {
    isFirst_ = false;
    const size_t end = text.find('\n');
    if (text.substr(0, end) != kBackupFirstLine) {
      return Fail(error, path_ + " was written by a newer vnqctl: " + text.substr(0, end));
    }
    contents_.head = text.substr(end + 1);
    return true;
  }

  bool TakeEntry(const std::string& name, uint64_t bytes) {
    contents_.entries.push_back(name);
    contents_.bytes += bytes;
    return true;
  }

  const std::string& path_;
  BackupContents& contents_;
  TarReader tar_;
  std::string checksums_;
  bool isFirst_ = true, isWhole_ = false;
};

}  // namespace

bool BackupWriter::AddText(const std::string& entry, std::string_view bytes, std::string& error) {
  Crc32 crc;
  crc.Add(bytes);
  checksums_ += ChecksumLine(crc, bytes.size(), entry);
  ++entries_;
  return tar_.BeginEntry(entry, bytes.size(), error) && tar_.Write(bytes, error);
}

bool BackupWriter::AddFile(const std::string& entry, const std::string& path, std::string& error) {
  std::error_code failure;
  const uint64_t bytes = std::filesystem::file_size(path, failure);
  std::ifstream file(path, std::ios::binary);
  if (failure || !file) return Fail(error, path + ": " + std::strerror(errno));
  if (!tar_.BeginEntry(entry, bytes, error)) return false;
  Crc32 crc;
  uint64_t done = 0;
  for (std::string piece(kPieceBytes, '\0'); done < bytes;) {
    file.read(piece.data(),
              static_cast<std::streamsize>(std::min<uint64_t>(kPieceBytes, bytes - done)));
    const auto count = static_cast<size_t>(file.gcount());
    if (count == 0) return Fail(error, path + ": it became shorter while it was read");
    const std::string_view read(piece.data(), count);
    crc.Add(read);
    if (!tar_.Write(read, error)) return false;
    done += count;
  }
  checksums_ += ChecksumLine(crc, bytes, entry);
  ++entries_;
  return true;
}

bool BackupWriter::Close(std::string& error) {
  return tar_.BeginEntry(std::string(kBackupChecksums), checksums_.size(), error) &&
         tar_.Write(checksums_, error) && tar_.Close(error);
}

bool CheckBackup(const std::string& path, BackupContents& contents, std::string& error) {
  return Checker(path, contents).Run(error);
}

bool IsBackupEntry(std::string_view name) {
  if (!IsKnownPlace(name) || name.ends_with('/') || name.find("//") != name.npos ||
      name.find('\0') != name.npos) {
    return false;
  }
  for (const auto& part : std::filesystem::path(name)) {
    if (part == ".." || part == "." || part.empty()) return false;
  }
  return true;
}

}  // namespace vnq
