#include "platform/net/unix_socket.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

#include "platform/system/file_access.h"

namespace vnq {
namespace {

constexpr int kBacklog = 16;
constexpr int64_t kRestMs = 100;

/// A descriptor that goes with its scope.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return number_; }
  int Release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

/// The address of a path. The kernel takes 107 bytes: a long one is said by its open folder.
class Address {
 public:
  explicit Address(const std::filesystem::path& path)
      : folder_(open(path.parent_path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    std::string name = path.string();
    if (name.size() >= sizeof address_.sun_path) {
      name = "/proc/self/fd/" + std::to_string(folder_.get()) + "/" + path.filename().string();
    }
    address_.sun_family = AF_UNIX;
    name.copy(address_.sun_path, sizeof address_.sun_path - 1);
  }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address_); }
  static socklen_t size() { return sizeof(sockaddr_un); }

 private:
  Descriptor folder_;
  sockaddr_un address_{};
};

int OpenSocket(int flags) {
  return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
}

bool Fail(const std::string& path, std::string& error) {
  error = path + ": " + strerror(errno);
  return false;
}

}  // namespace

// --- UnixListener ---

bool UnixListener::Listen(const std::string& path, OnRequest onRequest, std::string& error) {
  Close();
  const Address address(path);
  Descriptor made(OpenSocket(SOCK_NONBLOCK));
  unlink(path.c_str());
  // The mode of the socket becomes that of the file: it is nobody else's from its first moment on.
  if (made.get() < 0 || fchmod(made.get(), 0600) != 0 ||
      bind(made.get(), address.get(), Address::size()) != 0 || listen(made.get(), kBacklog) != 0 ||
      !loop_.Watch(made.get(), EPOLLIN, this)) {
    return Fail(path, error);
  }
  GiveToFolderOwner(path);
  descriptor_ = made.Release();
  onRequest_ = std::move(onRequest);
  path_ = path;
  return true;
}

void UnixListener::Close() {
  if (descriptor_ < 0) return;
  loop_.StopTimer(rest_);
  loop_.Unwatch(descriptor_);
  unlink(path_.c_str());
  close(std::exchange(descriptor_, -1));
}

void UnixListener::OnEvents(uint32_t) {
  const int accepted = accept4(descriptor_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (accepted >= 0) {
    onRequest_(AcceptedSocket(accepted, ""));
  } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
    Rest();
  }
}

// Without a free descriptor epoll would report the request without end.
void UnixListener::Rest() {
  loop_.ChangeWatch(descriptor_, 0);
  rest_ = loop_.RunAfter(kRestMs, [this] { loop_.ChangeWatch(descriptor_, EPOLLIN); });
}

// --- AskAtSocket ---

bool AskAtSocket(const std::string& path, const std::string& line, int timeoutMs,
                 std::string& answer, std::string& error) {
  using std::chrono::steady_clock;
  const auto deadline = steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  const Address address(path);
  const Descriptor peer(OpenSocket(0));
  const std::string question = line + "\n";
  if (peer.get() < 0 || connect(peer.get(), address.get(), Address::size()) != 0 ||
      send(peer.get(), question.data(), question.size(), MSG_NOSIGNAL) < 0) {
    return Fail(path, error);
  }
  answer.clear();
  for (char bytes[16 * 1024];;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady_clock::now());
    pollfd waited{peer.get(), POLLIN, 0};
    if (left.count() <= 0 || poll(&waited, 1, static_cast<int>(left.count())) == 0) {
      error = path + ": no answer within " + std::to_string(timeoutMs / 1000) + " seconds";
      return false;
    }
    const ssize_t count = recv(peer.get(), bytes, sizeof bytes, 0);
    if (count == 0) return true;
    if (count > 0) {
      answer.append(bytes, static_cast<size_t>(count));
    } else if (errno != EINTR) {
      return Fail(path, error);
    }
  }
}

}  // namespace vnq
