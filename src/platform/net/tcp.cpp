#include "platform/net/tcp.h"

#include <errno.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <iterator>
#include <new>
#include <utility>
#include <vector>

#include "platform/net/socket_address.h"

namespace vnq {
namespace {

constexpr size_t kReceiveBytes = 1024 * 1024;
constexpr size_t kMaxOwedBytes = 64 * 1024;  // that are worth a copy until the next Settle

int lingering = 0;
int lingeringUnsent = 0;

std::string PeerAddress(int descriptor) {
  SocketAddress peer;
  getpeername(descriptor, peer.any(), &peer.size);
  const std::string text = peer.Text();
  return text.empty() ? "a peer" : text;
}

// What an arrival costs: many small ones more than their bytes.
size_t HeldBytes(const std::string& arrival) {
  return arrival.size() + sizeof(std::string);
}

// One buffer serves all connections: a read is copied out at its true size, so an idle connection
// holds none.
std::vector<char>& ReceiveBuffer() {
  static thread_local std::vector<char> buffer(kReceiveBytes);
  return buffer;
}

}  // namespace

std::shared_ptr<TcpConnection> TcpConnection::Start(EventLoop& loop, AcceptedSocket socket,
                                                    Events events,
                                                    std::shared_ptr<ConnectionBudget> budget) {
  std::vector<std::string> early = socket.TakeEarly();
  auto connection = std::make_shared<TcpConnection>(ForPrivateUse{}, loop, std::move(socket),
                                                    std::move(events), std::move(budget));
  connection->UpdateWatch();
  if (!early.empty()) connection->TakeEarly(std::move(early));
  return connection;
}

TcpConnection::TcpConnection(ForPrivateUse, EventLoop& loop, AcceptedSocket socket, Events events,
                             std::shared_ptr<ConnectionBudget> budget)
    : loop_(loop),
      events_(std::move(events)),
      descriptor_(socket.Release()),
      filter_(socket.TakeFilter()),
      budget_(std::move(budget)) {
  const int on = 1;
  setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

TcpConnection::~TcpConnection() {
  Release();
}

int TcpConnection::Lingering() {
  return lingering;
}
int TcpConnection::LingeringUnsent() {
  return lingeringUnsent;
}

void TcpConnection::CountUnsent(bool unsent) {
  if (unsent == countsAsUnsent_) return;
  countsAsUnsent_ = unsent;
  lingeringUnsent += unsent ? 1 : -1;
}

bool TcpConnection::Send(std::string_view bytes) {
  if (state_ != State::kOpen || givenUp_) return false;
  if (bytes.size() > kMaxOwedBytes) loop_.Settle();
  if (!loop_.OwesSettle()) return SendNow(bytes, nullptr);
  loop_.AfterSettle(
      [self = shared_from_this(), owed = std::string(bytes)] { self->SendNow(owed, nullptr); });
  return true;
}

bool TcpConnection::Send(const SharedBytes& bytes) {
  if (state_ != State::kOpen || givenUp_) return false;
  if (!loop_.OwesSettle()) return SendNow(*bytes, bytes);
  loop_.AfterSettle([self = shared_from_this(), bytes] { self->SendNow(*bytes, bytes); });
  return true;
}

bool TcpConnection::SendNow(std::string_view bytes, const SharedBytes& shared) {
  if ((state_ != State::kOpen && state_ != State::kClosing) || givenUp_) return false;
  return filter_ ? SendWire(filter_->ToPeer(bytes), nullptr) : SendWire(bytes, shared);
}

bool TcpConnection::SendWire(std::string_view bytes, const SharedBytes& shared) {
  if (!SendAtOnce(bytes)) return false;
  if (bytes.empty()) return true;
  ChangeUnsent([&] {
    if (shared) {
      unsent_.Append(shared, shared->size() - bytes.size());
    } else {
      unsent_.Append(bytes);
    }
  });
  return true;
}

bool TcpConnection::SendAtOnce(std::string_view& bytes) {
  if (!unsent_.empty()) return true;
  loop_.NoteLetOut();
  const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (sent > 0) bytes.remove_prefix(static_cast<size_t>(sent));
  // A reset shows itself as a read event too, which ends the connection in its turn.
  return sent >= 0 || errno == EAGAIN || errno == EINTR;
}

// Half a record is worse than none: who cannot be sent the rest of one has gone.
template <typename Change>
void TcpConnection::ChangeUnsent(const Change& change) {
  const size_t before = unsent_.OwnBytes();
  bool lost = false;
  try {
    change();
  } catch (const std::bad_alloc&) {
    lost = true;
  }
  UpdateWatch();
  if (budget_) budget_->ChangeUnsent(*this, before, unsent_.OwnBytes());
  if (lost || (budget_ && unsent_.size() > budget_->limits().unsentBytes)) GiveUp();
}

// What it had sent before is still heard.
void TcpConnection::GiveUp() {
  if (givenUp_ || state_ == State::kReleased) return;
  givenUp_ = true;
  endOfStream_ = true;
  const size_t behind = unsent_.size();
  const std::string peer = PeerAddress(descriptor_);
  ChangeUnsent([this] { unsent_.Clear(); });
  if (state_ == State::kLingering) {
    Release();
  } else {
    StartArrivals();
  }
  if (budget_) budget_->NoteGivenUp(peer, behind);
}

void TcpConnection::Close() {
  if (state_ != State::kOpen) return;
  state_ = State::kClosing;
  ++lingering;
  events_ = {};
  DropArrivals();
  if (!loop_.OwesSettle()) return Linger();
  loop_.AfterSettle([self = shared_from_this()] { self->Linger(); });
}

void TcpConnection::DropArrivals() {
  size_t bytes = 0;
  for (const std::string& arrival : arrivals_) bytes += HeldBytes(arrival);
  arrivals_.clear();
  notBegun_ = 0;
  waitsToBegin_ = false;
  waitingBytes_ = 0;
  heldBytes_ -= bytes;
  if (budget_) budget_->RemoveArrived(bytes);
}

void TcpConnection::OnEvents(uint32_t epollEvents) {
  const auto keepAlive = weak_from_this().lock();
  if ((epollEvents & EPOLLOUT) != 0) Flush();
  if (state_ == State::kLingering) {
    ReceiveAndDiscard();
  } else if (state_ == State::kOpen && (epollEvents & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0) {
    Receive();
  }
}

void TcpConnection::Receive() {
  if (endOfStream_) return;
  if (!WantsToRead()) return UpdateWatch();
  std::vector<char>& buffer = ReceiveBuffer();
  const ssize_t count = recv(descriptor_, buffer.data(), buffer.size(), 0);
  if (count > 0) {
    TakeBytes({buffer.data(), static_cast<size_t>(count)});
  } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
    endOfStream_ = true;
  }
  StartArrivals();
}

void TcpConnection::TakeBytes(std::string_view bytes) {
  if (!filter_) return TakeArrival(std::string(bytes));
  StreamFilter::Result result = filter_->FromPeer(bytes);
  for (std::string& arrival : result.arrivals) TakeArrival(std::move(arrival));
  if (!result.wire.empty()) SendWire(result.wire, nullptr);
  if (result.ended) endOfStream_ = true;
}

// Their handlers start once the owner has set its events.
void TcpConnection::TakeEarly(std::vector<std::string> arrivals) {
  for (std::string& arrival : arrivals) TakeArrival(std::move(arrival));
  loop_.Enqueue([self = shared_from_this()] {
    if (self->state_ == State::kOpen) self->StartArrivals();
  });
}

void TcpConnection::TakeArrival(std::string bytes) {
  arrivals_.push_back(std::move(bytes));
  const size_t held = HeldBytes(arrivals_.back());
  waitingBytes_ += arrivals_.back().size();
  heldBytes_ += held;
  if (budget_) budget_->AddArrived(held);
}

// The next record of one peer is not kept waiting by what many others have begun.
bool TcpConnection::MayStartHandler() const {
  const size_t most = handlers_ == 0 ? EventLoop::kMaxFirstHandlers : EventLoop::kMaxHandlers;
  return loop_.LiveHandlers() < most;
}

void TcpConnection::WaitForHandlerRoom() {
  if (waitingForRoom_) return;
  waitingForRoom_ = true;
  loop_.WhenHandlerEnds(handlers_ == 0, [self = shared_from_this()] {
    self->waitingForRoom_ = false;
    self->StartArrivals();
  });
}

void TcpConnection::StartArrivals() {
  while (holds_ == 0 && !waitsToBegin_ && static_cast<size_t>(notBegun_) < arrivals_.size() &&
         handlers_ < kMaxHandlers) {
    if (!MayStartHandler()) {
      WaitForHandlerRoom();
      break;
    }
    const size_t bytes = std::next(arrivals_.begin(), notBegun_)->size();
    waitsToBegin_ = !loop_.StartHandler([self = shared_from_this()] { self->RunArrival(); }, bytes);
    waitingBytes_ -= bytes;
    ++handlers_;
    ++notBegun_;
  }
  if (endOfStream_ && arrivals_.size() == static_cast<size_t>(notBegun_)) EndOfStream();
  UpdateWatch();
}

void TcpConnection::RunArrival() {
  if (arrivals_.empty()) return HandlerEnded(0);  // closed meanwhile
  const bool hasWaited = --notBegun_ == 0 && std::exchange(waitsToBegin_, false);
  if (holds_ > 0) {  // in time another handler comes for it
    waitingBytes_ += std::next(arrivals_.begin(), notBegun_)->size();
    --handlers_;
    return;
  }
  std::string bytes = std::move(arrivals_.front());
  arrivals_.pop_front();
  if (hasWaited) StartArrivals();  // what has waited behind it
  const size_t held = HeldBytes(bytes);
  if (events_.onArrival) {
    const auto onArrival = events_.onArrival;  // Close in the handler drops the event
    try {
      onArrival(std::move(bytes));
    } catch (const std::bad_alloc&) {
      loop_.NoteOutOfMemory();
    }
  }
  HandlerEnded(held);
}

void TcpConnection::HandlerEnded(size_t heldBytes) {
  --handlers_;
  heldBytes_ -= heldBytes;
  if (budget_) budget_->RemoveArrived(heldBytes);
  if (state_ == State::kOpen) StartArrivals();
}

void TcpConnection::HoldArrivals() {
  ++holds_;
}

void TcpConnection::ReleaseArrivals() {
  --holds_;
  if (state_ == State::kOpen) StartArrivals();
}

// Behind the handlers of the last arrivals in the ready queue, so that these see the connection as
// it was.
void TcpConnection::EndOfStream() {
  if (peerClosedTold_) return;
  loop_.Enqueue([self = shared_from_this()] {
    if (self->state_ != State::kOpen) return;
    if (!self->arrivals_.empty() || self->holds_ > 0) {
      self->peerClosedTold_ = false;  // it is told again when they have begun
      return;
    }
    self->loop_.Settle();  // what was sent to a peer that only reads on
    const auto onPeerClosed = std::move(self->events_.onPeerClosed);
    self->events_ = {};
    ++lingering;
    self->Linger();
    if (onPeerClosed) onPeerClosed();
  });
  peerClosedTold_ = true;
}

void TcpConnection::Linger() {
  if (filter_ && !givenUp_) SendWire(filter_->Farewell(), nullptr);
  state_ = State::kLingering;
  if (givenUp_) return Release();
  // The timer is what keeps the connection alive from here on.
  lingerTimer_ = loop_.RunAfter(kLingerMs, [self = shared_from_this()] { self->Release(); });
  Flush();
}

// A descriptor closed over unread bytes resets the connection, and what was sent last is lost with
// it.
void TcpConnection::ReceiveAndDiscard() {
  std::vector<char>& buffer = ReceiveBuffer();
  const ssize_t count = recv(descriptor_, buffer.data(), buffer.size(), 0);
  if (count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR))) return;
  endOfStream_ = true;
  if (count < 0 || unsent_.empty()) {
    Release();
  } else {
    UpdateWatch();
  }
}

