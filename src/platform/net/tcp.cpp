#include "platform/net/tcp.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace vnq {
namespace {

constexpr size_t kReceiveBytes = 1024 * 1024;
constexpr int kBacklog = 1024;
constexpr int kRequestsPerEvent = 64;
constexpr int64_t kAcceptPauseMs = 100;

int lingering = 0;
int lingeringUnsent = 0;

// An IPv4 or IPv6 address and a port, as the system's calls want them.
struct SocketAddress {
  sockaddr_storage bytes{};
  socklen_t size = sizeof bytes;

  sockaddr* any() { return reinterpret_cast<sockaddr*>(&bytes); }
  sockaddr_in* v4() { return reinterpret_cast<sockaddr_in*>(&bytes); }
  sockaddr_in6* v6() { return reinterpret_cast<sockaddr_in6*>(&bytes); }

  bool Set(const std::string& address, uint16_t port) {
    if (inet_pton(AF_INET, address.c_str(), &v4()->sin_addr) == 1) {
      bytes.ss_family = AF_INET;
      v4()->sin_port = htons(port);
      size = sizeof(sockaddr_in);
      return true;
    }
    if (inet_pton(AF_INET6, address.c_str(), &v6()->sin6_addr) != 1) return false;
    bytes.ss_family = AF_INET6;
    v6()->sin6_port = htons(port);
    size = sizeof(sockaddr_in6);
    return true;
  }

  std::string Text() {
    char text[INET6_ADDRSTRLEN] = "";
    const void* address = &v4()->sin_addr;
    if (bytes.ss_family == AF_INET6) address = &v6()->sin6_addr;
    inet_ntop(bytes.ss_family, address, text, sizeof text);
    return text;
  }
};

// One buffer serves all connections: a read is copied out at its true size, so an idle connection
// holds none.
std::vector<char>& ReceiveBuffer() {
  static thread_local std::vector<char> buffer(kReceiveBytes);
  return buffer;
}

// The kernel ends a connection whose peer acknowledges nothing, or takes nothing behind a closed
// window, for so long; and asks one that is silent whether it is still there.
void LimitUnread(int descriptor, int seconds) {
  const int timeoutMs = seconds * 1000, on = 1, idle = std::max(1, seconds / 2);
  setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &timeoutMs, sizeof timeoutMs);
  setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
  setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, &idle, sizeof idle);
}

}  // namespace

AcceptedSocket::~AcceptedSocket() {
  if (descriptor_ >= 0) close(descriptor_);
}

// --- TcpListener ---

