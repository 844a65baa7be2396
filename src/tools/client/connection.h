// A TCP connection of a client, IPv4 or IPv6, plain or through TLS, with a limit on every wait.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/net/stream_filter.h"
#include "platform/net/tls.h"

namespace vnq {

class Connection {
 public:
  Connection() = default;
  ~Connection() { Close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Connection(Connection&& other) noexcept;
  Connection& operator=(Connection&& other) noexcept;

  /// Connects to a host name or address. A connection that was open is closed first.
  ///
  /// tls    whom to believe; null: plain. The pointer is not kept.
  /// error  why it failed, for a person: "cannot reach 10.0.0.9 port 6004: Connection refused".
  bool Open(const std::string& host, uint16_t port, int timeoutMs, std::string& error,
            const TlsClient* tls = nullptr);
  void Close();
  bool IsOpen() const { return fd_ >= 0; }

  /// The descriptor, for poll(); -1 when closed.
  int fd() const { return fd_; }

  /// True when Read has something to hand out that poll() does not know of.
  bool HasRead() const { return !early_.empty(); }

  /// The machine's own address on this connection, "127.0.0.1"; empty when closed.
  std::string LocalAddress() const;

  /// Sends all of `bytes`, waiting at most `timeoutMs` for room. False: the peer is gone or takes
  /// nothing.
  bool Send(std::string_view bytes, int timeoutMs);

  enum class ReadResult { kNothing, kData, kClosed };

  /// Appends what has arrived to `bytes`, waiting at most `timeoutMs` for something to arrive.
  /// kClosed: the peer has closed or reset, and everything it sent before has been handed out.
  ReadResult Read(std::string& bytes, int timeoutMs);

 private:
  bool ConnectTo(int family, const void* address, size_t addressBytes, int timeoutMs);
  bool Agree(int timeoutMs, std::string& why);
  bool SendWire(std::string_view wire, int timeoutMs);
  ReadResult TakeWire(std::string_view wire, std::string& bytes);

  int fd_ = -1;
  std::unique_ptr<StreamFilter> filter_;  // null: plain
  std::string early_;                     // came with the agreement on TLS
};

}  // namespace vnq
