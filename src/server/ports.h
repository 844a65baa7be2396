// The six ports: a row each, and what load, a read and unload do with it.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/host.h"
#include "host/slots/dispatcher.h"
#include "platform/net/tcp.h"
#include "server/extra_listeners.h"

namespace vnq {

/// What is on the wire of a port.
enum class Wire { kBase64, kPlainText, kWebSocket };

/// The text of a read; nothing where there is none to run.
using TextReader = std::optional<std::string> (*)(Host& host, SlotIndex slot,
                                                  const std::string& bytes);

// The columns stand in the order in which the table is read.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct PortRow {
  uint16_t number;  ///< a constant of the program: clients know no other
  std::string_view purpose;
  int unloadTurn;  ///< load goes over the ports as the rows stand, unload by this number
  SlotArray Host::*slots;
  std::string_view greeting;  ///< goes to each new connection; empty: none
  Wire wire;
  TextReader read;
  bool splits;                    ///< a read is any number of records; else it is one
  PendingRecords Host::*pending;  ///< where unfinished records wait; null: nothing is carried over
  std::span<const CommandRow> (*commands)();
  void (*takeLeave)(Host& host, SlotIndex slot);  ///< runs at unload for each connected slot before
                                                  ///< it is closed; null: nothing
};

inline constexpr uint16_t kClientPort = 6004;

/// All rows, in the order of load.
std::span<const PortRow> PortTable();

class Ports {
 public:
  /// Ties each port's reads to its commands; opens nothing.
  explicit Ports(Host& host);

  /// Opens the listeners of ports and deployment. One that cannot be bound is silent, and said.
  void Load();

  /// Takes leave of the connected slots and closes them and the listener, port by port. Runs as a
  /// handler. Yields: yes.
  void Unload();

  /// One read of a slot, all bytes that one receive gave. Runs as a handler. Yields: yes.
  void OnRead(uint16_t number, SlotIndex slot, const std::string& bytes);

  /// The ports that are not bound, in the order of load.
  std::vector<uint16_t> Unbound() const;

  /// The local address of a port's listener, empty where it is not bound.
  const std::string& LocalAddress(uint16_t number);

  const Dispatcher& DispatcherOf(uint16_t number);

  /// The listeners beside those of the ports.
  ExtraListeners& extra() { return extra_; }

 private:
  struct Port {
    Port(const PortRow& portRow, EventLoop& loop, RepeatedWarning& starved)
        : row(portRow),
          listener(loop, &starved),
          dispatcher(portRow.commands(), portRow.slots, portRow.splits, portRow.pending) {}

    const PortRow& row;
    TcpListener listener;
    Dispatcher dispatcher;
  };

  Port& Find(uint16_t number);
  TcpListener::OnRequest RequestsOf(Port& port);
  void Listen(Port& port);
  void Read(Port& port, SlotIndex slot, std::string bytes);
  void TakeLeave(const PortRow& row, SlotIndex slot);
  void CloseSlots(const PortRow& row);

  Host& host_;
  RepeatedWarning starved_;
  std::deque<Port> ports_;
  ExtraListeners extra_;
};

}  // namespace vnq
