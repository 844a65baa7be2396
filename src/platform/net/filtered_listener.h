// A listener whose connections speak through a filter: each is handed on once both sides have
// agreed, so that nobody who has not takes a place among those who have.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/net/repeated_warning.h"
#include "platform/net/stream_filter.h"
#include "platform/net/tcp.h"

namespace vnq {

class FilteredListener {
 public:
  /// The filter of a connection from an address; null: it is closed at once.
  using NewFilter = std::function<std::unique_ptr<StreamFilter>(const std::string& remoteIp)>;

  /// How long the two sides have to agree, and how many connections may be about it at one time.
  static constexpr int64_t kHandshakeMs = 10'000;
  static constexpr int kMostHandshakes = 1000;

  /// failed  is told of connections that came to nothing. starved: as TcpListener's.
  FilteredListener(EventLoop& loop, RepeatedWarning& failed, RepeatedWarning* starved)
      : loop_(loop), failed_(failed), listener_(loop, starved) {}
  ~FilteredListener() { Close(); }

  /// Listens on an IPv4 or IPv6 address. `onRequest` gets each connection when its filter is ready,
  /// with the peer's address as the filter knows it. False, with the reason in `error`.
  bool Listen(const std::string& address, uint16_t port, NewFilter newFilter,
              TcpListener::OnRequest onRequest, std::string& error);
  /// Nothing is handed on any more, what has begun neither.
  void Close();

  bool IsOpen() const { return !listener_.LocalAddress().empty(); }
  void SetUnreadTimeout(int seconds) { listener_.SetUnreadTimeout(seconds); }

 private:
  class Handshake;
  // What handshakes share with the listener, which may be gone before them.
  struct Shared {
    int underWay = 0;
    bool open = false;
  };

  void Begin(AcceptedSocket socket);

  EventLoop& loop_;
  RepeatedWarning& failed_;
  TcpListener listener_;
  NewFilter newFilter_;
  TcpListener::OnRequest onRequest_;
  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

}  // namespace vnq
