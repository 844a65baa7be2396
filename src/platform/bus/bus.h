// What carries words between the nodes of a cluster at once, and may lose any of them.
//
// Nothing that must not be lost travels here alone: the database is what the nodes share. What one
// node sends to another arrives in the order of sending, or not at all.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vnq {

class Bus {
 public:
  /// Each runs as a step of the event loop; none may yield.
  struct Events {
    std::function<void()> onConnected;                   ///< first, and after each loss
    std::function<void(const std::string& why)> onLost;  ///< once a loss; also a first try in vain
    std::function<void(const std::string& bytes)> onWord;  ///< from another node
  };

  virtual ~Bus() = default;

  /// Begins to connect, and tries again for good. Called once.
  virtual void Open(Events events) = 0;

  /// To one node, or to all others. Does not wait; lost while the bus is.
  virtual void Send(std::string_view node, std::string bytes) = 0;
  virtual void SendToAll(std::string bytes) = 0;

  /// Sends what waits, for a quarter of a second at most, and ends the connection.
  virtual void Close() = 0;
};

}  // namespace vnq
