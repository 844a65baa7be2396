// The control channel: sibling services and the console that steers managed endpoints.
#include "endpoints/endpoints.h"
#include "endpoints/plain_text.h"
#include "host/nodes/crossing.h"
#include "host/slots/records.h"
#include "host/slots/sending.h"

namespace vnq {
namespace {

// --- What is sent, and to whom ---

// Each user of the list is followed by '|', so the record ends in two of them.
void TellUsersWentOffline(Host& host, const std::string& list) {
  if (!list.empty()) TellEverybody(host, Join(".+new_is_offline|", list, "|#"));
}

void AppendToList(std::string& list, const Expr& user) {
  Append(list, Join(user, "|"));
}

void SendToEndpoint(Host& host, const Expr& endpoint, const Expr& record) {
  SlotArray& slots = host.SckServer6008;
  const SlotIndex slot = slots.FirstConnected(endpoint);
  if (slot != kNoSlot) return SendPlainText(host, slots, slot, record);
  AskElsewhere(host, NodeArray::kEndpoints, endpoint, order::kPlain,
               {ArrayWord(NodeArray::kEndpoints), endpoint, record});
}

// An order for an endpoint: endpoint+user+code. A code that is no number leaves the number of the
// order before.
struct EndpointOrder {
  Fields parts;
  SlotIndex slot;
  bool isThere;  // on this node or another

  EndpointOrder(Host& host, const Expr& field)
      : parts(Fields::Of(field, "+")),
        slot(host.SckServer6008.FirstConnected(parts[0])),
        isThere(slot != kNoSlot || HoldsElsewhere(host, NodeArray::kEndpoints, parts[0])) {}

  void Send(Host& host, std::string_view word, int16_t& code) const {
    Assign(code, ToInt16(parts[2]));
    const Expr number = Map(parts[2], [&](const std::string&) { return code; });
    SendToEndpoint(host, parts[0], Join(word, "|", number, "|#"));
  }
};

}  // namespace

void TellPlainTextHere(Host& host, SlotArray& slots, const Expr& tag, const Expr& text) {
  const SlotIndex slot = slots.FirstConnected(tag);
  if (slot != kNoSlot) SendPlainText(host, slots, slot, text);
}

// --- Commands ---

std::optional<std::string> ReadControlText(Host& host, SlotIndex slot, const std::string& bytes) {
  host.HeartbeatAge[slot] = 0;
  return host.page.FromBytes(bytes);
}

void HandleControlLanding(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  host.loop.Yield();
  // Kept: an empty name is a name like any other, and the slots without one are its holders.
  DropHolders(host, host.SckServer6003, fields[1]);
  host.SckServer6003.SetTag(slot, fields[1]);
  host.HeartbeatAge[slot] = 0;
}

void HandleAlive(Host&, Fields&, SlotIndex, const std::string&) {}  // the read has cleared the age

void HandleControlKeepAlive(Host& host, Fields&, SlotIndex slot, const std::string&) {
  host.loop.Yield();
  SendPlainText(host, host.SckServer6003, slot, ".+y|#");
}

void HandleFailed(Host& host, Fields& fields, SlotIndex, const std::string&) {
  TellTag(host, fields[1], Join(".+download_myfailed|", fields[2], "|", fields[3], "|#"));
}

void HandleDisconnect(Host& host, Fields& fields, SlotIndex, const std::string&) {
  SlotArray& slots = host.SckServer;
  std::string list;
  // Kept: the closing "#" is looked for like a user.
  for (int k = 2; k <= fields.last(); ++k) {
    const Expr user = fields[static_cast<size_t>(k)];
    const SlotIndex slot = slots.FirstConnected(user);
    if (slot == kNoSlot) {
      const Expr record = Join(".+disconnect|", fields[1]);
      if (EndElsewhere(host, NodeArray::kClients, user, record)) AppendToList(list, user);
      continue;
    }
    host.loop.Yield();
    SendRecord(host, slot, Join(".+disconnect|", fields[1]));
    AppendToList(list, user);
    slots.Close(slot);
    slots.SetTag(slot, "");
  }
  TellUsersWentOffline(host, list);
}

void HandleControlComputer(Host& host, Fields& fields, SlotIndex, const std::string&) {
  SlotArray& slots = host.SckServer6008;
  std::string list;
  int16_t code = 0;
  for (int k = 1; k <= fields.last(); ++k) {
    const EndpointOrder order(host, fields[static_cast<size_t>(k)]);
    if (!order.isThere) continue;
    order.Send(host, ".+control_computer", code);
    AppendToList(list, order.parts[1]);
    host.loop.Yield();
    if (order.slot == kNoSlot) {
      EndElsewhere(host, NodeArray::kEndpoints, order.parts[0], "");
      continue;
    }
    slots.Close(order.slot);
    slots.SetTag(order.slot, "");
  }
  TellUsersWentOffline(host, list);
}

void HandleControlUsb(Host& host, Fields& fields, SlotIndex, const std::string&) {
  int16_t code = 0;
  for (int k = 1; k <= fields.last(); ++k) {
    const EndpointOrder order(host, fields[static_cast<size_t>(k)]);
    if (order.isThere) order.Send(host, ".+control_usb", code);
  }
}

void HandleRemoteDesktop(Host& host, Fields& fields, SlotIndex, const std::string&) {
  SendToEndpoint(host, fields[1], ".+remote_desktop|#");
}

void HandleCloseRemoteDesktop(Host& host, Fields& fields, SlotIndex, const std::string&) {
  SendToEndpoint(host, fields[1], ".+close_remote_desktop|#");
}

void HandleComputerInformation(Host& host, Fields& fields, SlotIndex, const std::string&) {
  SendToEndpoint(host, fields[1], ".+computer_information|#");
}

void HandleBroadcast(Host& host, Fields& fields, SlotIndex, const std::string&) {
  TellEverybody(host, Join(".+broadcast|", fields[1], "|", fields[2], "|", fields[3], "|#"));
  if (host.settings.chats != 1) return;
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select top 1 * from ToInfo"));
  Adodc1.AddNew();
  Adodc1.Set("To_Txt", fields[2]);
  Adodc1.Set("FontInfo", fields[3]);
  Adodc1.Update();
  Adodc1.Close();
}

}  // namespace vnq
