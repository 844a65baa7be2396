// TCP listeners and connections on the event loop.
//
// One recv of everything that is there is one arrival, or what a filter makes of it
// (stream_filter.h), and each arrival starts one handler. End of stream is acted on only after
// every arrival in front of it has been started.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/net/connection_budget.h"
#include "platform/net/event_loop.h"
#include "platform/net/outgoing_bytes.h"
#include "platform/net/repeated_warning.h"
#include "platform/net/stream_filter.h"

namespace vnq {

/// A connection request that was taken from a listener and has no owner yet. Closes its descriptor
/// unless it is handed on.
class AcceptedSocket {
 public:
  AcceptedSocket(int descriptor, std::string remoteIp)
      : descriptor_(descriptor), remoteIp_(std::move(remoteIp)) {}
  AcceptedSocket(AcceptedSocket&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)),
        remoteIp_(std::move(other.remoteIp_)),
        filter_(std::move(other.filter_)),
        early_(std::move(other.early_)) {}
  AcceptedSocket& operator=(AcceptedSocket&&) = delete;
  ~AcceptedSocket();

  /// Gives the descriptor away.
  int Release() { return std::exchange(descriptor_, -1); }

  int descriptor() const { return descriptor_; }
  const std::string& remoteIp() const { return remoteIp_; }

  /// The connection's bytes go through a filter that is ready, which may know better who the peer
  /// is. early: arrivals that have come already.
  void SpeakThrough(std::unique_ptr<StreamFilter> filter, std::vector<std::string> early);

  /// The filter, null without one; and what has come already. Each once.
  std::unique_ptr<StreamFilter> TakeFilter() { return std::move(filter_); }
  std::vector<std::string> TakeEarly() { return std::move(early_); }

 private:
  int descriptor_;
  std::string remoteIp_;
  std::unique_ptr<StreamFilter> filter_;
  std::vector<std::string> early_;
};

/// A listening socket. Each request is enqueued as a step of its own.
class TcpListener : private EventLoop::Watcher {
 public:
  using OnRequest = std::function<void(AcceptedSocket)>;

  /// starved  is told when no connection can be accepted, which is then tried ten times a second:
  ///          the process or the machine is out of descriptors or memory. May be null.
  explicit TcpListener(EventLoop& loop, RepeatedWarning* starved = nullptr)
      : loop_(loop), starved_(starved) {}
  ~TcpListener() override { Close(); }

  /// Listens on an IPv4 or IPv6 address. False, with the reason in `error`: the listener stays
  /// closed.
  bool Listen(const std::string& address, uint16_t port, OnRequest onRequest, std::string& error);
  void Close();

  /// How long a peer may leave unread what was sent to it, or be away from the network, before its
  /// connection is reset; 0: as long as it likes. For connections from now on.
  void SetUnreadTimeout(int seconds) { unreadTimeoutS_ = seconds; }

  /// The address that it is bound to; empty while closed.
  const std::string& LocalAddress() const { return localAddress_; }

 private:
  void OnEvents(uint32_t epollEvents) override;
  void Pause(int error);

  EventLoop& loop_;
  RepeatedWarning* starved_;
  OnRequest onRequest_;
  std::string localAddress_;
  int descriptor_ = -1;
  int unreadTimeoutS_ = 0;
  EventLoop::TimerId pause_ = 0;
};

