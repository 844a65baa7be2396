#include "platform/system/log_stream.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace vnq {
namespace {

int64_t NowMs() {
  using std::chrono::steady_clock;
  const auto now = steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

bool HasRoom(int descriptor, int64_t waitMs) {
  pollfd wanted{descriptor, POLLOUT, 0};
  return poll(&wanted, 1, static_cast<int>(waitMs)) > 0;
}

}  // namespace

LogStream::LogStream(int descriptor) : descriptor_(descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return;
  if (S_ISSOCK(status.st_mode)) kind_ = Kind::kSocket;
  if (!S_ISFIFO(status.st_mode) && isatty(descriptor) == 0) return;
  kind_ = Kind::kPipe;
  const std::string name = "/proc/self/fd/" + std::to_string(descriptor);
  own_ = open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

LogStream::~LogStream() {
  if (own_ >= 0) close(own_);
}

bool LogStream::Write(std::string_view line) {
  rest_.erase(0, WriteSome(rest_));
  if (!rest_.empty()) return false;
  const size_t written = WriteSome(line);
  if (written == 0 && !line.empty()) return false;
  rest_ = line.substr(written);
  return true;
}

size_t LogStream::WriteSome(std::string_view bytes) {
  size_t written = 0;
  while (written < bytes.size()) {
    const int64_t count = TryWrite(bytes.substr(written));
    if (count >= 0) {
      written += static_cast<size_t>(count);
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!WaitForRoom()) return written;
    } else if (errno != EINTR) {
      return bytes.size();
    }
  }
  return written;
}

int64_t LogStream::TryWrite(std::string_view bytes) const {
  if (kind_ == Kind::kSocket) {
    return send(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  }
  if (kind_ == Kind::kFile) return write(descriptor_, bytes.data(), bytes.size());
  if (own_ >= 0) return write(own_, bytes.data(), bytes.size());
  // A pipe of somebody else's: it takes so much where it takes anything.
  if (!HasRoom(descriptor_, 0)) {
    errno = EAGAIN;
    return -1;
  }
  return write(descriptor_, bytes.data(), std::min<size_t>(bytes.size(), PIPE_BUF));
}

// As long as the second's patience lasts.
bool LogStream::WaitForRoom() {
  const int64_t began = NowMs();
  if (began - secondBeganMs_ >= 1000) {
    secondBeganMs_ = began;
    waitedMs_ = 0;
  }
  if (waitedMs_ >= kPatienceMs) return false;
  const bool hasRoom = HasRoom(own_ >= 0 ? own_ : descriptor_, kPatienceMs - waitedMs_);
  waitedMs_ += std::max<int64_t>(1, NowMs() - began);
  return hasRoom;
}

}  // namespace vnq
