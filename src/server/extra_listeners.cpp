#include "server/extra_listeners.h"

#include "platform/net/proxy_protocol.h"
#include "platform/net/websocket_filter.h"
#include "platform/system/event_log.h"

namespace vnq {

ExtraListeners::ExtraListeners(EventLoop& loop, const std::vector<ListenerSettings>& settings,
                               RepeatedWarning& starved)
    : failed_(loop, "connection came to nothing", "connection_failed") {
  for (const ListenerSettings& one : settings) listeners_.emplace_back(loop, one, failed_, starved);
}

// --- One of them ---

bool ExtraListeners::Listener::Open(const TcpListener::OnRequest& onRequest, std::string& error) {
  if (settings.tls && !tls.Load(settings.certificateFile, settings.keyFile, error)) return false;
  return listener.Listen(
      settings.address, static_cast<uint16_t>(settings.port),
      [this](const std::string& remoteIp) { return NewFilter(remoteIp); }, onRequest, error);
}

// A proxy's header stands in front of TLS: the proxy does not read what it carries.
std::unique_ptr<StreamFilter> ExtraListeners::Listener::NewFilter(
    const std::string& remoteIp) const {
  if (!settings.proxyFrom.Allows(remoteIp)) return nullptr;
  auto filters = std::make_unique<FilterStack>();
  if (settings.proxyFrom.IsGiven()) filters->Add(std::make_unique<ProxyHeaderFilter>());
  if (settings.tls) filters->Add(tls.Filter());
  if (settings.webSocket) filters->Add(std::make_unique<WebSocketFilter>());
  return filters;
}

// --- All of them ---

void ExtraListeners::Load(const RequestsOf& requestsOf, int unreadTimeoutS) {
  for (Listener& each : listeners_) {
    each.listener.SetUnreadTimeout(unreadTimeoutS);
    std::string error;
    if (!each.Open(requestsOf(static_cast<uint16_t>(each.settings.protocol)), error)) {
      LogError("port_not_bound", "cannot open listener {}: {}", each.settings.name, error);
    }
  }
}

void ExtraListeners::Close(uint16_t protocol) {
  for (Listener& each : listeners_) {
    if (each.settings.protocol == protocol) each.listener.Close();
  }
}

void ExtraListeners::ReadCertificatesAgain() {
  for (Listener& each : listeners_) {
    const ListenerSettings& settings = each.settings;
    std::string error;
    if (!settings.tls || !each.listener.IsOpen()) continue;
    if (each.tls.Load(settings.certificateFile, settings.keyFile, error)) {
      LogInfo("reload", "listener {}: certificate read again", settings.name);
    } else {
      LogWarning("reload_failed", "listener {}: certificate not read again, the old one stays: {}",
                 settings.name, error);
    }
  }
}

std::vector<std::string> ExtraListeners::Closed() const {
  std::vector<std::string> names;
  for (const Listener& each : listeners_) {
    if (!each.listener.IsOpen()) names.push_back(each.settings.name);
  }
  return names;
}

}  // namespace vnq