bool TcpListener::Listen(const std::string& address, uint16_t port, OnRequest onRequest,
                         std::string& error) {
  Close();
  SocketAddress local;
  if (!local.Set(address, port)) {
    error = fmt::format("{}:{}: not an IPv4 or IPv6 address", address, port);
    return false;
  }
  const int on = 1;
  descriptor_ = socket(local.bytes.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  // Another listener may have the same port for IPv4.
  if (local.bytes.ss_family == AF_INET6) {
    setsockopt(descriptor_, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
  }
  if (descriptor_ < 0 || setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(descriptor_, local.any(), local.size) != 0 || listen(descriptor_, kBacklog) != 0 ||
      !loop_.Watch(descriptor_, EPOLLIN, this)) {
    error = fmt::format("{}:{}: {}", address, port, strerror(errno));
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
    return false;
  }
  onRequest_ = std::move(onRequest);
  localAddress_ = local.Text();
  return true;
}

void TcpListener::Close() {
  if (descriptor_ < 0) return;
  loop_.StopTimer(pause_);
  loop_.Unwatch(descriptor_);
  close(descriptor_);
  descriptor_ = -1;
  localAddress_.clear();
}

void TcpListener::OnEvents(uint32_t) {
  for (int i = 0; i < kRequestsPerEvent; ++i) {
    SocketAddress peer;
    const int accepted = accept4(descriptor_, peer.any(), &peer.size, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (accepted < 0) {
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if (errno != EAGAIN) Pause(errno);
      return;
    }
    if (unreadTimeoutS_ > 0) LimitUnread(accepted, unreadTimeoutS_);
    auto request = std::make_shared<AcceptedSocket>(accepted, peer.Text());
    loop_.Enqueue([onRequest = onRequest_, request] { onRequest(std::move(*request)); });
  }
}

// Without a free descriptor the request stays in the backlog, and epoll would report it without
// end.
void TcpListener::Pause(int error) {
  if (starved_ != nullptr) starved_->Note(strerror(error));
  loop_.ChangeWatch(descriptor_, 0);
  pause_ = loop_.RunAfter(kAcceptPauseMs, [this] {
    if (descriptor_ >= 0) loop_.ChangeWatch(descriptor_, EPOLLIN);
  });
}

// --- TcpConnection ---

std::shared_ptr<TcpConnection> TcpConnection::Start(EventLoop& loop, AcceptedSocket socket,
                                                    Events events) {
  auto connection =
      std::make_shared<TcpConnection>(ForPrivateUse{}, loop, std::move(socket), std::move(events));
  connection->UpdateWatch();
  return connection;
}

TcpConnection::TcpConnection(ForPrivateUse, EventLoop& loop, AcceptedSocket socket, Events events)
    : loop_(loop), events_(std::move(events)), descriptor_(socket.Release()) {
  const int on = 1;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

TcpConnection::~TcpConnection() {
  Release();
}

int TcpConnection::Lingering() {
  return lingering;
}
int TcpConnection::LingeringUnsent() {
  return lingeringUnsent;
}

void TcpConnection::CountUnsent(bool unsent) {
  if (unsent == countsAsUnsent_) return;
  countsAsUnsent_ = unsent;
  lingeringUnsent += unsent ? 1 : -1;
}

bool TcpConnection::Send(std::string_view bytes) {
  if (state_ != State::kOpen) return false;
  loop_.Settle();
  if (unsent_.empty()) {
    const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent > 0) bytes.remove_prefix(static_cast<size_t>(sent));
    if (bytes.empty()) return true;
    // A reset shows itself as a read event too, which ends the connection in its turn.
    if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
  }
  unsent_.append(bytes);
  UpdateWatch();
  return true;
}

void TcpConnection::Close() {
  if (state_ != State::kOpen) return;
  loop_.Settle();
  events_ = {};
  arrivals_.clear();
  waitingBytes_ = 0;
  Linger();
}

void TcpConnection::OnEvents(uint32_t epollEvents) {
  const auto keepAlive = weak_from_this().lock();
  if ((epollEvents & EPOLLOUT) != 0) Flush();
  if (state_ == State::kLingering) {
    ReceiveAndDiscard();
  } else if (state_ == State::kOpen && (epollEvents & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
    Receive();
  }
}

void TcpConnection::Receive() {
  if (endOfStream_) return;
  std::vector<char>& buffer = ReceiveBuffer();
  const ssize_t count = recv(descriptor_, buffer.data(), buffer.size(), 0);
  if (count > 0) {
    arrivals_.emplace_back(buffer.data(), static_cast<size_t>(count));
    waitingBytes_ += static_cast<size_t>(count);
  } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
    endOfStream_ = true;
  }
  StartArrivals();
}

void TcpConnection::StartArrivals() {
  while (!arrivals_.empty() && handlers_ < kMaxHandlers) {
    if (loop_.LiveHandlers() >= EventLoop::kMaxHandlers) {
      if (!waitingForRoom_) {
        waitingForRoom_ = true;
        loop_.WhenHandlerEnds([self = shared_from_this()] {
          self->waitingForRoom_ = false;
          self->StartArrivals();
        });
      }
      break;
    }
    ++handlers_;
    waitingBytes_ -= arrivals_.front().size();
    loop_.StartHandler([self = shared_from_this(), bytes = std::move(arrivals_.front())]() mutable {
      if (self->events_.onArrival) {
        const auto onArrival = self->events_.onArrival;  // Close in the handler drops the event
        onArrival(std::move(bytes));
      }
      self->HandlerEnded();
    });
    arrivals_.pop_front();
  }
  if (endOfStream_ && arrivals_.empty()) EndOfStream();
  UpdateWatch();
}

void TcpConnection::HandlerEnded() {
  --handlers_;
  if (state_ == State::kOpen) StartArrivals();
}

// Behind the handlers of the last arrivals in the ready queue, so that these see the connection as
// it was.
void TcpConnection::EndOfStream() {
  if (peerClosedTold_) return;
  peerClosedTold_ = true;
  loop_.Enqueue([self = shared_from_this()] {
    if (self->state_ != State::kOpen) return;
    const auto onPeerClosed = std::move(self->events_.onPeerClosed);
    self->events_ = {};
    self->Linger();
    if (onPeerClosed) onPeerClosed();
  });
}

void TcpConnection::Linger() {
  state_ = State::kLingering;
  ++lingering;
  // The timer is what keeps the connection alive from here on.
  lingerTimer_ = loop_.RunAfter(kLingerMs, [self = shared_from_this()] { self->Release(); });
  Flush();
}

// A descriptor closed over unread bytes resets the connection, and what was sent last is lost with
// it.
void TcpConnection::ReceiveAndDiscard() {
  std::vector<char>& buffer = ReceiveBuffer();
  const ssize_t count = recv(descriptor_, buffer.data(), buffer.size(), 0);
  if (count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR))) return;
  endOfStream_ = true;
  if (count < 0 || unsent_.empty()) {
    Release();
  } else {
    UpdateWatch();
  }
}

void TcpConnection::Flush() {
  while (!unsent_.empty()) {
    const ssize_t sent =
        send(descriptor_, unsent_.data() + unsentFrom_, unsent_.size() - unsentFrom_, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && errno != EAGAIN) unsent_.clear();
    if (sent < 0) break;
    unsentFrom_ += static_cast<size_t>(sent);
    if (unsentFrom_ == unsent_.size()) unsent_.clear();
  }
  if (unsent_.empty()) {
    unsentFrom_ = 0;
    unsent_.shrink_to_fit();
  }
  if (state_ == State::kLingering) CountUnsent(!unsent_.empty());
  if (state_ == State::kLingering && unsent_.empty()) {
    if (endOfStream_) return Release();
    if (!writingShut_) shutdown(descriptor_, SHUT_WR);
    writingShut_ = true;
  }
  UpdateWatch();
}

void TcpConnection::Release() {
  if (state_ == State::kReleased) return;
  if (state_ == State::kLingering) --lingering;
  CountUnsent(false);
  state_ = State::kReleased;
  const auto keepAlive = weak_from_this().lock();  // the timer may hold the last reference
  loop_.StopTimer(lingerTimer_);
  if (watched_ != 0) loop_.Unwatch(descriptor_);
  watched_ = 0;
  close(descriptor_);
}

void TcpConnection::UpdateWatch() {
  if (state_ == State::kReleased) return;
  uint32_t wanted = 0;
  const bool reads = state_ == State::kLingering || waitingBytes_ < kMaxWaitingBytes;
  if (!endOfStream_ && reads) wanted |= EPOLLIN;
  if (!unsent_.empty()) wanted |= EPOLLOUT;
  if (wanted == watched_) return;
  // A descriptor watched for nothing still reports a hang-up without end: take it out instead.
  if (watched_ == 0) {
    loop_.Watch(descriptor_, wanted, this);
  } else if (wanted == 0) {
    loop_.Unwatch(descriptor_);
  } else {
    loop_.ChangeWatch(descriptor_, wanted);
  }
  watched_ = wanted;
}

}  // namespace vnq