void TcpConnection::Flush() {
  if (!unsent_.empty()) ChangeUnsent([this] { SendUnsent(); });
  if (state_ == State::kLingering) CountUnsent(!unsent_.empty());
  if (state_ == State::kLingering && unsent_.empty()) {
    if (endOfStream_) return Release();
    if (!writingShut_) shutdown(descriptor_, SHUT_WR);
    writingShut_ = true;
  }
  UpdateWatch();
}

void TcpConnection::SendUnsent() {
  while (!unsent_.empty()) {
    const std::string_view bytes = unsent_.Front();
    const ssize_t sent = send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && errno != EAGAIN) unsent_.Clear();
    if (sent < 0) return;
    unsent_.Leave(static_cast<size_t>(sent));
  }
}

void TcpConnection::Release() {
  if (state_ == State::kReleased) return;
  if (state_ == State::kClosing || state_ == State::kLingering) --lingering;
  CountUnsent(false);
  state_ = State::kReleased;
  const auto keepAlive = weak_from_this().lock();  // the timer may hold the last reference
  loop_.StopTimer(lingerTimer_);
  if (watched_ != 0) loop_.Unwatch(descriptor_);
  watched_ = 0;
  if (givenUp_) {
    const linger now{1, 0};  // what the kernel still has for the peer goes too
    setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  }
  close(descriptor_);
  DropArrivals();
  if (!budget_) return;
  const size_t unsent = unsent_.OwnBytes();
  unsent_.Clear();
  budget_->ChangeUnsent(*this, unsent, 0);
  budget_->Forget(*this);
}

