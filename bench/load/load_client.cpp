#include "bench/load/load_client.h"

#include <errno.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "support/base64_text.h"

namespace vnq::bench {

bool LoadClient::Connect(const LoadTarget& server) {
  Close();
  descriptor_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor_ < 0) return false;
  const int on = 1;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  const int result = connect(descriptor_, reinterpret_cast<const sockaddr*>(&server.address),
                             sizeof server.address);
  if ((result != 0 && errno != EINPROGRESS) ||
      !poller_.Watch(descriptor_, EPOLLIN | EPOLLOUT, this)) {
    Close();
    return false;
  }
  if (server.tls != nullptr) filter_ = server.tls->Filter(server.host);
  return true;
}

void LoadClient::Close() {
  if (descriptor_ < 0) return;
  poller_.Unwatch(descriptor_);
  close(std::exchange(descriptor_, -1));
  connected_ = false;
  filter_.reset();
  wire_.clear();
  unsent_.clear();
  stream_ = RecordStream(ansi_);
}

void LoadClient::SendRecord(std::string_view record) {
  for (std::string& text : EncodeForMainPort(ansi_, record)) SendText(std::move(text));
}

void LoadClient::SendWholeRecord(std::string_view record) {
  std::string bytes = ansi_.ToBytes(record);
  bytes.append((3 - bytes.size() % 3) % 3, '\n');  // no padding, as in EncodeForMainPort
  SendText(Base64EncodeBytes(bytes));
}

void LoadClient::SendText(std::string text) {
  unsent_.push_back(std::move(text));
  Flush();
}

bool LoadClient::QueueIsEmpty() const {
  int bytes = 0;
  return ioctl(descriptor_, SIOCOUTQNSD, &bytes) != 0 || bytes == 0;
}

bool LoadClient::Flush() {
  while (HasUnsent()) {
    if (!connected_ || !QueueIsEmpty() || (wire_.empty() && !IsReady())) return false;
    if (wire_.empty()) {
      wire_ = filter_ ? filter_->ToPeer(unsent_.front()) : std::move(unsent_.front());
      unsent_.pop_front();
    }
    const ssize_t sent = send(descriptor_, wire_.data(), wire_.size(), MSG_NOSIGNAL);
    if (sent < 0) return false;
    wire_.erase(0, static_cast<size_t>(sent));
    if (!wire_.empty()) return false;
  }
  return true;
}

void LoadClient::OnEvents(uint32_t epollEvents) {
  if (!connected_ && (epollEvents & EPOLLOUT) != 0 && (epollEvents & EPOLLERR) == 0) {
    connected_ = true;
    poller_.Change(descriptor_, EPOLLIN, this);
    if (filter_) Take("");  // a client speaks first
    Flush();
  }
  if ((epollEvents & (EPOLLIN | EPOLLERR | EPOLLHUP)) != 0) Receive();
}

void LoadClient::Receive() {
  char buffer[65536];
  for (;;) {
    const ssize_t count = recv(descriptor_, buffer, sizeof buffer, 0);
    if (count > 0) Take({buffer, static_cast<size_t>(count)});
    if (count > 0 && descriptor_ >= 0 && static_cast<size_t>(count) == sizeof buffer) continue;
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
      Close();
      if (events_.onClosed) events_.onClosed();
    }
    return;
  }
}

void LoadClient::Take(std::string_view bytes) {
  if (!filter_) return HandOut(bytes);
  StreamFilter::Result result = filter_->FromPeer(bytes);
  wire_ += result.wire;
  std::string all;
  for (const std::string& each : result.arrivals) all += each;
  Flush();
  if (!all.empty()) HandOut(all);
}

// What ends in "|#" when nothing more is there is whole: the records here have no such field.
void LoadClient::HandOut(std::string_view bytes) {
  if (events_.onBytes) {
    events_.onBytes(bytes);
    return;
  }
  for (const std::string& record : stream_.Feed(bytes)) events_.onRecord(record);
  if (!stream_.RestLooksComplete()) return;
  for (const std::string& record : stream_.TakeRest()) events_.onRecord(record);
}

}  // namespace vnq::bench
