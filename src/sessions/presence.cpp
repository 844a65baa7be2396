#include "sessions/presence.h"

#include "host/nodes/crossing.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/sending.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

// Arrays of this size and more are not told of a login: their clients learn of it when they
// synchronise.
constexpr SlotIndex kBroadcastCeiling = 40;

constexpr std::string_view kSelectPresence =
    "Select UserID,UserIcoLine,Registration_Id from Users_ID where UserID='?'";

// Sends to every connected slot but the acting one, whoever is logged in there. The highest slot is
// fixed at the start; a slot's state is read between the two turns, as it may have changed. Yields:
// yes, twice a connected slot.
void TellOthersHere(Host& host, SlotIndex slot, const Expr& text) {
  SharedRecord record(text);
  for (const SlotIndex other : host.SckServer.AllConnected()) {
    host.loop.Yield();
    if (other == slot || !host.SckServer.IsConnected(other)) continue;
    host.loop.Yield();
    record.Send(host, other);
  }
}

// The same, and those on the other nodes.
void TellOthers(Host& host, SlotIndex slot, const Expr& text) {
  AskEverywhere(host, order::kOthers, {text, "0"});
  TellOthersHere(host, slot, text);
}

// The record that tells of a state; none for a state that nobody is told of.
std::optional<Expr> RecordOfState(const std::optional<int16_t>& state, const Expr& userId,
                                  const Expr& networkIp, const Expr& localIp) {
  switch (state.value_or(-1)) {
    case kPresenceOffline:
      return NewIsOfflineRecord(userId);
    case kPresenceOnline:
      return NewOnlineRecord(userId, networkIp, localIp);
    case kPresenceAway:
      return NewLeavingRecord(userId, networkIp, localIp);
    case kPresenceOnPhone:
      return PhoneLineRecord(userId);
    default:
      return std::nullopt;
  }
}

// Each node by the size of its own array.
void TellOthersUnlessCrowded(Host& host, SlotIndex slot, const Expr& text) {
  AskEverywhere(host, order::kOthers, {text, "1"});
  if (host.SckServer.Highest() >= kBroadcastCeiling || Skips("tell the others", text)) return;
  TellOthersHere(host, slot, text);
}

// At most one earlier session under the tag loses its connection.
void EndEarlierSession(Host& host, const Expr& tag, SlotIndex slot) {
  SlotArray& slots = host.SckServer;
  DisplaceElsewhere(host, NodeArray::kClients, tag, BusyForceRecord(slots.RemoteHostIP(slot)));
  const SlotIndex earlier = slots.FirstConnected(tag, slot);
  if (earlier == kNoSlot) return;
  SendRecord(host, earlier, BusyForceRecord(slots.RemoteHostIP(slot)));
  host.loop.Yield();
  slots.SetTag(earlier, "");
  slots.Close(earlier);
}

// Writes the new state and tells the others, unless a phone comes up beside a session that is
// already visible.
void BecomeVisible(Host& host, const Expr& userId, const Expr& state, SlotIndex slot) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='?'", userId));
  if (Adodc1.RecordCount() < 1) return;
  int16_t userIcoLine = kPresenceOffline;
  Assign(userIcoLine, ToInt16(Adodc1["UserIcoLine"]));
  const std::optional<int16_t> newState = ToInt16(state);
  if (newState == kPresenceOnPhone && userIcoLine != kPresenceOffline) return;
  const auto record = RecordOfState(newState, userId, Adodc1["NetworkIP"], Adodc1["LocalIP"]);
  Adodc1.Set("UserIcoLine", state);
  Adodc1.Update();
  if (record) TellOthersUnlessCrowded(host, slot, *record);
}

void ReportOnline(Host& host, const Expr& userId, const Expr& state, SlotIndex slot) {
  const Expr tag = ToInt16(state) == kPresenceOnPhone ? Join(userId, "m") : userId;
  EndEarlierSession(host, tag, slot);
  host.SckServer.SetTag(slot, tag);
  BecomeVisible(host, userId, state, slot);
  TellSlot(host, slot, ".+SynchronousSuccessfully|#");
}

// These three tell first and write second, and know no ceiling.
void TellAndWrite(Host& host, const Fields& fields, SlotIndex slot, const Expr& record,
                  std::string_view select, int16_t state) {
  TellOthers(host, slot, record);
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql(select, fields[1]));
  if (Adodc1.RecordCount() < 1) return;
  Adodc1.Set("UserIcoLine", state);
  Adodc1.Update();
}

