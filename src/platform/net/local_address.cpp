#include "platform/net/local_address.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>

namespace vnq {

std::string FirstLocalAddress() {
  std::string found = "127.0.0.1";
  ifaddrs* interfaces = nullptr;
  if (getifaddrs(&interfaces) != 0) return found;
  for (const ifaddrs* entry = interfaces; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) continue;
    const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
    if ((ntohl(address->sin_addr.s_addr) >> 24) == 127) continue;
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
    found = text;
    break;
  }
  freeifaddrs(interfaces);
  return found;
}

}  // namespace vnq
