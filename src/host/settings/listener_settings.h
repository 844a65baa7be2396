// Listeners beside the six fixed ones: sections [listener NAME] of platform.ini.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/net/address_list.h"

namespace vnq {

class IniValues;

struct ListenerSettings {
  std::string name;
  int protocol = 0;  ///< number of the fixed port whose commands it speaks
  std::string address;
  int port = 0;
  bool tls = false;
  std::string certificateFile, keyFile;
  bool webSocket = false;  ///< what is said travels in WebSocket messages
  AddressList proxyFrom;   ///< given: connections come from these proxies alone, with their header
};

/// Reads all such sections, by the alphabet of their names. A listener whose address is not given
/// has `bindAddress`.
void ReadListeners(IniValues& values, const std::string& bindAddress,
                   std::vector<ListenerSettings>& listeners);

}  // namespace vnq
