// What keeps a client's connection, and what is left to do where it ends without a command.
#include <unordered_set>

#include "host/nodes/crossing.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/presence_values.h"
#include "host/slots/sending.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

int16_t PresenceWithoutSession(const Cursor& user) {
  return IsNot(user["Registration_Id"], "") ? kPresenceOnPhone : kPresenceOffline;
}

// Others see 3 where a phone is registered, else 0. A mobile tag finds no row.
void ResetPresence(Host& host, const std::string& tag) {
  if (HoldsElsewhere(host, NodeArray::kClients, tag)) return;
  Cursor row(host.database);
  row.Open(Sql("Select UserID,UserIcoLine,Registration_Id from Users_ID where UserID='?'", tag));
  if (row.RecordCount() < 1) return;
  row.Set("UserIcoLine", PresenceWithoutSession(row));
  row.Update();
}

// A user without a session who is shown as if there were one.
struct ShownUser {
  std::string userId;
  Expr was, loginTime;
  int16_t now;
};

std::vector<ShownUser> ShownAmong(Host& host, const std::vector<std::string>& userIds) {
  const std::unordered_set<std::string> wanted(userIds.begin(), userIds.end());
  std::vector<ShownUser> shown;
  Cursor row(host.database);
  row.Open(
      Sql("Select UserID,UserIcoLine,Registration_Id,LoginTime from Users_ID "
          "where UserIcoLine<>0"));
  for (; !row.EndOfRows(); row.MoveNext()) {
    const int16_t now = PresenceWithoutSession(row);
    const std::string userId = OrEmpty(row["UserID"]);
    if (!wanted.contains(userId) || ToInt16(row["UserIcoLine"]) == now) continue;
    shown.push_back({userId, row["UserIcoLine"], row["LoginTime"], now});
  }
  return shown;
}

bool IsConnectedAnywhere(Host& host, const std::string& userId) {
  return host.SckServer.FirstConnected(userId) != kNoSlot ||
         HoldsElsewhere(host, NodeArray::kClients, userId);
}

// Not over what a log-in has written since it was read.
bool WritePresence(Host& host, const ShownUser& user) {
  if (user.loginTime.IsNull()) {
    return host.database.Execute(
        Sql("update Users_ID set UserIcoLine=? where UserID='?' and UserIcoLine=? and "
            "LoginTime is null",
            user.now, user.userId, user.was));
  }
  return host.database.Execute(
      Sql("update Users_ID set UserIcoLine=? where UserID='?' and UserIcoLine=? and LoginTime='?'",
          user.now, user.userId, user.was, user.loginTime));
}

void SayGoodbye(Host& host, SlotIndex slot, const std::string& why) {
  SendRecord(host, slot, Join(".+forced_disconnection|", why, "|#"));
  ResetPresence(host, host.SckServer.Tag(slot));
}

// Kept: a lost mobile session changes no presence, and nobody is told of either.
void SweepClient(Host& host, SlotIndex slot) {
  SlotArray& slots = host.SckServer;
  const std::string ip = slots.RemoteHostIP(slot);
  const std::string tag = slots.Tag(slot);
  slots.Close(slot);
  slots.SetTag(slot, "");
  if (tag.empty()) return;
  if (!IsMobileTag(tag)) ResetPresence(host, tag);
  WriteServerLog(host, tag + host.ReadLang("im14"), tag, ip, LogIcon::kConnectionLost);
}

}  // namespace

void HandleKeepAlive(Host& host, Fields&, SlotIndex slot, const std::string&) {
  host.loop.Yield();
  SendRecord(host, slot, ".+y|#");
}

void SweepLostClients(Host& host) {
  for (const SlotIndex slot : host.SckServer.AllNow()) {
    if (host.SckServer.IsGone(slot)) SweepClient(host, slot);
  }
}

std::optional<std::vector<RepairedPresence>> RepairPresence(
    Database& database, const std::function<bool(const std::string& userId)>& hasSession,
    bool isDryRun) {
  std::vector<RepairedPresence> repaired;
  Cursor row(database);
  if (!row.Open(Sql("Select UserID,UserName,UserIcoLine,Registration_Id from Users_ID "
                    "where UserIcoLine<>0 order by UserID"))) {
    return std::nullopt;
  }
  for (; !row.EndOfRows(); row.MoveNext()) {
    RepairedPresence user{OrEmpty(row["UserID"]), OrEmpty(row["UserName"])};
    Assign(user.was, ToInt16(row["UserIcoLine"]));
    user.now = PresenceWithoutSession(row);
    if (user.was == user.now || hasSession(user.userId)) continue;
    row.Set("UserIcoLine", user.now);
    if (isDryRun || row.Update()) repaired.push_back(std::move(user));
  }
  return repaired;
}

int ResetPresenceOf(Host& host, const std::vector<std::string>& userIds) {
  int reset = 0;
  for (const ShownUser& user : ShownAmong(host, userIds)) {
    host.loop.Yield();
    if (!IsConnectedAnywhere(host, user.userId) && WritePresence(host, user)) ++reset;
  }
  return reset;
}

void EndSession(Host& host, SlotIndex slot, const std::string& why) {
  SayGoodbye(host, slot, why);
  host.SckServer.Close(slot);
  host.SckServer.SetTag(slot, "");
}

int EndSessionsOf(Host& host, const std::string& userId, const std::string& why) {
  int ended = 0;
  for (const std::string& tag : {userId, userId + "m"}) {
    SlotIndex slot = kNoSlot;
    while ((slot = host.SckServer.FirstConnected(tag)) != kNoSlot) {
      EndSession(host, slot, why);
      ++ended;
    }
  }
  return ended;
}

void TakeLeaveOfClient(Host& host, SlotIndex slot) {
  host.loop.Yield();
  SayGoodbye(host, slot, host.ReadLang("im13"));
}

}  // namespace vnq