// Who is left unread for the others' sake has to be told when that is over.
bool TcpConnection::WantsToRead() {
  if (state_ == State::kLingering) return true;
  if (waitingBytes_ >= kMaxWaitingBytes || heldBytes_ >= kMaxHeldBytes) return false;
  if (!budget_ || budget_->MayRead(heldBytes_) || HasLittleToRead()) return true;
  budget_->WaitForRoom(*this);
  return false;
}

// Beside whatever others have filled the bound with, each peer's next small record fits.
bool TcpConnection::HasLittleToRead() const {
  int bytes = 0;
  return heldBytes_ == 0 && ioctl(descriptor_, FIONREAD, &bytes) == 0 &&
         static_cast<size_t>(bytes) <= EventLoop::kFewBytes;
}

void TcpConnection::UpdateWatch() {
  if (state_ == State::kReleased) return;
  uint32_t wanted = 0;
  if (!endOfStream_ && WantsToRead()) wanted |= EPOLLIN;
  if (!unsent_.empty()) wanted |= EPOLLOUT;
  if (wanted == watched_) return;
  // A descriptor watched for nothing still reports a hang-up without end: take it out instead.
  if (watched_ == 0) {
    loop_.Watch(descriptor_, wanted, this);
  } else if (wanted == 0) {
    loop_.Unwatch(descriptor_);
  } else {
    loop_.ChangeWatch(descriptor_, wanted);
  }
  watched_ = wanted;
}

}  // namespace vnq
