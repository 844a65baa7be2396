#include "platform/net/filtered_listener.h"

#include <errno.h>
#include <fmt/format.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <iterator>
#include <utility>
#include <vector>

namespace vnq {
namespace {

constexpr size_t kReadBytes = 32 * 1024;

}  // namespace

// One connection until its filter is ready. Its timer owns it, so it goes with the timer or with
// the loop.
class FilteredListener::Handshake : private EventLoop::Watcher,
                                    public std::enable_shared_from_this<Handshake> {
 public:
  Handshake(FilteredListener& listener, AcceptedSocket socket, std::unique_ptr<StreamFilter> filter)
      : loop_(listener.loop_),
        failed_(listener.failed_),
        onRequest_(listener.onRequest_),
        shared_(listener.shared_),
        socket_(std::move(socket)),
        filter_(std::move(filter)) {
    ++shared_->underWay;
  }
  ~Handshake() override {
    Unwatch();
    --shared_->underWay;
  }

  void Start() {
    watched_ = loop_.Watch(socket_.descriptor(), EPOLLIN, this);
    timer_ = loop_.RunAfter(kHandshakeMs,
                            [self = shared_from_this()] { self->Fail("no agreement in time"); });
  }

 private:
  void OnEvents(uint32_t) override {
    const auto keepAlive = shared_from_this();
    char buffer[kReadBytes];
    const ssize_t count = recv(socket_.descriptor(), buffer, sizeof buffer, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) return Fail("the peer has left");
    Take(filter_->FromPeer({buffer, static_cast<size_t>(count)}));
  }

  void Take(StreamFilter::Result result) {
    std::move(result.arrivals.begin(), result.arrivals.end(), std::back_inserter(early_));
    const bool sent =
        result.wire.empty() || send(socket_.descriptor(), result.wire.data(), result.wire.size(),
                                    MSG_NOSIGNAL) == static_cast<ssize_t>(result.wire.size());
    if (result.ended || !sent) return Fail(filter_->Fault());
    if (filter_->IsReady()) HandOn();
  }

  void HandOn() {
    Unwatch();
    loop_.StopTimer(timer_);
    if (!shared_->open) return;
    socket_.SpeakThrough(std::move(filter_), std::move(early_));
    onRequest_(std::move(socket_));
  }

  void Fail(const std::string& why) {
    if (!watched_) return;
    if (shared_->open) failed_.Note(fmt::format("from {}: {}", socket_.remoteIp(), why));
    Unwatch();
    loop_.StopTimer(timer_);
    AcceptedSocket(std::move(socket_));  // closed
  }

  void Unwatch() {
    if (std::exchange(watched_, false)) loop_.Unwatch(socket_.descriptor());
  }

  EventLoop& loop_;
  RepeatedWarning& failed_;
  const TcpListener::OnRequest onRequest_;
  const std::shared_ptr<Shared> shared_;
  AcceptedSocket socket_;
  std::unique_ptr<StreamFilter> filter_;
  std::vector<std::string> early_;  // arrivals that came with the agreement
  bool watched_ = false;
  EventLoop::TimerId timer_ = 0;
};

bool FilteredListener::Listen(const std::string& address, uint16_t port, NewFilter newFilter,
                              TcpListener::OnRequest onRequest, std::string& error) {
  newFilter_ = std::move(newFilter);
  onRequest_ = std::move(onRequest);
  shared_->open = listener_.Listen(
      address, port, [this](AcceptedSocket socket) { Begin(std::move(socket)); }, error);
  return shared_->open;
}

void FilteredListener::Close() {
  listener_.Close();
  shared_->open = false;
}

void FilteredListener::Begin(AcceptedSocket socket) {
  std::unique_ptr<StreamFilter> filter = newFilter_(socket.remoteIp());
  if (!filter) return failed_.Note(fmt::format("from {}: not expected here", socket.remoteIp()));
  if (filter->IsReady()) {
    socket.SpeakThrough(std::move(filter), {});
    return onRequest_(std::move(socket));
  }
  if (shared_->underWay >= kMostHandshakes) {
    return failed_.Note(
        fmt::format("from {}: {} others are under way", socket.remoteIp(), kMostHandshakes));
  }
  std::make_shared<Handshake>(*this, std::move(socket), std::move(filter))->Start();
}

}  // namespace vnq