/// One connection, from its acceptance until one of the two sides ends it.
///
/// Held by shared_ptr: a closed connection lives on by itself until what was sent has left.
///
/// What it holds counts against a budget. A peer that is further behind than it allows is ended by
/// a reset, and is told of as one that has gone; one that sends more than handlers work off is left
/// unread for a while.
class TcpConnection : private EventLoop::Watcher,
                      private ConnectionBudget::Holder,
                      public std::enable_shared_from_this<TcpConnection> {
 public:
  struct Events {
    std::function<void(std::string bytes)> onArrival;  ///< run as a handler, which may yield
    std::function<void()> onPeerClosed;                ///< end of stream or a reset; a plain step
  };

  /// Arrivals of one connection whose handlers may be alive at one time.
  static constexpr int kMaxHandlers = 8;
  /// Bytes that may wait for a handler before the socket is left unread.
  static constexpr size_t kMaxWaitingBytes = 64 * 1024;
  /// Bytes that may wait or be with handlers before the same.
  static constexpr size_t kMaxHeldBytes = kMegabyte;
  /// How long a closed connection may take to hand over what was sent.
  static constexpr int64_t kLingerMs = 3000;

  /// budget: null for a connection without bounds.
  static std::shared_ptr<TcpConnection> Start(EventLoop& loop, AcceptedSocket socket, Events events,
                                              std::shared_ptr<ConnectionBudget> budget = nullptr);

  /// Replaces the events; for an owner that needs the connection to name itself in them.
  void SetEvents(Events events) { events_ = std::move(events); }

  ~TcpConnection() override;

  /// Sends at once, or behind the loop's next Settle where that is owed; what the kernel does not
  /// take waits. One call to the system for each, in the order of these calls over all connections.
  /// False once either side has closed.
  bool Send(std::string_view bytes);

  /// The same of bytes that go to others too: what waits is not copied.
  bool Send(const SharedBytes& bytes);

  /// Until the second call, arrivals behind the one that a handler works on wait for it even while
  /// it yields.
  void HoldArrivals();
  void ReleaseArrivals();

  /// Ends the connection: no more events, waiting arrivals are dropped, and the descriptor closes
  /// once the peer has taken what was sent. The peer sees it behind the loop's next Settle.
  void Close();

  /// What the kernel has not taken yet.
  size_t UnsentBytes() const override { return unsent_.size(); }

  /// Connections of this process that are closed here and not yet by their peer, and how many of
  /// them still have something to send.
  static int Lingering();
  static int LingeringUnsent();

 private:
  struct ForPrivateUse {};

 public:
  TcpConnection(ForPrivateUse, EventLoop& loop, AcceptedSocket socket, Events events,
                std::shared_ptr<ConnectionBudget> budget);

 private:
  enum class State { kOpen, kClosing, kLingering, kReleased };

  void OnEvents(uint32_t epollEvents) override;
  void GiveUp() override;
  void ReadOn() override { UpdateWatch(); }

  /// shared: what the bytes lie in, null where they have to be copied to wait.
  bool SendNow(std::string_view bytes, const SharedBytes& shared);
  bool SendWire(std::string_view bytes, const SharedBytes& shared);
  /// Hands the kernel what it takes of the bytes; the rest is what is left of them. False: lost.
  bool SendAtOnce(std::string_view& bytes);
  template <typename Change>
  void ChangeUnsent(const Change& change);
  void Receive();
  void TakeBytes(std::string_view bytes);
  void TakeArrival(std::string bytes);
  void TakeEarly(std::vector<std::string> arrivals);
  void DropArrivals();
  void ReceiveAndDiscard();
  void Flush();
  void SendUnsent();
  bool MayStartHandler() const;
  void WaitForHandlerRoom();
  void StartArrivals();
  void RunArrival();
  void HandlerEnded(size_t heldBytes);
  bool WantsToRead();
  bool HasLittleToRead() const;
  void EndOfStream();
  void Linger();
  void Release();
  void UpdateWatch();
  void CountUnsent(bool unsent);

  EventLoop& loop_;
  Events events_;
  int descriptor_;
  State state_ = State::kOpen;
  bool endOfStream_ = false;
  bool givenUp_ = false;  // it was too far behind
  bool peerClosedTold_ = false;
  bool waitingForRoom_ = false;
  bool waitsToBegin_ = false;  // the last handler started, for a later turn
  bool writingShut_ = false;
  bool countsAsUnsent_ = false;
  uint32_t watched_ = 0;
  int handlers_ = 0;         // started and not ended
  int notBegun_ = 0;         // of these, which take the arrivals in front when they begin
  int holds_ = 0;            // handlers that others wait for
  size_t waitingBytes_ = 0;  // of arrivals without a handler
  size_t heldBytes_ = 0;     // of all that wait or are with handlers
  std::unique_ptr<StreamFilter> filter_;  // null: bytes travel as they are
  std::list<std::string> arrivals_;       // an empty list holds no memory, as most are
  OutgoingBytes unsent_;
  std::shared_ptr<ConnectionBudget> budget_;
  EventLoop::TimerId lingerTimer_ = 0;
};

}  // namespace vnq
