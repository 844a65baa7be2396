// A bus between servers of one process: what is sent arrives with the receiver's next turn.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/bus/bus.h"
#include "platform/net/event_loop.h"

namespace vnq {

/// Outlives the buses that it gives.
class InProcessHub {
 public:
  std::unique_ptr<Bus> Connect(EventLoop& loop, std::string node) {
    return std::make_unique<Member>(*this, loop, std::move(node));
  }

  /// Loses the bus for everybody, and brings it back.
  void Stop() {
    stands_ = false;
    for (auto& [name, member] : members_) member->Lose();
  }
  void GoOn() {
    stands_ = true;
    for (auto& [name, member] : members_) member->Stand();
  }

  /// Loses what is sent, without anybody noticing.
  void SetDeaf(bool isDeaf) { isDeaf_ = isDeaf; }

  /// Words that have been sent so far, each counted once.
  int sent() const { return sent_; }

 private:
  class Member : public Bus {
   public:
    Member(InProcessHub& hub, EventLoop& loop, std::string node)
        : hub_(hub), loop_(loop), node_(std::move(node)) {}
    ~Member() override { Member::Close(); }

    void Open(Events events) override {
      events_ = std::move(events);
      hub_.members_[node_] = this;
      if (hub_.stands_) Stand();
    }
    void Send(std::string_view node, std::string bytes) override {
      if (!hub_.Takes()) return;
      const auto found = hub_.members_.find(std::string(node));
      if (found != hub_.members_.end()) found->second->Take(bytes);
    }
    void SendToAll(std::string bytes) override {
      if (!hub_.Takes()) return;
      for (auto& [name, member] : hub_.members_) {
        if (member != this) member->Take(bytes);
      }
    }
    void Close() override { hub_.members_.erase(node_); }

    void Stand() {
      loop_.Enqueue([this] { events_.onConnected(); });
    }
    void Lose() {
      loop_.Enqueue([this] { events_.onLost("stopped"); });
    }
    void Take(const std::string& bytes) {
      loop_.Enqueue([this, bytes] { events_.onWord(bytes); });
    }

   private:
    InProcessHub& hub_;
    EventLoop& loop_;
    const std::string node_;
    Events events_;
  };

  bool Takes() {
    if (stands_) ++sent_;
    return stands_ && !isDeaf_;
  }

  std::map<std::string, Member*> members_;
  bool stands_ = true, isDeaf_ = false;
  int sent_ = 0;
};

}  // namespace vnq
