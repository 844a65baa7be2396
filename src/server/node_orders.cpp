#include "server/node_orders.h"

#include <set>
#include <span>

#include "endpoints/endpoints.h"
#include "host/host.h"
#include "host/nodes/cluster.h"
#include "host/nodes/crossing.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "relations/relations.h"
#include "server/gone_nodes.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

struct WatchedArray {
  NodeArray array;
  SlotArray Host::*slots;
};
constexpr WatchedArray kArrays[] = {
    {NodeArray::kClients, &Host::SckServer},
    {NodeArray::kVisitors, &Host::SckServer6001},
    {NodeArray::kControl, &Host::SckServer6003},
    {NodeArray::kEndpoints, &Host::SckServer6008},
};

// Null for a word that names none.
SlotArray* ArrayOf(Host& host, const std::string& word) {
  for (const WatchedArray& each : kArrays) {
    if (word == ArrayWord(each.array)) return &(host.*each.slots);
  }
  return nullptr;
}

// What came with an order: who gave it, and the words behind its name.
struct Given {
  const std::string& from;
  std::span<const std::string> words;
};

void OnTell(Host& host, const Given& given) {
  TellTagHere(host, given.words[0], given.words[1]);
}

void OnEverybody(Host& host, const Given& given) {
  TellEverybodyHere(host, given.words[0]);
}

void OnOthers(Host& host, const Given& given) {
  TellAllHere(host, given.words[0], given.words[1] == "1");
}

// With a turn before it, as the records that the same command told single users before have.
void OnNonMembers(Host& host, const Given& given) {
  host.loop.Yield();
  const auto members = given.words.subspan(1);
  TellNonMembersHere(host, given.words[0], std::set<std::string>(members.begin(), members.end()));
}

void OnLeave(Host& host, const Given& given) {
  const auto kind = ToInt16(given.words[1]);
  if (kind) LeaveMessengHere(host, given.words[0], DeliveryKind(*kind), given.words[2]);
}

// What was read a moment ago may be from before the row.
void OnVerifications(Host& host, const Given& given) {
  host.database.EndTurn();
  TellVerificationsHere(host, given.words[0]);
}

void OnGreet(Host& host, const Given& given) {
  GreetFromDesktopHere(host, given.words[0], given.words[1]);
}

void OnPlain(Host& host, const Given& given) {
  SlotArray* const slots = ArrayOf(host, given.words[0]);
  if (slots != nullptr) TellPlainTextHere(host, *slots, given.words[1], given.words[2]);
}

// The connected slot of a tag, or one whose peer has gone, which no sweep is to take for a session.
SlotIndex HolderOf(const SlotArray& slots, const std::string& tag) {
  const SlotIndex connected = slots.FirstConnected(tag);
  return connected != kNoSlot ? connected : slots.FirstWithTag(tag);
}

// Yields: yes; whoever has the slot then, and bears another tag, keeps it.
void EndHolder(Host& host, SlotArray& slots, const std::string& tag, const std::string& text) {
  const SlotIndex slot = HolderOf(slots, tag);
  if (slot == kNoSlot) return;
  if (slots.IsConnected(slot) && !text.empty()) SendRecord(host, slots, slot, text);
  host.loop.Yield();
  if (slots.Tag(slot) != tag) return;
  slots.SetTag(slot, "");
  slots.Close(slot);
}

void OnEnd(Host& host, const Given& given) {
  SlotArray* const slots = ArrayOf(host, given.words[0]);
  if (slots == nullptr) return;
  const auto array = static_cast<NodeArray>(given.words[0].front());
  const std::string &tag = given.words[1], &text = given.words[2];
  const auto known = given.words.subspan(3);
  const bool isOrdered = !known.empty() && known.front() == kWhoeverHasIt;
  // One whose peer has gone is no session that could stay.
  const bool isConnected = slots->FirstConnected(tag) != kNoSlot;
  if (isOrdered || !isConnected || host.cluster->IsDisplaced(array, tag, given.from, known)) {
    EndHolder(host, *slots, tag, text);
  } else {
    host.cluster->SendTo(given.from, {std::string(order::kEnd), given.words[0], tag, text,
                                      std::string(kWhoeverHasIt)});
  }
}

void OnGoodbye(Host& host, const Given& given) {
  EndSessionsOf(host, given.words[0], given.words[1]);
}

struct OrderRow {
  std::string_view order;
  size_t words;  // at least
  void (*carryOut)(Host& host, const Given& given);
};
constexpr OrderRow kOrders[] = {
    {order::kTell, 2, OnTell},     {order::kEverybody, 1, OnEverybody},
    {order::kOthers, 2, OnOthers}, {order::kNonMembers, 1, OnNonMembers},
    {order::kLeave, 3, OnLeave},   {order::kVerifications, 1, OnVerifications},
    {order::kGreet, 2, OnGreet},   {order::kPlain, 3, OnPlain},
    {order::kEnd, 3, OnEnd},       {order::kGoodbye, 2, OnGoodbye},
};

void CarryOut(Host& host, const std::string& from, const Words& order) {
  const std::span<const std::string> words = std::span(order).subspan(1);
  for (const OrderRow& row : kOrders) {
    if (row.order != order.front() || words.size() < row.words) continue;
    host.loop.NameHandler(row.order);
    row.carryOut(host, {from, words});
  }
}

}  // namespace

void BecomeNode(Host& host, std::unique_ptr<Bus> bus) {
  host.cluster = std::make_unique<Cluster>(host.loop, host.platform.nodes, std::move(bus));
  host.database.ShareWithNodes(host.platform.nodes.name);
  for (const WatchedArray& each : kArrays) host.cluster->Watch(each.array, host.*each.slots);
}

void JoinNodes(Host& host) {
  if (!host.cluster) return;
  host.cluster->Open(
      [&host](const std::string& from, const Words& order) { CarryOut(host, from, order); },
      [gone = std::make_shared<GoneNodes>(host)](GoneNode node) { gone->Note(std::move(node)); });
}

void LeaveNodes(Host& host) {
  if (host.cluster) host.cluster->Leave();
}

}  // namespace vnq
