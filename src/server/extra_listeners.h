// The listeners that a deployment adds beside the six fixed ports, each speaking one port's
// protocol in another way: through TLS, in WebSocket messages, behind a proxy, on an IPv6 address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/settings/listener_settings.h"
#include "platform/net/filtered_listener.h"
#include "platform/net/tls.h"

namespace vnq {

class ExtraListeners {
 public:
  /// What a fixed port does with a connection request.
  using RequestsOf = std::function<TcpListener::OnRequest(uint16_t protocol)>;

  ExtraListeners(EventLoop& loop, const std::vector<ListenerSettings>& settings,
                 RepeatedWarning& starved);

  /// Opens them. One that cannot be opened stays silent, and a line says why.
  /// unreadTimeoutS: see TcpListener.
  void Load(const RequestsOf& requestsOf, int unreadTimeoutS);

  /// Closes those of a port, whose connections are ended as the port's own.
  void Close(uint16_t protocol);

  /// Reads certificates and keys as load does, for connections from now on, and says so. An old one
  /// stays where the new one cannot be used.
  void ReadCertificatesAgain();

  size_t Count() const { return listeners_.size(); }
  /// The names of those that are not open, in the order of their names.
  std::vector<std::string> Closed() const;

 private:
  struct Listener {
    Listener(EventLoop& loop, const ListenerSettings& itsSettings, RepeatedWarning& failed,
             RepeatedWarning& starved)
        : settings(itsSettings), listener(loop, failed, &starved) {}

    bool Open(const TcpListener::OnRequest& onRequest, std::string& error);
    std::unique_ptr<StreamFilter> NewFilter(const std::string& remoteIp) const;

    const ListenerSettings settings;
    TlsServer tls;
    FilteredListener listener;
  };

  RepeatedWarning failed_;
  std::deque<Listener> listeners_;
};

}  // namespace vnq
