// Messages that the server makes in somebody's name: the greeting of new friends and of a new
// group, one text for many receivers, and the door for outside applications, which connect to the
// main port without a login of their own.
#include "messaging/messaging.h"
#include "support/ids.h"
#include "support/text_codecs.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

// Fills what a message has and its command does not bring: the font, a Msg_ID of its own and the
// type of a chat text, in fields 4 to 7. The array has eight elements afterwards.
// Kept: fields 4 and 5 are set before the array grows, so in a shorter record they are skipped the
// first time.
void CompleteMessage(Host& host, Fields& fields) {
  fields.Set(4, host.DefaultFontInfo);
  fields.Set(5, NewGuidString());
  fields.Resize(8);
  fields.Set(6, "1");
  fields.Set(7, "#");
}

constexpr int32_t kToPersons = 1;

// --- Outside applications ---

enum InterfaceMode : int32_t {
  kPersonMessage = 0,
  kGroupText = 1,
  kPostNotice = 3,
  kVisitorLineToPersons = 4,
  kVisitorLineToGroup = 5,
  kGroupTextToo = 11,
};

constexpr std::string_view kEverybody = "*";

struct Call {
  Fields& fields;
  SlotIndex slot;
  const std::string& remoteIp;
  std::string senderId;           // empty for a name that nobody has
  std::string text;               // field 4 as it came; empty when it is missing
  std::vector<std::string> list;  // receivers by name
};

std::string SenderId(Host& host, const Expr& userName) {
  std::string senderId;
  Cursor sender(host.database);
  sender.Open(Sql("Select * from Users_ID where UserName='?'", userName));
  Assign(senderId, Join(sender["UserID"]));
  return senderId;
}

// Runs a step with the first row of each name that the statement finds; other names are passed
// over.
template <typename Step>
void ForEachFound(Host& host, const std::vector<std::string>& names,
                  Statement (*find)(const std::string& name), const Step& step) {
  for (const std::string& name : names) {
    if (name.empty()) continue;
    Cursor row(host.database);
    row.Open(find(name));
    if (!row.EndOfRows()) step(row);
  }
}

Statement UserByName(const std::string& name) {
  return Sql("Select * from Users_ID where UserName='?'", name);
}

Statement GroupByNameOrNumber(const std::string& name) {
  return Sql("Select TypeID from Clot_Ro where TypeName='?' or TypeID='?'", name, name);
}

// Kept: the slot bears the sender's tag from then on, after the command, too.
void MakeMessage(Host& host, Call& call, const Expr& receiver) {
  call.fields.Set(1, receiver);
  call.fields.Set(2, call.senderId);
  call.fields.Set(3, EscapeText(call.text));
  CompleteMessage(host, call.fields);
  host.SckServer.SetTag(call.slot, call.senderId);
}

void ToPersons(Host& host, Call& call) {
  ForEachFound(host, call.list, UserByName, [&](const Cursor& user) {
    MakeMessage(host, call, Join(user["UserID"]));
    UserMesseng(host, call.fields, call.slot, call.remoteIp);
  });
}

void ToGroups(Host& host, Call& call) {
  ForEachFound(host, call.list, GroupByNameOrNumber, [&](const Cursor& group) {
    MakeMessage(host, call, Join(group["TypeID"]));
    ClotMesseng(host, call.fields, call.slot);
  });
}

// Each id is followed by a comma, the last one too.
std::string NoticeReceivers(Host& host, const Call& call) {
  std::string ids;
  if (Is(call.fields[2], kEverybody)) {
    Cursor users(host.database);
    users.Open(Sql("Select UserID from Users_ID where UserState=1"));
    for (; !users.EndOfRows(); users.MoveNext()) Append(ids, Join(users["UserID"], ","));
  } else {
    ForEachFound(host, call.list, UserByName,
                 [&](const Cursor& user) { Append(ids, Join(user["UserID"], ",")); });
  }
  return ids;
}

// .+notification|sender|receivers|title|content|link|#
void AsNotice(Host& host, const Call& call) {
  Fields notice =
      Fields::Of(Join(".+notification|", call.senderId, "|", NoticeReceivers(host, call), "|",
                      call.fields[3], "|", call.fields[4], "|", call.fields[5], "|#"));
  PostNotice(host, notice, call.slot, call.remoteIp);
}

// .+customer_information|target|visitor|city|text|#
Fields VisitorLine(const Call& call, const Expr& target, std::string_view city) {
  return Fields::Of(Join(".+customer_information|", target, "|", call.fields[1], "|", city, "|",
                         call.fields[4], "|#"));
}

// Yields: yes.
void AsVisitorToPersons(Host& host, const Call& call) {
  ForEachFound(host, call.list, UserByName, [&](const Cursor& user) {
    Fields line = VisitorLine(call, Join(user["UserID"]), "Guest");
    CustomerMessage(host, line, call.slot, call.remoteIp, VisitorLineKind::kToAgent);
  });
}

// Yields: yes.
void AsVisitorToGroup(Host& host, const Call& call) {
  Fields line = VisitorLine(call, call.fields[2], "Group");
  CustomerMessage(host, line, call.slot, call.remoteIp, VisitorLineKind::kToGroup);
}

}  // namespace

Expr GreetingRecord(Host& host, std::string_view word, const Expr& to, const Expr& from,
                    std::string_view textKey) {
  return Join(word, "|", to, "|", from, "|", EscapeText(host.ReadLang(textKey)), "|",
              host.ServerFontInfo, "|", NewGuidString(), "|3|#");
}

void HandleMassInformation(Host& host, Fields& fields, SlotIndex slot,
                           const std::string& remoteIp) {
  const std::vector<std::string> list = SplitField(fields[1], "*");
  int32_t mode = 0;
  Assign(mode, ToInt32(fields[4]));
  for (const std::string& receiver : list) {
    if (receiver.empty()) continue;
    fields.Set(1, receiver);
    CompleteMessage(host, fields);
    if (mode == kToPersons) {
      UserMesseng(host, fields, slot, remoteIp);
    } else {
      ClotMesseng(host, fields, slot);
    }
    host.loop.Yield();  // a long list must not hold the others up
  }
}

void HandleInterfaceInformation(Host& host, Fields& fields, SlotIndex slot,
                                const std::string& remoteIp) {
  Call call{fields, slot, remoteIp, SenderId(host, fields[1]), "", SplitField(fields[2], ",")};
  Assign(call.text, fields[4]);
  int32_t mode = 0;
  Assign(mode, ToInt32(fields[6]));
  switch (mode) {
    case kPersonMessage:
      return ToPersons(host, call);
    case kGroupText:
    case kGroupTextToo:
      return ToGroups(host, call);
    case kPostNotice:
      return AsNotice(host, call);
    case kVisitorLineToPersons:
      return AsVisitorToPersons(host, call);
    case kVisitorLineToGroup:
      return AsVisitorToGroup(host, call);
    default:
      return;
  }
}

}  // namespace vnq
