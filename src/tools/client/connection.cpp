#include "tools/client/connection.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

namespace vnq {
namespace {

constexpr size_t kReadBytes = 16 * 1024;

using Milliseconds = std::chrono::milliseconds;

// Waits for `events`; signals that interrupt do not lengthen the wait.
bool WaitFor(int fd, short events, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + Milliseconds(timeoutMs);
  for (;;) {
    const auto left =
        std::chrono::duration_cast<Milliseconds>(deadline - std::chrono::steady_clock::now());
    pollfd waited{fd, events, 0};
    const int ready = poll(&waited, 1, std::max(0, static_cast<int>(left.count())));
    if (ready >= 0 || errno != EINTR) return ready > 0;
  }
}

int PendingError(int fd) {
  int error = 0;
  socklen_t length = sizeof error;
  if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) != 0) return errno;
  return error;
}

std::string CannotReach(const std::string& host, uint16_t port, const std::string& why) {
  return "cannot reach " + host + " port " + std::to_string(port) + ": " + why;
}

}  // namespace

Connection::Connection(Connection&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)),
      filter_(std::move(other.filter_)),
      early_(std::move(other.early_)) {}

Connection& Connection::operator=(Connection&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = std::exchange(other.fd_, -1);
    filter_ = std::move(other.filter_);
    early_ = std::move(other.early_);
  }
  return *this;
}

bool Connection::Open(const std::string& host, uint16_t port, int timeoutMs, std::string& error,
                      const TlsClient* tls) {
  Close();
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int failure = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (failure != 0) {
    error = CannotReach(host, port, gai_strerror(failure));
    return false;
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
  for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
    if (!ConnectTo(one->ai_family, one->ai_addr, one->ai_addrlen, timeoutMs)) continue;
    if (tls == nullptr) return true;
    filter_ = tls->Filter(host);
    std::string why;
    if (Agree(timeoutMs, why)) return true;
    Close();
    error = CannotReach(host, port, "no TLS: " + why);
    return false;
  }
  error = CannotReach(host, port, strerror(errno));
  return false;
}

// The client speaks first. What comes with the server's last word is for the first Read.
bool Connection::Agree(int timeoutMs, std::string& why) {
  StreamFilter::Result step = filter_->FromPeer("");
  for (;;) {
    const bool sent = SendWire(step.wire, timeoutMs);
    for (const std::string& bytes : step.arrivals) early_ += bytes;
    why = filter_->Fault();
    if (step.ended || !sent) return false;
    if (filter_->IsReady()) return true;
    why = "the server does not answer";
    if (!WaitFor(fd_, POLLIN, timeoutMs)) return false;
    char buffer[kReadBytes];
    const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
    why = "the server has ended the connection";
    if (got <= 0) return false;
    step = filter_->FromPeer({buffer, static_cast<size_t>(got)});
  }
}

// Leaves the reason of a failure in errno.
bool Connection::ConnectTo(int family, const void* address, size_t addressBytes, int timeoutMs) {
  fd_ = socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd_ < 0) return false;
  const auto* target = static_cast<const sockaddr*>(address);
  int failure = 0;
  if (connect(fd_, target, static_cast<socklen_t>(addressBytes)) != 0) {
    failure = errno;
    if (failure == EINPROGRESS) {
      failure = WaitFor(fd_, POLLOUT, timeoutMs) ? PendingError(fd_) : ETIMEDOUT;
    }
  }
  if (failure != 0) {
    Close();
    errno = failure;
    return false;
  }
  // Each text is to leave as a packet of its own, at once.
  const int on = 1;
  setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return true;
}

void Connection::Close() {
  if (fd_ >= 0 && filter_) SendWire(filter_->Farewell(), 0);
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  filter_.reset();
  early_.clear();
}

std::string Connection::LocalAddress() const {
  sockaddr_storage local{};
  socklen_t length = sizeof local;
  char text[INET6_ADDRSTRLEN] = "";
  if (fd_ < 0 || getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &length) != 0) return "";
  const void* address = &reinterpret_cast<sockaddr_in*>(&local)->sin_addr;
  if (local.ss_family == AF_INET6) address = &reinterpret_cast<sockaddr_in6*>(&local)->sin6_addr;
  inet_ntop(local.ss_family, address, text, sizeof text);
  return text;
}

bool Connection::Send(std::string_view bytes, int timeoutMs) {
  return filter_ ? SendWire(filter_->ToPeer(bytes), timeoutMs) : SendWire(bytes, timeoutMs);
}

bool Connection::SendWire(std::string_view bytes, int timeoutMs) {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent > 0) {
      bytes.remove_prefix(static_cast<size_t>(sent));
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      if (!WaitFor(fd_, POLLOUT, timeoutMs)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

Connection::ReadResult Connection::Read(std::string& bytes, int timeoutMs) {
  if (fd_ < 0) return ReadResult::kClosed;
  if (HasRead()) {
    bytes += std::exchange(early_, {});
    return ReadResult::kData;
  }
  if (!WaitFor(fd_, POLLIN, timeoutMs)) return ReadResult::kNothing;
  char buffer[kReadBytes];
  const ssize_t got = recv(fd_, buffer, sizeof buffer, 0);
  if (got > 0) return TakeWire({buffer, static_cast<size_t>(got)}, bytes);
  const bool later = got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
  return later ? ReadResult::kNothing : ReadResult::kClosed;
}

Connection::ReadResult Connection::TakeWire(std::string_view wire, std::string& bytes) {
  if (!filter_) {
    bytes.append(wire);
    return ReadResult::kData;
  }
  const StreamFilter::Result result = filter_->FromPeer(wire);
  for (const std::string& arrival : result.arrivals) bytes += arrival;
  SendWire(result.wire, 0);
  if (!result.arrivals.empty()) return ReadResult::kData;
  return result.ended ? ReadResult::kClosed : ReadResult::kNothing;
}

}  // namespace vnq
