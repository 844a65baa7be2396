// An HTTP server on the loop of the test, which keeps every byte that came in and answers what it
// is told to.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/net/clock.h"
#include "platform/net/event_loop.h"
#include "platform/net/tcp.h"

namespace vnq {

/// Runs with the machine's time, and can be moved ahead.
class MovableClock : public Clock {
 public:
  LocalTime Now() const override { return {}; }
  int64_t MonotonicMs() const override {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count() + ahead_;
  }
  void AdvanceMs(int64_t ms) { ahead_ += ms; }

 private:
  int64_t ahead_ = 0;
};

/// Turns the loop until the condition holds. False when that takes more than ten seconds.
inline bool RunUntil(EventLoop& loop, const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    loop.Turn(20);
  }
  return true;
}

/// A loopback address that no other test process uses at the same time.
///
/// number  0 to 7, for several addresses in one process.
inline std::string LoopbackAddress(int number) {
  const int pid = getpid();
  return "127." + std::to_string(64 + number * 8 + (pid >> 16) % 8) + "." +
         std::to_string((pid >> 8) & 255) + "." + std::to_string(pid & 255);
}

inline std::string HttpAnswer(const std::string& body, const std::string& status = "200 OK",
                              const std::string& contentType = "text/html") {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + contentType +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

class LoopbackHttpServer {
 public:
  enum class Then { kClose, kKeepOpen };

  explicit LoopbackHttpServer(EventLoop& loop) : loop_(loop), listener_(loop) {}

  /// The clients have to be gone by now: a closed connection lives until its peer has let go.
  ~LoopbackHttpServer() {
    listener_.Close();
    for (const auto& connection : connections_) connection->Close();
    RunUntil(loop_, [] { return TcpConnection::Lingering() == 0; });
  }

  /// False, with the reason in `error`, when the address cannot be bound.
  bool Start(const std::string& address, uint16_t port, std::string& error) {
    return listener_.Listen(
        address, port, [this](AcceptedSocket socket) { Accept(std::move(socket)); }, error);
  }

  /// What each complete request gets.
  void Answer(std::string bytes, Then then = Then::kClose) {
    answer_ = std::move(bytes);
    then_ = then;
  }

  /// Sends the answer to a request that was left open, counted from 0.
  void AnswerLate(size_t request, const std::string& bytes) {
    openRequests_[request]->Send(bytes);
    openRequests_[request]->Close();
  }

  /// Complete requests, byte for byte, in their order.
  const std::vector<std::string>& Requests() const { return requests_; }

  std::string RequestLine(size_t request) const {
    return requests_[request].substr(0, requests_[request].find("\r\n"));
  }
  std::string Body(size_t request) const {
    return requests_[request].substr(requests_[request].find("\r\n\r\n") + 4);
  }

 private:
  void Accept(AcceptedSocket socket) {
    auto connection = TcpConnection::Start(loop_, std::move(socket), {});
    connections_.push_back(connection);
    auto received = std::make_shared<std::string>();
    connection->SetEvents({[this, raw = connection.get(), received](std::string bytes) {
                             *received += bytes;
                             if (IsComplete(*received)) Complete(*raw, std::move(*received));
                           },
                           [] {}});
  }

  static bool IsComplete(const std::string& request) {
    const size_t end = request.find("\r\n\r\n");
    if (end == std::string::npos) return false;
    const size_t length = request.find("\r\nContent-Length: ");
    if (length == std::string::npos || length > end) return true;
    return request.size() >= end + 4 + std::strtoul(request.c_str() + length + 18, nullptr, 10);
  }

  void Complete(TcpConnection& connection, std::string request) {
    requests_.push_back(std::move(request));
    openRequests_.push_back(connection.shared_from_this());
    connection.Send(answer_);
    if (then_ == Then::kClose) connection.Close();
  }

  EventLoop& loop_;
  TcpListener listener_;
  std::string answer_;
  Then then_ = Then::kClose;
  std::vector<std::shared_ptr<TcpConnection>> connections_;
  std::vector<std::shared_ptr<TcpConnection>> openRequests_;
  std::vector<std::string> requests_;
};

}  // namespace vnq
