#include "platform/net/tcp_client.h"

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <memory>
#include <utility>

namespace vnq {
namespace {

// One attempt. Its timer owns it, so it goes with the timer or with the loop.
class Attempt : private EventLoop::Watcher, public std::enable_shared_from_this<Attempt> {
 public:
  Attempt(EventLoop& loop, AcceptedSocket socket, int descriptor, OnConnected done)
      : loop_(loop), socket_(std::move(socket)), descriptor_(descriptor), done_(std::move(done)) {}
  ~Attempt() override { Unwatch(); }

  // False: failed at once.
  bool Start(const sockaddr_in& peer, int64_t timeoutMs) {
    loop_.Settle();
    if (connect(descriptor_, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0 &&
        errno != EINPROGRESS) {
      return false;
    }
    watched_ = loop_.Watch(descriptor_, EPOLLOUT, this);
    if (watched_) {
      timer_ = loop_.RunAfter(timeoutMs, [self = shared_from_this()] { self->Finish(false); });
    }
    return watched_;
  }

 private:
  void OnEvents(uint32_t) override {
    const auto keepAlive = shared_from_this();
    int error = 0;
    socklen_t size = sizeof error;
    const bool asked = getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &size) == 0;
    loop_.StopTimer(timer_);
    Finish(asked && error == 0);
  }

  void Finish(bool connected) {
    Unwatch();
    const OnConnected done = std::exchange(done_, nullptr);
    if (!done) return;
    if (connected) {
      done(std::move(socket_));
    } else {
      done(std::nullopt);
    }
  }

  void Unwatch() {
    if (std::exchange(watched_, false)) loop_.Unwatch(descriptor_);
  }

  EventLoop& loop_;
  AcceptedSocket socket_;
  const int descriptor_;
  OnConnected done_;
  bool watched_ = false;
  EventLoop::TimerId timer_ = 0;
};

}  // namespace

void ConnectTcp(EventLoop& loop, const std::string& address, uint16_t port, int64_t timeoutMs,
                OnConnected done) {
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  const bool isAddress = inet_pton(AF_INET, address.c_str(), &peer.sin_addr) == 1;
  const int descriptor =
      isAddress ? socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0) : -1;
  AcceptedSocket socket(descriptor, address);
  if (descriptor >= 0) {
    const auto attempt = std::make_shared<Attempt>(loop, std::move(socket), descriptor, done);
    if (attempt->Start(peer, timeoutMs)) return;
  }
  loop.Enqueue([done = std::move(done)] { done(std::nullopt); });
}

}  // namespace vnq
