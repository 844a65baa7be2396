// A main port of the tests' own: one connection, records in and out, on a loopback port of its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/settings/ansi_code_page.h"
#include "tools/client/connection.h"

namespace vnq {

class FakeServer {
 public:
  FakeServer();
  ~FakeServer();
  FakeServer(const FakeServer&) = delete;
  FakeServer& operator=(const FakeServer&) = delete;

  uint16_t port() const { return port_; }

  /// Waits for the next client, for at most some seconds; a client that is there is let go.
  bool Accept();

  /// Sends records as one Base64 text.
  void Send(std::string_view records);

  /// Sends bytes as they are.
  void SendBytes(std::string_view bytes);

  /// The next read of the connection, decoded, without line feeds; empty when the client has
  /// closed.
  std::string Receive();

  /// The same as it came.
  std::string ReceiveBytes();

  /// Reads up to the client's close.
  void ReceiveAll();

  void CloseClient();

  const AnsiText& ansi() const { return ansi_; }

 private:
  AnsiCodePage ansi_;
  int listener_ = -1;
  int client_ = -1;
  uint16_t port_ = 0;
};

}  // namespace vnq
