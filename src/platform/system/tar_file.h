// Compressed tar files (pax, gzip), as `tar xzf` reads them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct archive;

namespace vnq {

/// One file that grows under a name of its own beside the wanted one and takes that when it is
/// whole; before, and after any failure, a file of that name stays as it was. Nobody but its owner
/// can read it. After a call that returned false only the destructor is of use.
class TarWriter {
 public:
  TarWriter() = default;
  /// Removes what was not closed.
  ~TarWriter();
  TarWriter(const TarWriter&) = delete;
  TarWriter& operator=(const TarWriter&) = delete;

  bool Open(const std::string& path, std::string& error);

  /// Adds an entry of exactly `bytes` bytes, which the calls of Write bring in pieces.
  bool BeginEntry(const std::string& name, uint64_t bytes, std::string& error);
  bool Write(std::string_view piece, std::string& error);

  /// Waits until the disk has everything, and gives the file its name.
  bool Close(std::string& error);

 private:
  bool Fail(std::string& error);

  std::string path_, growingPath_;
  int descriptor_ = -1;
  archive* archive_ = nullptr;
};

/// Reads one from its beginning to its end.
class TarReader {
 public:
  TarReader() = default;
  ~TarReader();
  TarReader(const TarReader&) = delete;
  TarReader& operator=(const TarReader&) = delete;

  bool Open(const std::string& path, std::string& error);

  enum class Step { kEntry, kEnd, kFailed };

  /// Goes to the next file in it; anything that is no plain file is a failure.
  Step Next(std::string& name, std::string& error);

  /// The next piece of the present entry, empty at its end. False: the file is damaged.
  bool Read(std::string& piece, std::string& error);

 private:
  std::string path_;
  archive* archive_ = nullptr;
};

}  // namespace vnq
