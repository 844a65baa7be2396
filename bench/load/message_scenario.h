// What peer, group and visitor have in common: numbered messages in lanes, a closed or an open
// loop, and the book of what has come.
//
// A lane is a pair, a writer or a visitor. In the closed loop each lane keeps a window of messages
// in flight; in the open loop messages fall due at a fixed rate, lane after lane.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "bench/load/pacing.h"
#include "bench/load/scenario.h"

namespace vnq::bench {

class MessageScenario : public Scenario {
 public:
  std::string_view unit() const override { return "messages"; }
  void BeginPhase(int64_t nowNs, bool measured) override;
  void Turn(int64_t nowNs, bool mayStart) override;
  int64_t WaitNs(int64_t nowNs) const override;
  bool Settled() const override { return ended_ == checker_.added() && checker_.Complete(); }
  uint64_t Operations() const override { return ended_ - endedBefore_; }
  uint64_t InFlight() const override { return checker_.added() - ended_; }
  void Report(RunResult& result) const override;

 protected:
  struct Shape {
    size_t lanes, copies;
    bool receipts;
    size_t laneLimit;  ///< messages of a lane that may be on their way at all; more wait
    bool ticked;       ///< deliveries leave with the tick
  };
  MessageScenario(LoadContext& context, const Shape& shape);

  /// Sends message `number` of its lane.
  virtual void Send(uint64_t number, size_t lane) = 0;
  /// Gives what could not leave at once another try.
  virtual void FlushUnsent() = 0;
  virtual bool HasUnsent() const = 0;

  /// Each message's own text, escaped.
  std::string Text(uint64_t number) const;
  /// Msg_ID, different in every run.
  std::string MessageId(uint64_t number) const { return runId_ + std::to_string(number); }
  std::optional<uint64_t> NumberOf(std::string_view messageId) const;
  size_t LaneOf(uint64_t number) const { return lanes_[number]; }

  void NoteDelivery(uint64_t number, size_t copy);
  void NoteReceipt(uint64_t number);
  void NoteAltered(std::string_view record) { checker_.Altered(record); }

  /// A `.+reply|<store>|<target>|Msg_ID|#` is the receipt of a message to that target.
  void TakeReceipt(std::string_view record, const RecordView& fields, std::string_view store,
                   std::string_view target);

  LoadContext& context_;
  Sessions others_;  ///< silent sessions beside the scenario's own

  bool BringUpOthers(size_t firstAccount, std::string& error);

 private:
  struct Latency {
    Histogram all, withoutTick;
  };
  void Start(int64_t dueNs, size_t lane);
  void StartDue(int64_t nowNs);
  void StartWaiting(size_t lane);
  void Note(Latency& latency, uint64_t number);
  void EndOf(uint64_t number);

  Shape shape_;
  DeliveryChecker checker_;
  TickWatch ticks_;
  Latency delivery_, receipt_;
  std::string runId_, filler_;
  std::vector<uint32_t> lanes_;  // by message
  std::vector<size_t> inFlight_;
  std::vector<std::deque<int64_t>> waiting_;  // due times, by lane
  std::optional<Pacer> pacer_;
  size_t nextLane_ = 0;
  uint64_t ended_ = 0, endedBefore_ = 0;
  uint64_t firstMeasured_ = 0, deliveriesBefore_ = 0, receiptsBefore_ = 0;
};

}  // namespace vnq::bench
