#include "host/slots/dispatcher.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <new>

#include "host/protection/protection.h"
#include "host/slots/records.h"
#include "host/values/skipped.h"

namespace vnq {
namespace {

// Kept: the two ways to the receipt test Msg_ID differently, so that "00" is acknowledged for a
// complete record and not for one that was carried over.
bool WantsReceipt(const CommandRow& row, const Fields& fields) {
  return row.receipt != Receipt::kNone && IsNot(fields[5], "0");
}
bool WantsReceiptAfterCarryOver(const CommandRow& row, const Fields& fields) {
  return row.receipt != Receipt::kNone && ToNumber(fields[5]).value_or(1) != 0;
}

// Ends the turn of a read of many records, where the rules leave open what comes first.
class ReadTurns {
 public:
  ReadTurns(Host& host, SlotArray& slots, SlotIndex slot)
      : host_(host), slots_(slots), slot_(slot), beganMs_(host.clock.MonotonicMs()) {}

  void BeforeRecord() {
    if (records_++ < Dispatcher::RecordsPerTurn(host_.loop.LiveHandlers()) &&
        host_.clock.MonotonicMs() - beganMs_ < Dispatcher::kTurnMs) {
      return;
    }
    slots_.LetOthersRun(slot_);
    records_ = 1;
    beganMs_ = host_.clock.MonotonicMs();
  }

 private:
  Host& host_;
  SlotArray& slots_;
  SlotIndex slot_;
  int records_ = 0;
  int64_t beganMs_;
};

}  // namespace

int CommandRow::FieldCount() const {
  if (fields.empty()) return 0;
  return static_cast<int>(std::count(fields.begin(), fields.end(), '|')) + 1;
}

std::string CommandRow::Masked(std::string_view record) const {
  const std::vector<std::string> names = SplitText(fields, "|");
  std::vector<std::string> parts = SplitText(record, "|");
  for (size_t i = 1; i < parts.size() && i <= names.size(); ++i) {
    if (names[i - 1].find("password") != std::string::npos) parts[i] = "***";
  }
  return fmt::format("{}", fmt::join(parts, "|"));
}

Dispatcher::Dispatcher(std::span<const CommandRow> commands, SlotArray Host::*slots, bool splits,
                       PendingRecords Host::*pending)
    : commands_(commands),
      slots_(slots),
      counters_(commands.size()),
      splits_(splits),
      pending_(pending) {
  for (const CommandRow& row : commands) byWord_.emplace(row.word, &row);
}

const CommandRow* Dispatcher::Find(const Expr& word) const {
  const auto found = byWord_.find(OrEmpty(word));
  return found == byWord_.end() ? nullptr : found->second;
}

const CommandCounters& Dispatcher::CountersOf(const CommandRow& row) const {
  return counters_[static_cast<size_t>(&row - commands_.data())];
}

int Dispatcher::RecordsPerTurn(size_t liveHandlers) {
  const size_t share = kRecordsPerRound / std::max<size_t>(liveHandlers, 1);
  return static_cast<int>(std::clamp<size_t>(share, 1, kMostRecordsPerTurn));
}

void Dispatcher::Run(Host& host, const std::string& text, SlotIndex slot,
                     const std::string& remoteIp) {
  if (!splits_) return RunRecord(host, text, slot, remoteIp);
  ReadTurns turns(host, host.*slots_, slot);
  ForEachRecord(text, [&](const std::string& record) {
    turns.BeforeRecord();
    try {
      RunRecord(host, record, slot, remoteIp);
    } catch (const std::bad_alloc&) {
      host.loop.NoteOutOfMemory();
    }
  });
}

void Dispatcher::RunRecord(Host& host, const std::string& text, SlotIndex slot,
                           const std::string& remoteIp) {
  if (host.protection && !host.protection->AdmitsRecord(text.size(), remoteIp)) return;
  Fields fields = Fields::Split(text);
  const CommandRow* row = Find(fields[0]);
  Trace(host, row, text, slot);
  if (row == nullptr) {
    CarryOver(host, text, slot, remoteIp);
  } else if (Admits(host, *row, fields, slot, remoteIp)) {
    RunComplete(host, *row, text, fields, slot, remoteIp);
  }
  if (host.trace.IsOn() && IsMainPort()) host.trace.NoteDone(host.SckServer.Tag(slot), slot);
}

// Without the '#' that its row asks for the record waits.
void Dispatcher::RunComplete(Host& host, const CommandRow& row, const std::string& text,
                             Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  if (row.needsHash && !text.ends_with('#')) {
    (host.*pending_).Set(slot, text);
  } else {
    RunCommand(host, row, fields, slot, remoteIp);
    if (WantsReceipt(row, fields)) AppendReceipt(host, slot, row.receipt, fields[1], fields[5]);
  }
  if (row.onWord != nullptr) row.onWord(host, fields, slot, remoteIp);
}

// Text that is no command goes on with the slot's unfinished record.
void Dispatcher::CarryOver(Host& host, const std::string& text, SlotIndex slot,
                           const std::string& remoteIp) {
  if (pending_ == nullptr || (host.*pending_)[slot].empty()) return;
  (host.*pending_).Append(slot, text);
  const std::string& pending = (host.*pending_)[slot];
  if (host.protection && !host.protection->AdmitsRecord(pending.size(), remoteIp)) {
    return (host.*pending_).Clear(slot);
  }
  if (!pending.ends_with('#')) return;
  Fields fields = Fields::Split(pending);
  const CommandRow* row = Find(fields[0]);
  if (row != nullptr) Trace(host, row, pending, slot);
  if (row != nullptr && row->needsHash && Admits(host, *row, fields, slot, remoteIp)) {
    RunCommand(host, *row, fields, slot, remoteIp);
    if (WantsReceiptAfterCarryOver(*row, fields))
      AppendReceipt(host, slot, row->receipt, fields[1], fields[5]);
  }
  (host.*pending_).Clear(slot);
}

bool Dispatcher::IsMainPort() const {
  return slots_ == &Host::SckServer;
}

void Dispatcher::Trace(Host& host, const CommandRow* row, std::string_view text,
                       SlotIndex slot) const {
  if (!host.trace.IsOn() || !IsMainPort()) return;
  const std::string& tag = host.SckServer.Tag(slot);
  if (row != nullptr) return host.trace.NoteIn(tag, slot, row->Masked(text));
  // A piece of a record may hold anything, a password too.
  host.trace.NoteIn(tag, slot,
                    fmt::format("{} bytes that are no command by themselves", text.size()));
}

bool Dispatcher::Admits(Host& host, const CommandRow& row, const Fields& fields, SlotIndex slot,
                        const std::string& remoteIp) const {
  return !host.protection ||
         host.protection->AdmitsCommand(row.word, row.needs, fields, slot, remoteIp);
}

void Dispatcher::RunCommand(Host& host, const CommandRow& row, Fields& fields, SlotIndex slot,
                            const std::string& remoteIp) {
  const uint64_t skippedBefore = SkippedStatements();
  if (!row.writes.empty()) host.database.ExpectWrites();
  host.loop.NameHandler(row.word);
  row.handler(host, fields, slot, remoteIp);
  CommandCounters& counters = counters_[static_cast<size_t>(&row - commands_.data())];
  ++counters.calls;
  counters.skippedStatements += SkippedStatements() - skippedBefore;
}

}  // namespace vnq
