#include "host/settings/listener_settings.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/settings/ini_values.h"
#include "host/settings/listener_keys.h"
#include "support/trim.h"

namespace vnq {
namespace {

constexpr std::string_view kSectionWord = "listener";
constexpr std::string_view kKeys[] = {"protocol",    "address", "port",    "tls",
                                      "certificate", "key",     "framing", "proxy_from"};
constexpr std::array kProtocols = {6001, 6002, 6003, 6004, 6007, 6008};
constexpr int kVisitorProtocol = 6001;
constexpr int kHighestPort = 65535;

bool IsListenerSection(std::string_view section) {
  return section.starts_with(kSectionWord) &&
         (section.size() == kSectionWord.size() || section[kSectionWord.size()] == ' ');
}

void ReadProtocol(IniValues& values, std::string_view section, int& protocol) {
  values.Read(section, "protocol", 0, kHighestPort, protocol);
  if (std::find(kProtocols.begin(), kProtocols.end(), protocol) != kProtocols.end()) return;
  values.Fail(section, "protocol", values.Find(section, "protocol").value_or(""),
              "one of 6001, 6002, 6003, 6004, 6007, 6008");
}

void ReadAddress(IniValues& values, std::string_view section, std::string& address) {
  AddressList one;
  std::string wrong;
  if (!values.Read(section, "address", address)) return;
  const bool isOne = address != "none" && address.find_first_of(",/") == address.npos;
  if (isOne && one.Parse(address, wrong)) return;
  values.Fail(section, "address", address, "an IPv4 or IPv6 address");
}

void ReadFraming(IniValues& values, std::string_view section, ListenerSettings& listener) {
  std::string framing;
  if (!values.Read(section, "framing", framing)) return;
  listener.webSocket = framing == "websocket";
  if (!listener.webSocket && framing != "plain") {
    values.Fail(section, "framing", framing, "one of plain, websocket");
  } else if (listener.webSocket && listener.protocol == kVisitorProtocol) {
    values.Fail(section, "framing", framing, "for protocol 6001, which is WebSocket by itself");
  }
}

void ReadTls(IniValues& values, std::string_view section, ListenerSettings& listener) {
  values.Read(section, "tls", listener.tls);
  values.Read(section, "certificate", listener.certificateFile);
  values.Read(section, "key", listener.keyFile);
  for (const auto& [key, file] :
       {std::pair<std::string_view, const std::string&>("certificate", listener.certificateFile),
        {"key", listener.keyFile}}) {
    if (listener.tls && file.empty()) values.Fail(section, key, "", "a file, which tls=yes needs");
  }
}

void ReadProxies(IniValues& values, std::string_view section, AddressList& proxies) {
  std::string text, wrong;
  if (!values.Read(section, "proxy_from", text) || proxies.Parse(text, wrong)) return;
  values.Fail(section, "proxy_from", text,
              "a list of addresses and networks: \"" + wrong + "\" is none");
}

}  // namespace

std::span<const std::string_view> ListenerKeys() {
  return kKeys;
}

void ReadListeners(IniValues& values, const std::string& bindAddress,
                   std::vector<ListenerSettings>& listeners) {
  for (const std::string& section : values.Sections()) {
    if (!IsListenerSection(section) || !values.ok()) continue;
    ListenerSettings listener;
    listener.name = TrimBlanks(std::string_view(section).substr(kSectionWord.size()));
    listener.address = bindAddress;
    ReadProtocol(values, section, listener.protocol);
    ReadAddress(values, section, listener.address);
    if (!values.Read(section, "port", 1, kHighestPort, listener.port)) {
      values.Fail(section, "port", "", "a number from 1 to 65535");
    }
    ReadTls(values, section, listener);
    ReadFraming(values, section, listener);
    ReadProxies(values, section, listener.proxyFrom);
    values.KnowOnly(section, kKeys);
    listeners.push_back(std::move(listener));
  }
}

}  // namespace vnq
