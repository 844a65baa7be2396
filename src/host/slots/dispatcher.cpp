#include "host/slots/dispatcher.h"

#include <algorithm>

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

}  // namespace

int CommandRow::FieldCount() const {
  if (fields.empty()) return 0;
  return static_cast<int>(std::count(fields.begin(), fields.end(), '|')) + 1;
}

Dispatcher::Dispatcher(std::span<const CommandRow> commands, bool splits, SlotTexts Host::*pending)
    : commands_(commands), counters_(commands.size()), splits_(splits), pending_(pending) {
  for (const CommandRow& row : commands) byWord_.emplace(row.word, &row);
}

const CommandRow* Dispatcher::Find(const Expr& word) const {
  const auto found = byWord_.find(OrEmpty(word));
  return found == byWord_.end() ? nullptr : found->second;
}

const CommandCounters& Dispatcher::CountersOf(const CommandRow& row) const {
  return counters_[static_cast<size_t>(&row - commands_.data())];
}

void Dispatcher::Run(Host& host, const std::string& text, SlotIndex slot,
                     const std::string& remoteIp) {
  auto run = [&](const std::string& record) { RunRecord(host, record, slot, remoteIp); };
  if (splits_) {
    ForEachRecord(text, run);
  } else {
    run(text);
  }
}

void Dispatcher::RunRecord(Host& host, const std::string& text, SlotIndex slot,
                           const std::string& remoteIp) {
  Fields fields = Fields::Split(text);
  const CommandRow* row = Find(fields[0]);
  if (row == nullptr) {
    CarryOver(host, text, slot, remoteIp);
    return;
  }
  if (row->needsHash && !text.ends_with('#')) {
    (host.*pending_)[slot] = text;
  } else {
    RunCommand(host, *row, fields, slot, remoteIp);
    if (WantsReceipt(*row, fields)) AppendReceipt(host, slot, row->receipt, fields[1], fields[5]);
  }
  if (row->onWord != nullptr) row->onWord(host, fields, slot, remoteIp);
}

// Text that is no command goes on with the slot's unfinished record.
void Dispatcher::CarryOver(Host& host, const std::string& text, SlotIndex slot,
                           const std::string& remoteIp) {
  if (pending_ == nullptr || (host.*pending_)[slot].empty()) return;
  std::string& pending = (host.*pending_)[slot];
  pending += text;
  if (!pending.ends_with('#')) return;
  Fields fields = Fields::Split(pending);
  const CommandRow* row = Find(fields[0]);
  if (row != nullptr && row->needsHash) {
    RunCommand(host, *row, fields, slot, remoteIp);
    if (WantsReceiptAfterCarryOver(*row, fields))
      AppendReceipt(host, slot, row->receipt, fields[1], fields[5]);
  }
  (host.*pending_)[slot].clear();  // the command may have yielded, and the table have moved
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
