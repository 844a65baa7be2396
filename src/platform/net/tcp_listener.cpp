// The listening half of tcp.h.
#include <errno.h>
#include <fmt/format.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/net/socket_address.h"
#include "platform/net/tcp.h"

namespace vnq {
namespace {

constexpr int kBacklog = 1024;
constexpr int kRequestsPerEvent = 64;
constexpr int64_t kAcceptPauseMs = 100;

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

void AcceptedSocket::SpeakThrough(std::unique_ptr<StreamFilter> filter,
                                  std::vector<std::string> early) {
  filter_ = std::move(filter);
  early_ = std::move(early);
  if (std::string peer = filter_->PeerAddress(); !peer.empty()) remoteIp_ = std::move(peer);
}

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
    AcceptedSocket socket(accepted, peer.Text());  // closes it if memory is short
    if (unreadTimeoutS_ > 0) LimitUnread(accepted, unreadTimeoutS_);
    auto request = std::make_shared<AcceptedSocket>(std::move(socket));
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

}  // namespace vnq
