// Connections that this process opens itself.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "platform/net/event_loop.h"
#include "platform/net/tcp.h"

namespace vnq {

/// A connected socket, ready for TcpConnection::Start; nothing when there is none.
using OnConnected = std::function<void(std::optional<AcceptedSocket>)>;

/// Connects to an IPv4 address beside everything else that the loop does.
///
/// done  a plain step, run exactly once and never inside this call: with the socket, or with
///       nothing when the address is none, nobody listens there, or `timeoutMs` are over. Not run
///       any more once the loop is gone.
/// Yields: no.
void ConnectTcp(EventLoop& loop, const std::string& address, uint16_t port, int64_t timeoutMs,
                OnConnected done);

}  // namespace vnq
