#include "host/slots/slots.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <limits>

#include "host/values/skipped.h"
#include "platform/system/event_log.h"
#include "support/printable.h"

namespace vnq {
namespace {
const std::string kNothing;
constexpr size_t kLongestTagSaid = 64;
}  // namespace

SlotArray::SlotArray(EventLoop& loop, std::string name, bool clearsTag,
                     std::shared_ptr<ConnectionBudget> budget)
    : loop_(loop),
      name_(std::move(name)),
      full_(loop, name_ + ": no slot left", "slots_full"),
      ends_(loop, name_ + ": ends of connections", kEndsSaidAMinute),
      clearsTag_(clearsTag),
      budget_(std::move(budget)),
      slots_(1) {
  AddSlot();
}

void SlotArray::AddSlot() {
  slots_.emplace_back();
  closed_.Insert(Highest());
  EnterTag(Highest(), "");
}

void SlotArray::EnterTag(SlotIndex slot, const std::string& tag) {
  SlotList& slots = byTag_[tag];
  slots.insert(std::lower_bound(slots.begin(), slots.end(), slot), slot);
}

void SlotArray::LeaveTag(SlotIndex slot, const std::string& tag) {
  const auto found = byTag_.find(tag);
  SlotList& slots = found->second;
  slots.erase(std::lower_bound(slots.begin(), slots.end(), slot));
  if (slots.empty()) byTag_.erase(found);
}

SlotIndex SlotArray::TakeClosedSlot() {
  const int closed = closed_.Next(1);
  if (closed != kNoSlot) return static_cast<SlotIndex>(closed);
  if (Highest() == std::numeric_limits<SlotIndex>::max()) return kNoSlot;
  AddSlot();
  return Highest();
}

// The slot bears its tag and is connected, or just now did and was.
void SlotArray::TellNamed(SlotIndex slot, bool isThere) {
  const std::string& tag = Tag(slot);
  if (!tag.empty() && FirstConnected(tag, slot) == kNoSlot) onNamed_(tag, isThere);
}

void SlotArray::SetState(SlotIndex slot, SocketState state) {
  const bool wasConnected = IsConnected(slot), isConnected = state == SocketState::kConnected;
  slots_[static_cast<size_t>(slot)].state = state;
  closed_.Erase(slot);
  connected_.Erase(slot);
  if (state == SocketState::kClosed) closed_.Insert(slot);
  if (isConnected) connected_.Insert(slot);
  if (onNamed_ && wasConnected != isConnected) TellNamed(slot, isConnected);
}

SlotIndex SlotArray::Accept(AcceptedSocket request) {
  const SlotIndex slot = TakeClosedSlot();
  if (slot == kNoSlot) {
    full_.Note("all " + std::to_string(Highest()) + " are taken, and a connection from " +
               request.remoteIp() + " was refused");
    return kNoSlot;
  }
  if (clearsTag_) SetTag(slot, "");
  Slot& entry = slots_[static_cast<size_t>(slot)];
  entry.remoteHostIp = request.remoteIp();
  entry.connectionNumber = ++connections_;
  entry.acceptedMs = loop_.NowMs();
  TcpConnection::Events events;
  events.onArrival = [this, slot](std::string bytes) {
    if (onArrival_) onArrival_(slot, std::move(bytes));
  };
  entry.connection = TcpConnection::Start(loop_, std::move(request), {}, budget_);
  events.onPeerClosed = [this, slot, connection = entry.connection.get()] {
    PeerClosed(slot, connection);
  };
  entry.connection->SetEvents(std::move(events));
  SetState(slot, SocketState::kConnected);
  return slot;
}

void SlotArray::PeerClosed(SlotIndex slot, const TcpConnection* connection) {
  Slot& entry = slots_[static_cast<size_t>(slot)];
  if (entry.connection.get() != connection) return;
  SayEnded(entry, "by the peer");
  SetState(slot, SocketState::kClosing);
  entry.connection.reset();
}

// Those without a name are beyond counting: scans, and what reloads a web page.
void SlotArray::SayEnded(const Slot& slot, std::string_view how) {
  if (!slot.connection) return;
  const int64_t seconds = (loop_.NowMs() - slot.acceptedMs) / 1000;
  if (slot.tag.empty()) {
    spdlog::debug("{}: connection from {} ended after {} s, {}", name_, slot.remoteHostIp, seconds,
                  how);
  } else if (ends_.Admits()) {
    LogInfo("disconnected", "{}: connection of {} from {} ended after {} s, {}", name_,
            Printable(slot.tag, kLongestTagSaid), slot.remoteHostIp, seconds, how);
  }
}

SocketState SlotArray::State(SlotIndex slot) const {
  return Exists(slot) ? slots_[static_cast<size_t>(slot)].state : SocketState::kClosed;
}

const std::string& SlotArray::Tag(SlotIndex slot) const {
  return Exists(slot) ? slots_[static_cast<size_t>(slot)].tag : kNothing;
}

void SlotArray::SetTag(SlotIndex slot, const Expr& tag) {
  if (Skips("Tag", tag) || !Exists(slot)) return;
  Slot& entry = slots_[static_cast<size_t>(slot)];
  if (entry.tag == tag.text()) return;
  const bool isTold = onNamed_ && IsConnected(slot);
  if (isTold) TellNamed(slot, false);
  if (tag.text().empty()) SayEnded(entry, "with its session");
  LeaveTag(slot, entry.tag);
  entry.tag = tag.text();
  EnterTag(slot, entry.tag);
  if (isTold) TellNamed(slot, true);
}

const std::string& SlotArray::RemoteHostIP(SlotIndex slot) const {
  return Exists(slot) ? slots_[static_cast<size_t>(slot)].remoteHostIp : kNothing;
}

int64_t SlotArray::AcceptedMs(SlotIndex slot) const {
  return Exists(slot) ? slots_[static_cast<size_t>(slot)].acceptedMs : 0;
}

size_t SlotArray::UnsentBytes(SlotIndex slot) const {
  return IsConnected(slot) ? slots_[static_cast<size_t>(slot)].connection->UnsentBytes() : 0;
}

bool SlotArray::Send(SlotIndex slot, std::string_view bytes) {
  if (!IsConnected(slot)) {
    NoteSkipped("send", "slot not connected");
    return false;
  }
  return slots_[static_cast<size_t>(slot)].connection->Send(bytes);
}

bool SlotArray::Send(SlotIndex slot, const SharedBytes& bytes) {
  if (!IsConnected(slot)) {
    NoteSkipped("send", "slot not connected");
    return false;
  }
  return slots_[static_cast<size_t>(slot)].connection->Send(bytes);
}

SharedBytes SlotArray::Share(std::string bytes) {
  if (budget_) return budget_->Share(std::move(bytes));
  return std::make_shared<const std::string>(std::move(bytes));
}

void SlotArray::LetOthersRun(SlotIndex slot) {
  const auto connection = Exists(slot) ? slots_[static_cast<size_t>(slot)].connection : nullptr;
  if (connection) connection->HoldArrivals();
  loop_.Yield();
  if (connection) connection->ReleaseArrivals();
}

void SlotArray::Close(SlotIndex slot) {
  if (!Exists(slot)) return;
  Slot& entry = slots_[static_cast<size_t>(slot)];
  SayEnded(entry, "by the server");
  if (entry.connection) entry.connection->Close();
  entry.connection.reset();
  SetState(slot, SocketState::kClosed);
}

void SlotArray::Lose(SlotIndex slot) {
  if (!IsConnected(slot)) return;
  Slot& entry = slots_[static_cast<size_t>(slot)];
  SayEnded(entry, "by the server");
  entry.connection->Close();
  entry.connection.reset();
  SetState(slot, SocketState::kClosing);
}

uint64_t SlotArray::ConnectionNumber(SlotIndex slot) const {
  return Exists(slot) ? slots_[static_cast<size_t>(slot)].connectionNumber : 0;
}

SlotIndex SlotArray::FirstConnected(const Expr& tag, SlotIndex except) const {
  if (Skips("look for a tag", tag)) return kNoSlot;
  if (tag.text().empty()) return FirstUnnamed(except);
  const auto found = byTag_.find(tag.text());
  if (found == byTag_.end()) return kNoSlot;
  for (const SlotIndex slot : found->second) {
    if (slot != except && IsConnected(slot)) return slot;
  }
  return kNoSlot;
}

// Nearly all that have no name are closed slots.
SlotIndex SlotArray::FirstUnnamed(SlotIndex except) const {
  for (const SlotIndex slot : AllConnected()) {
    if (slot != except && Tag(slot).empty()) return slot;
  }
  return kNoSlot;
}

SlotIndex SlotArray::FirstWithTag(const Expr& tag) const {
  if (Skips("look for a tag", tag)) return kNoSlot;
  const auto found = byTag_.find(tag.text());
  return found == byTag_.end() ? kNoSlot : found->second.front();
}

}  // namespace vnq