void LogPresence(Host& host, const Fields& fields, std::string_view key,
                 const std::string& remoteIp, LogIcon icon) {
  WriteServerLog(host, Join(fields[1], host.ReadLang(key)), fields[1], remoteIp, icon);
}

void EndDesktop(Host& host, const Expr& userId, SlotIndex slot) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql(kSelectPresence, userId));
  if (Adodc1.RecordCount() < 1) return;
  const bool hasPhone = IsNot(Adodc1["Registration_Id"], "");
  Adodc1.Set("UserIcoLine", hasPhone ? kPresenceOnPhone : kPresenceOffline);
  TellOthers(host, slot, hasPhone ? PhoneLineRecord(userId) : NewIsOfflineRecord(userId));
  Adodc1.Update();
}

// A phone that logs out gets no more push messages.
void EndMobile(Host& host, const Expr& userId, SlotIndex slot) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql(kSelectPresence, userId));
  if (Adodc1.RecordCount() < 1) return;
  if (ToInt16(Adodc1["UserIcoLine"]) == kPresenceOnPhone) {
    Adodc1.Set("UserIcoLine", kPresenceOffline);
    TellOthers(host, slot, NewIsOfflineRecord(userId));
  }
  Adodc1.Set("Registration_Id", "");
  Adodc1.Update();
}

void SetOffline(Host& host, const Fields& fields, SlotIndex slot) {
  SlotArray& slots = host.SckServer;
  const std::string tag = slots.Tag(slot);
  if (IsMobileTag(tag)) {
    EndMobile(host, fields[1], slot);
  } else {
    EndDesktop(host, fields[1], slot);
  }
  const SlotIndex leaver = slots.FirstWithTag(tag);
  if (leaver == kNoSlot) return;
  host.loop.Yield();
  slots.SetTag(leaver, "");
  slots.Close(leaver);
}

}  // namespace

void TellAllHere(Host& host, const Expr& text, bool unlessCrowded) {
  if (unlessCrowded && host.SckServer.Highest() >= kBroadcastCeiling) return;
  TellOthersHere(host, kNoSlot, text);
}

Expr NewIsOfflineRecord(const Expr& userId) {
  return Join(".+new_is_offline|", userId, "|#");
}

Expr NewOnlineRecord(const Expr& userId, const Expr& networkIp, const Expr& localIp) {
  return Join(".+new_online|", userId, "|", networkIp, "|", localIp, "|#");
}

Expr NewLeavingRecord(const Expr& userId, const Expr& networkIp, const Expr& localIp) {
  return Join(".+new_leaving|", userId, "|", networkIp, "|", localIp, "|#");
}

Expr BusyForceRecord(const Expr& reason) {
  return Join(".+busy_force|", reason, "|#");
}

Expr PhoneLineRecord(const Expr& userId) {
  return Join(".+phone_line|", userId, "|#");
}

void HandleSuccessfulOnline(Host& host, Fields& fields, SlotIndex slot,
                            const std::string& remoteIp) {
  if (!Skips("ReportOnline", fields[1], fields[2])) ReportOnline(host, fields[1], fields[2], slot);
  LogPresence(host, fields, "im58", remoteIp, LogIcon::kCommand);
}

void HandleOnLine(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  TellAndWrite(host, fields, slot, NewOnlineRecord(fields[1], "", ""),
               "Select UserID,UserIcoLine from Users_ID where UserID='?'", kPresenceOnline);
  LogPresence(host, fields, "im83", remoteIp, LogIcon::kBackOnline);
}

void HandleGoAway(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  TellAndWrite(host, fields, slot, NewLeavingRecord(fields[1], "", ""),
               "Select UserID,UserIcoLine from Users_ID where UserID='?'", kPresenceAway);
  LogPresence(host, fields, "im82", remoteIp, LogIcon::kAway);
}

void HandleStealth(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  TellAndWrite(host, fields, slot, NewIsOfflineRecord(fields[1]),
               "Select UserID ,UserIcoLine from Users_ID where UserID='?'", kPresenceOffline);
  LogPresence(host, fields, "im81", remoteIp, LogIcon::kInvisible);
}

void HandleOffline(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  SetOffline(host, fields, slot);
  LogPresence(host, fields, "im80", remoteIp, LogIcon::kOffline);
}

}  // namespace vnq
