// The door for outside applications, which connect to the main port without a login of their own.
#include "messaging/internal_message.h"
#include "messaging/messaging.h"
#include "support/text_codecs.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

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
  std::string text;               // field 4 as it came
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
    for (; !users.EndOfRows(); users.MoveNext()) ids += users["UserID"].text() + ",";
  } else {
    ForEachFound(host, call.list, UserByName,
                 [&](const Cursor& user) { ids += user["UserID"].text() + ","; });
  }
  return ids;
}

// The elements of a record that was joined; none when a part was missing.
Fields SplitJoined(const Expr& record) {
  return Fields::Split(record.text());
}

// .+notification|sender|receivers|title|content|link|#
void AsNotice(Host& host, const Call& call) {
  Fields notice =
      SplitJoined(Join(".+notification|", call.senderId, "|", NoticeReceivers(host, call), "|",
                       call.fields[3], "|", call.fields[4], "|", call.fields[5], "|#"));
  PostNotice(host, notice, call.slot, call.remoteIp);
}

// .+customer_information|target|visitor|city|text|#
Fields VisitorLine(const Call& call, const Expr& target, std::string_view city) {
  return SplitJoined(Join(".+customer_information|", target, "|", call.fields[1], "|", city, "|",
                          call.fields[4], "|#"));
}

// Yields: yes.
void AsVisitorToPersons(Host& host, const Call& call) {
  ForEachFound(host, call.list, UserByName, [&](const Cursor& user) {
    Fields line = VisitorLine(call, Join(user["UserID"]), "Guest");
    CustomerMessage(host, line, call.slot, call.remoteIp, kLineToAgent);
  });
}

// Yields: yes.
void AsVisitorToGroup(Host& host, const Call& call) {
  Fields line = VisitorLine(call, call.fields[2], "Group");
  CustomerMessage(host, line, call.slot, call.remoteIp, kLineToGroup);
}

}  // namespace

void HandleInterfaceInformation(Host& host, Fields& fields, SlotIndex slot,
                                const std::string& remoteIp) {
  Call call{fields,           slot,
            remoteIp,         SenderId(host, fields[1]),
            fields[4].text(), SplitText(fields[2].text(), ",")};
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
