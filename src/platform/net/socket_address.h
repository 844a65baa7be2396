// Private to platform: addresses of sockets.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

namespace vnq {

/// An IPv4 or IPv6 address and a port, as the system's calls want them.
struct SocketAddress {
  sockaddr_storage bytes{};
  socklen_t size = sizeof bytes;

  sockaddr* any() { return reinterpret_cast<sockaddr*>(&bytes); }
  sockaddr_in* v4() { return reinterpret_cast<sockaddr_in*>(&bytes); }
  sockaddr_in6* v6() { return reinterpret_cast<sockaddr_in6*>(&bytes); }

  /// False where the text is no address.
  bool Set(const std::string& address, uint16_t port) {
    if (inet_pton(AF_INET, address.c_str(), &v4()->sin_addr) == 1) {
      bytes.ss_family = AF_INET;
      v4()->sin_port = htons(port);
      size = sizeof(sockaddr_in);
      return true;
    }
    if (inet_pton(AF_INET6, address.c_str(), &v6()->sin6_addr) != 1) return false;
    bytes.ss_family = AF_INET6;
    v6()->sin6_port = htons(port);
    size = sizeof(sockaddr_in6);
    return true;
  }

  /// The address; empty where it is of no kind that is known.
  std::string Text() {
    char text[INET6_ADDRSTRLEN] = "";
    const void* address = &v4()->sin_addr;
    if (bytes.ss_family == AF_INET6) address = &v6()->sin6_addr;
    inet_ntop(bytes.ss_family, address, text, sizeof text);
    return text;
  }
};

}  // namespace vnq
