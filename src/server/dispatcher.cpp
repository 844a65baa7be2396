// From a read to the commands in it, with the carry-over of unfinished records.
#include <algorithm>

#include "host/slots/records.h"
#include "host/slots/sending.h"
#include "host/values/skipped.h"
#include "server/command_table.h"
#include "sessions/commands.h"
#include "sessions/sessions.h"
#include "support/base64_text.h"

namespace vnq {
namespace {

void RunCommand(Host& host, const CommandRow& row, Fields& fields, SlotIndex slot,
                const std::string& remoteIp) {
  const uint64_t skippedBefore = SkippedStatements();
  row.handler(host, fields, slot, remoteIp);
  CommandCounters& counters = CountersOf(row);
  ++counters.calls;
  counters.skippedStatements += SkippedStatements() - skippedBefore;
}

void AppendReceipt(Host& host, const CommandRow& row, const Fields& fields, SlotIndex slot) {
  AppendReply(
      host, slot,
      Join(".+reply|", static_cast<int>(row.receipt), "|", fields[1], "|", fields[5], "|#"));
}

// Kept: the two ways to the receipt test Msg_ID differently, so that "00" is acknowledged for a
// complete record and not for one that was carried over.
bool WantsReceipt(const CommandRow& row, const Fields& fields) {
  return row.receipt != Receipt::kNone && IsNot(fields[5], "0");
}
bool WantsReceiptAfterCarryOver(const CommandRow& row, const Fields& fields) {
  return row.receipt != Receipt::kNone && ToNumber(fields[5]).value_or(1) != 0;
}

// Text that is no command goes on with the slot's unfinished record, or is dropped when there is
// none.
void CarryOver(Host& host, const std::string& text, SlotIndex slot, const std::string& remoteIp) {
  if (host.PendingRecord[slot].empty()) return;
  host.PendingRecord[slot] += text;
  if (!host.PendingRecord[slot].ends_with('#')) return;
  Fields fields = Fields::Split(host.PendingRecord[slot]);
  const CommandRow* row = FindCommand(OrEmpty(fields[0]));
  if (row != nullptr && row->needsHash) {
    RunCommand(host, *row, fields, slot, remoteIp);
    if (WantsReceiptAfterCarryOver(*row, fields)) AppendReceipt(host, *row, fields, slot);
  }
  host.PendingRecord[slot].clear();
}

void RunRecord(Host& host, const std::string& text, SlotIndex slot, const std::string& remoteIp) {
  Fields fields = Fields::Split(text);
  const CommandRow* row = FindCommand(OrEmpty(fields[0]));
  if (row == nullptr) {
    CarryOver(host, text, slot, remoteIp);
    return;
  }
  if (row->needsHash && !text.ends_with('#')) {
    host.PendingRecord[slot] = text;
  } else {
    RunCommand(host, *row, fields, slot, remoteIp);
    if (WantsReceipt(*row, fields)) AppendReceipt(host, *row, fields, slot);
  }
  if (row->onWord != nullptr) row->onWord(host, fields, slot, remoteIp);
}

}  // namespace

void OnMainPortData(Host& host, SlotIndex slot, const std::string& bytes) {
  const std::string remoteIp = host.SckServer.RemoteHostIP(slot);
  std::string text = Base64DecodeText(host.page, bytes);
  std::erase(text, '\r');
  std::erase(text, '\n');
  ForEachRecord(text, [&](const std::string& record) { RunRecord(host, record, slot, remoteIp); });
}

void HandleKeepAlive(Host& host, Fields&, SlotIndex slot, const std::string&) {
  host.loop.Yield();
  SendRecord(host, slot, ".+y|#");
}

}  // namespace vnq
