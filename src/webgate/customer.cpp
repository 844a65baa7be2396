#include "webgate/customer.h"

#include "host/server_log.h"
#include "host/slots/wire_codec.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

void InsertKefu(Host& host, const Fields& fields) {
  host.database.Execute(Sql("insert into Kefu(IP,City) values('?','?')", fields[2], fields[3]));
}

// Kept: the slot being served is no exception, so a visitor who registers twice on one connection
// ends it. Yields: yes, between the find and the close.
void DropEarlierConnection(Host& host, SlotArray& slots, const Expr& visitor) {
  const SlotIndex earlier = visitor.ok() ? slots.FirstWithTag(visitor.text()) : kNoSlot;
  if (earlier == kNoSlot) return;
  host.loop.Yield();
  slots.SetTag(earlier, "");
  slots.Close(earlier);
}

void BindVisitor(Host& host, SlotArray& slots, SlotIndex slot, const Fields& fields) {
  InsertKefu(host, fields);
  DropEarlierConnection(host, slots, fields[2]);
  if (fields[2].ok()) slots.SetTag(slot, fields[2].text());
}

void LogArrival(Host& host, const Fields& fields, const std::string& agent,
                const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[2], " To ", agent, host.ReadLang("im102")), fields[2], remoteIp,
                 LogIcon::kWebVisitor);
}

// Calls `tell` with the slot of each agent named who is online, and logs it. Yields: yes.
template <typename Tell>
void TellAgents(Host& host, const Fields& fields, const std::string& remoteIp, const Tell& tell) {
  for (const std::string& agent : SplitText(fields[1].text(), ",")) {
    if (agent.empty()) continue;
    const SlotIndex agentSlot = FindAgent(host, agent);
    if (agentSlot == kNoSlot) continue;
    tell(agentSlot);
    LogArrival(host, fields, agent, remoteIp);
  }
}

}  // namespace

Expr VisitorLineRecord(Host& host, const Fields& fields) {
  // Kept: nothing closes the record, so a "|#" arrives only where the visitor's own last field
  // brings it.
  const LocalTime now = host.clock.Now();
  return Join(".+customer_information|", fields[2], "|", fields[3], "|", now.Date(), "|",
              now.Time(), "|", fields[4], "|", fields[5]);
}

SlotIndex FindAgent(Host& host, const Expr& agent) {
  SlotArray& slots = host.SckServer;
  const int highest = slots.Highest();
  for (int i = 1; i <= highest; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    host.loop.Yield();
    if (Is(agent, slots.Tag(slot)) && slots.IsConnected(slot)) return slot;
  }
  return kNoSlot;
}

void HandleVisitorCustomer(Host& host, Fields& fields, SlotIndex slot,
                           const std::string& remoteIp) {
  BindVisitor(host, host.SckServer6001, slot, fields);
  TellAgents(host, fields, remoteIp, [&](SlotIndex agentSlot) {
    if (!host.SckServer.IsConnected(agentSlot)) return;
    host.loop.Yield();
    SendRecord(host, agentSlot, VisitorLineRecord(host, fields));
  });
}

void HandleCustomer(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  BindVisitor(host, host.SckServer, slot, fields);
  TellAgents(host, fields, remoteIp, [&](SlotIndex agentSlot) {
    host.loop.Yield();
    SendRecord(host, agentSlot, VisitorLineRecord(host, fields));
  });
}

}  // namespace vnq
