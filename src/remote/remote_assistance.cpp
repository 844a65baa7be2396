// Seeing or taking over another user's desktop: request, answer, control.
#include "host/outgoing/mobile_push.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "remote/remote.h"
#include "support/ids.h"
#include "support/numbers.h"

namespace vnq {
namespace {

constexpr std::string_view kRecorded = "2";
constexpr int kPending = 0;

// What all three commands carry.
struct Remote {
  explicit Remote(const Fields& fields)
      : word(fields[0]), party(fields[1]), sender(fields[2]), mode(fields[3]) {}
  Expr word, party, sender, mode;
};

// .+request_remote|sender|now|mode|#
Expr RequestRecord(const Remote& remote, const std::string& now) {
  return Join(remote.word, "|", remote.sender, "|", now, "|", remote.mode, "|#");
}

// .+no_request_remote|other party|sender|mode|#
Expr RefusalRecord(const Remote& remote) {
  return Join(".+no_request_remote|", remote.party, "|", remote.sender, "|", remote.mode, "|#");
}

// .+reply_request_remote|sender|now|address|answer|#, and the same of .+remote_control
Expr DialogueRecord(const Remote& remote, const std::string& now, const std::string& remoteIp) {
  return Join(remote.word, "|", remote.sender, "|", now, "|", remoteIp, "|", remote.mode, "|#");
}

// .+reply_request_my_remote|other party|now|address|answer|#
Expr AnsweredElsewhereRecord(const Remote& remote, const std::string& now,
                             const std::string& remoteIp) {
  return Join(".+reply_request_my_remote|", remote.party, "|", now, "|", remoteIp, "|", remote.mode,
              "|#");
}

void LogRemote(Host& host, const Remote& remote, const Expr& what, const std::string& remoteIp) {
  WriteServerLog(host, Join(remote.sender, " To ", remote.party, what), remote.sender, remoteIp,
                 LogIcon::kFiles);
}

// Kept: seconds of the local clock, with no shift to UTC, so two requests of one second share an
// id.
std::string ChatIdOfNow(Host& host) {
  const std::string now = host.clock.Now().DateAndTime();
  return FormatNumber(ToUnixTime(now, "0", now));
}

// A pair has at most one pending row; while it stands, no further one is added.
void StoreRequest(Host& host, const Remote& remote, SlotIndex slot, const std::string& id) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("select * from remote_chat where MyID='?' and YouID='?' and Status=0",
                  remote.sender, remote.party));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("chatid", id);
  Adodc1.Set("MyID", remote.sender);
  Adodc1.Set("YouID", remote.party);
  Adodc1.Set("Status", kPending);
  Adodc1.Set("ip", host.SckServer.RemoteHostIP(slot));
  Adodc1.UpdateOnce({"MyID", "YouID", "Status"});
}

// Kept: also with the id that was not stored, for which the mobile then gets nothing.
void TellMobile(Host& host, const Remote& remote, SlotIndex slot, const std::string& id) {
  LeaveMesseng(host, Join(remote.party, "m"), StoredKind::kRemoteRequest, id);
  QueueMobilePush(host, remote.party, "", remote.sender, PushKind::kPerson, host.ReadLang("im312"),
                  host.SckServer.Tag(slot));
}

}  // namespace

void RequestRemote(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  const Remote remote(fields);
  LogRemote(host, remote, host.ReadLang("im38"), remoteIp);
  const Expr request = RequestRecord(remote, host.clock.Now().DateAndTime());
  if (!TellTag(host, remote.party, request)) {
    if (host.SckServer.IsConnected(slot)) SendRecord(host, slot, RefusalRecord(remote));
    return;
  }
  if (IsNot(remote.mode, kRecorded)) return;
  const std::string id = ChatIdOfNow(host);
  StoreRequest(host, remote, slot, id);
  TellMobile(host, remote, slot, id);
}

void ReplyRequestRemote(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  const Remote remote(fields);
  LogRemote(host, remote, Join(host.ReadLang("im41"), remote.mode), remoteIp);
  const std::string other = OtherSessionTag(host.SckServer.Tag(slot));
  const std::string now = host.clock.Now().DateAndTime();
  TellTag(host, other, AnsweredElsewhereRecord(remote, now, remoteIp));
  const Expr answer = DialogueRecord(remote, now, remoteIp);
  TellUser(host, remote.party, answer);
}

void RemoteControl(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  const Remote remote(fields);
  LogRemote(host, remote, Join(host.ReadLang("im42"), remote.mode), remoteIp);
  TellTag(host, remote.party, DialogueRecord(remote, host.clock.Now().DateAndTime(), remoteIp));
}

}  // namespace vnq
