#include "relations/friends.h"

#include "host/database/version_counters.h"
#include "messaging/messaging.h"
#include "support/ids.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

Statement SelectFriendRow(const Expr& userId, const Expr& myId) {
  return Sql("Select * from Fav_Form where UserID='?' and MyID='?'", userId, myId);
}

// .+message|to|from|text|FontInfo|Msg_ID|3|#
Expr GreetingRecord(Host& host, const Expr& to, const Expr& from) {
  return Join(".+message|", to, "|", from, "|", EscapeText(host.ReadLang("im268")), "|",
              host.ServerFontInfo, "|", NewGuidString(), "|3|#");
}

}  // namespace

void AddFriendRow(Host& host, const Expr& userId, const Expr& myId) {
  Cursor row(host.database);
  row.Open(SelectFriendRow(userId, myId));
  if (row.RecordCount() > 0) return;
  row.AddNew();
  row.Set("UserID", userId);
  row.Set("MyID", myId);
  row.Update();
}

void DeleteFriendRow(Host& host, const Expr& userId, const Expr& myId) {
  Cursor row(host.database);
  row.Open(SelectFriendRow(userId, myId));
  if (row.RecordCount() > 0) row.Delete();
}

void BumpFriendCounter(Host& host, const Expr& userId) {
  Cursor user(host.database);
  user.Open(Sql("Select * from Users_ID where UserID='?'", userId));
  if (user.RecordCount() < 1) return;
  BumpCounter(user, "Fav_FormVesr");
  user.Update();
}

void GreetFriend(Host& host, const Expr& to, const Expr& from, SlotIndex slot) {
  const Expr record = GreetingRecord(host, to, from);
  if (!record.ok()) return;
  Fields fields = Fields::Split(record.text());
  UserMesseng(host, fields, slot, host.SckServer.RemoteHostIP(slot));
}

void GreetFromDesktop(Host& host, const Expr& to, const Expr& from) {
  if (!from.ok()) return;
  const SlotIndex desktop = host.SckServer.FirstConnected(from.text());
  if (desktop != kNoSlot) GreetFriend(host, to, from, desktop);
}

}  // namespace vnq
