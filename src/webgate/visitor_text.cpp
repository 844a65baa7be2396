#include "webgate/visitor_text.h"

#include "host/slots/records.h"
#include "webgate/visitor_chat.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

constexpr std::string_view kCustomer = ".+customer";
constexpr std::string_view kCustomerInformation = ".+customer_information";

// Text that is no command goes on with the slot's unfinished line, or is dropped when there is
// none. Yields: yes.
void CarryOver(Host& host, const std::string& text, SlotIndex slot, const std::string& remoteIp) {
  if (host.PendingVisitorRecord[slot].empty()) return;
  host.PendingVisitorRecord[slot] += text;
  if (!host.PendingVisitorRecord[slot].ends_with('#')) return;
  Fields fields = Fields::Split(host.PendingVisitorRecord[slot]);
  if (Is(fields[0], kCustomerInformation)) {
    CustomerMessage(host, fields, slot, remoteIp, VisitorLineKind::kToAgent);
  }
  host.PendingVisitorRecord[slot].clear();
}

void RunRecord(Host& host, const std::string& text, SlotIndex slot, const std::string& remoteIp) {
  Fields fields = Fields::Split(text);
  if (Is(fields[0], kCustomer)) {
    RegisterVisitor(host, fields, slot, remoteIp);
  } else if (!Is(fields[0], kCustomerInformation)) {
    CarryOver(host, text, slot, remoteIp);
  } else if (text.ends_with('#')) {
    CustomerMessage(host, fields, slot, remoteIp, VisitorLineKind::kToAgent);
  } else {
    host.PendingVisitorRecord[slot] = text;
  }
}

}  // namespace

void OnVisitorText(Host& host, SlotIndex slot, const std::string& text,
                   const std::string& remoteIp) {
  ForEachRecord(text, [&](const std::string& record) { RunRecord(host, record, slot, remoteIp); });
}

}  // namespace vnq
