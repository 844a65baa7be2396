// One question a connection, one answer, and the end: what the control socket and the metrics
// listener have in common.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "platform/net/tcp.h"

namespace vnq {

class RequestServer {
 public:
  /// Makes the answer to a request, which came without its terminator. Runs as a handler; may
  /// yield.
  using Answer = std::function<std::string(const std::string& request)>;

  static constexpr size_t kMostBytes = 8 * 1024;     ///< of a request
  static constexpr size_t kMostConnections = 32;     ///< at one time; more are closed unheard
  static constexpr int64_t kLongestWaitMs = 10'000;  ///< for a request

  /// terminator  what ends a request.
  RequestServer(EventLoop& loop, std::string terminator, Answer answer)
      : loop_(loop), terminator_(std::move(terminator)), answer_(std::move(answer)) {}
  ~RequestServer();
  RequestServer(const RequestServer&) = delete;
  RequestServer& operator=(const RequestServer&) = delete;

  void Accept(AcceptedSocket socket);

 private:
  struct Asker {
    std::shared_ptr<TcpConnection> connection;
    std::string request;
    EventLoop::TimerId timeLimit = 0;
    bool isHeard = false;
  };
  using AskerPtr = std::shared_ptr<Asker>;

  void Hear(const AskerPtr& asker, std::string_view bytes);
  void End(const AskerPtr& asker);

  EventLoop& loop_;
  std::string terminator_;
  Answer answer_;
  std::set<AskerPtr> askers_;
};

}  // namespace vnq
