// A main port of the tests' own, for what the server sends as a client.
#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {

/// Listens on port 6004 of an address that no server here has. Nothing is accepted before the test
/// asks for it.
class FakeMainPort {
 public:
  explicit FakeMainPort(TestServer& server, int backlog = 8) : server_(server) {
    listener_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    static int count = 0;
    const unsigned number =
        static_cast<unsigned>(getpid()) * 4u + static_cast<unsigned>(count++ % 4);
    address_ = fmt::format("127.{}.{}.{}", 220 + (number / (254 * 254)) % 30,
                           1 + (number / 254) % 254, 1 + number % 254);
    const sockaddr_in own = Address();
    const int on = 1;
    setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    EXPECT_EQ(listen(listener_, backlog), 0);
  }
  ~FakeMainPort() {
    if (connection_ >= 0) close(connection_);
    close(listener_);
  }
  FakeMainPort(const FakeMainPort&) = delete;
  FakeMainPort& operator=(const FakeMainPort&) = delete;

  const std::string& address() const { return address_; }

  sockaddr_in Address() const {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_port = htons(6004);
    inet_pton(AF_INET, address_.c_str(), &own.sin_addr);
    return own;
  }

  /// Takes the next connection; false when there is none.
  bool Accept() {
    server_.Pump();
    connection_ = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    return connection_ >= 0;
  }

  void Greet() {
    const std::string wire = Base64EncodeText(server_.page(), ".+SuccessfulConnection|#");
    EXPECT_EQ(send(connection_, wire.data(), wire.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(wire.size()));
    server_.Pump();
  }

  /// What has come, decoded as one text.
  std::string Receive() {
    server_.Pump();
    char buffer[65536];
    const ssize_t count = recv(connection_, buffer, sizeof buffer, 0);
    if (count <= 0) return "";
    return Base64DecodeText(server_.page(), std::string(buffer, static_cast<size_t>(count)));
  }

  /// True when the client has ended the connection and everything was received.
  bool IsClosed() {
    server_.Pump();
    char byte = 0;
    return recv(connection_, &byte, 1, MSG_PEEK) == 0;
  }

 private:
  TestServer& server_;
  std::string address_;
  int listener_ = -1;
  int connection_ = -1;
};

}  // namespace vnq
