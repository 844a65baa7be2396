// Where the lines of a log go: a stream whose reader may be slow, or may never read again.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vnq {

/// Never waits for its reader for more than kPatienceMs of a second: what writes the log serves
/// people meanwhile. Not for several threads at once.
class LogStream {
 public:
  static constexpr int kPatienceMs = 100;

  /// descriptor: stays the caller's, and is left as it is for others who write to the same stream.
  explicit LogStream(int descriptor);
  ~LogStream();
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;

  /// False, with nothing of it written, where the stream has no room for the line, or still has
  /// none for the rest of an earlier one. A line that has begun is always ended before the next.
  /// One that the stream refuses for any other reason counts as written.
  bool Write(std::string_view line);

 private:
  enum class Kind { kFile, kSocket, kPipe };

  size_t WriteSome(std::string_view bytes);
  int64_t TryWrite(std::string_view bytes) const;
  bool WaitForRoom();

  const int descriptor_;
  Kind kind_ = Kind::kFile;
  int own_ = -1;      // the same stream as another opening, which does not block; -1: none
  std::string rest_;  // of a line that has begun
  int64_t secondBeganMs_ = 0;
  int64_t waitedMs_ = 0;  // in this second
};

}  // namespace vnq
