// Visitor chat: a visitor registers with the agents that the page names, and each line goes to one
// agent or to the agents of a group. On the visitor port and on the main port.
#include "host/nodes/crossing.h"
#include "host/outgoing/mobile_push.h"
#include "host/server_log.h"
#include "host/slots/sending.h"
#include "support/text_codecs.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

// What an agent sees of a registration or a line, with the present time in it.
// Kept: nothing closes the record, so a "|#" arrives only where the visitor's own last field brings
// it.
Expr LineOf(Host& host, const Fields& fields) {
  const LocalTime now = host.clock.Now();
  return VisitorLineRecord(fields[2], fields[3], now.Date(), now.Time(), fields[4], fields[5]);
}

// The lowest connected main-port slot with an agent's tag, kNoSlot when there is none. Yields: yes,
// at each connected slot of the walk, so the walk sees what changes on its way.
SlotIndex FindAgent(Host& host, const Expr& agent) {
  SlotArray& slots = host.SckServer;
  for (const SlotIndex slot : slots.AllConnected()) {
    host.loop.Yield();
    if (Is(agent, slots.Tag(slot)) && slots.IsConnected(slot)) return slot;
  }
  return kNoSlot;
}

// --- Registration ---

void InsertKefu(Host& host, const Fields& fields) {
  host.database.Execute(Sql("insert into Kefu(IP,City) values('?','?')", fields[2], fields[3]));
}

// Kept: the slot being served is no exception, so a visitor who registers twice on one connection
// ends it. Yields: yes, between the find and the close.
void DropEarlierConnection(Host& host, SlotArray& slots, const Expr& visitor) {
  const SlotIndex earlier = slots.FirstWithTag(visitor);
  if (earlier == kNoSlot) return;
  host.loop.Yield();
  slots.SetTag(earlier, "");
  slots.Close(earlier);
}

void BindVisitor(Host& host, NodeArray array, SlotArray& slots, SlotIndex slot,
                 const Fields& fields) {
  InsertKefu(host, fields);
  DisplaceElsewhere(host, array, fields[2], "");
  DropEarlierConnection(host, slots, fields[2]);
  slots.SetTag(slot, fields[2]);
}

void LogArrival(Host& host, const Fields& fields, const std::string& agent,
                const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[2], " To ", agent, host.ReadLang("im102")), fields[2], remoteIp,
                 LogIcon::kWebVisitor);
}

// Calls `tell` with the slot of each agent named who is online, and logs it. Yields: yes.
template <typename Tell>
void TellAgents(Host& host, const Fields& fields, const std::string& remoteIp, const Tell& tell) {
  for (const std::string& agent : SplitField(fields[1], ",")) {
    if (agent.empty()) continue;
    const SlotIndex agentSlot = FindAgent(host, agent);
    if (agentSlot != kNoSlot) {
      tell(agentSlot);
    } else if (!TellElsewhere(host, agent, LineOf(host, fields))) {
      continue;
    }
    LogArrival(host, fields, agent, remoteIp);
  }
}

// --- Lines ---

// Yields: yes, at each slot of the walk.
void SendToAgent(Host& host, const Expr& agent, const Fields& fields) {
  const SlotIndex slot = FindAgent(host, agent);
  if (slot == kNoSlot) {
    TellElsewhere(host, agent, LineOf(host, fields));
  } else {
    SendRecord(host, slot, LineOf(host, fields));
  }
}

// An escaped text as it reads.
Expr Unescaped(Host& host, const Expr& text) {
  return Map(text, [&](const std::string& escaped) { return UnescapeText(host.page, escaped); });
}

void ToGroup(Host& host, const Fields& fields, SlotIndex slot) {
  Cursor agents(host.database);
  agents.Open(
      Sql("select bb.* from lv_chater_Clot_Form as aa,Users_ID as bb where aa.TypeID =? and "
          "aa.IsAdmin=0 and aa.UserID<>'?' and bb.UserName=aa.UserID",
          fields[1], fields[2]));
  for (; !agents.EndOfRows(); agents.MoveNext()) {
    SendToAgent(host, Join(agents["UserID"]), fields);
  }
  agents.Close();
  QueueMobilePush(host, fields[1], fields[2], fields[1], PushKind::kVisitorGroupLine,
                  Unescaped(host, fields[4]), host.SckServer.Tag(slot));
}

}  // namespace

void HandleVisitorCustomer(Host& host, Fields& fields, SlotIndex slot,
                           const std::string& remoteIp) {
  BindVisitor(host, NodeArray::kVisitors, host.SckServer6001, slot, fields);
  TellAgents(host, fields, remoteIp, [&](SlotIndex agentSlot) {
    if (!host.SckServer.IsConnected(agentSlot)) return;
    host.loop.Yield();
    SendRecord(host, agentSlot, LineOf(host, fields));
  });
}

void HandleCustomer(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  BindVisitor(host, NodeArray::kClients, host.SckServer, slot, fields);
  TellAgents(host, fields, remoteIp, [&](SlotIndex agentSlot) {
    host.loop.Yield();
    SendRecord(host, agentSlot, LineOf(host, fields));
  });
}

void CustomerMessage(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp,
                     VisitorLineKind kind) {
  if (kind == VisitorLineKind::kToAgent) {
    SendToAgent(host, fields[1], fields);
    QueueMobilePush(host, fields[1], fields[3], fields[2], PushKind::kVisitorLine,
                    Unescaped(host, fields[4]), host.SckServer.Tag(slot));
  } else if (kind == VisitorLineKind::kToGroup) {
    ToGroup(host, fields, slot);
  }
  WriteServerLog(host, Join(fields[2], " To ", fields[1], host.ReadLang("im107")), fields[2],
                 remoteIp, LogIcon::kWebVisitor);
}

Expr VisitorLineRecord(const Expr& visitor, const Expr& city, const Expr& date, const Expr& time,
                       const Expr& text, const Expr& closing) {
  return Join(".+customer_information|", visitor, "|", city, "|", date, "|", time, "|", text, "|",
              closing);
}

void HandleCustomerInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp) {
  CustomerMessage(host, fields, slot, remoteIp, VisitorLineKind::kToAgent);
}

}  // namespace vnq
