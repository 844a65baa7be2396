#include "tools/history/history_list.h"

#include <fmt/format.h>

#include "tools/client/chat_text.h"
#include "tools/library/json_string.h"

namespace vnq {
namespace {

using Kind = HistoryEntry::Kind;

// Of a user who is gone the name that stands in the message.
std::string SenderName(const HistoryEntry& entry, NameBook& names) {
  const std::string& name = names.UserName(entry.from);
  return name.empty() ? entry.FcName : name;
}

std::string Label(const std::string& name, const std::string& id) {
  return name.empty() ? id : name + " (" + id + ")";
}

std::string Sender(const HistoryEntry& entry, NameBook& names) {
  return entry.isOwn ? "you" : Label(SenderName(entry, names), entry.from);
}

// "Ann Lee (1)", "you to Ann Lee (1)", "[Team (Clot000001)] you", "notice of you"
std::string Heading(const HistoryEntry& entry, NameBook& names) {
  const std::string sender = Sender(entry, names);
  switch (entry.kind) {
    case Kind::kPeer:
      return entry.isOwn ? sender + " to " + Label(names.UserName(entry.to), entry.to) : sender;
    case Kind::kGroup:
      return "[" + Label(names.GroupName(entry.to), entry.to) + "] " + sender;
    case Kind::kNotice:
      break;
  }
  return "notice of " + sender;
}

std::string_view KindWord(Kind kind) {
  switch (kind) {
    case Kind::kPeer:
      return "message";
    case Kind::kGroup:
      return "group_message";
    case Kind::kNotice:
      break;
  }
  return "notice";
}

std::string Receiver(const HistoryEntry& entry, NameBook& names) {
  if (entry.to.empty()) return R"("to":null,"to_name":null)";
  const bool isGroup = entry.kind == Kind::kGroup;
  return fmt::format(R"("to":{},"to_name":{})", JsonString(entry.to),
                     JsonString(isGroup ? names.GroupName(entry.to) : names.UserName(entry.to)));
}

// What only this kind of entry has.
std::string Particulars(const HistoryEntry& entry) {
  if (entry.kind == Kind::kNotice) {
    return fmt::format(R"("content":{},"link":{})", JsonString(ReadEscapedText(entry.content)),
                       JsonString(ReadEscapedText(entry.link)));
  }
  std::string particulars =
      fmt::format(R"("UserText":{},"To_Type":{},"FontInfo":{})", JsonString(entry.UserText),
                  entry.To_Type, JsonString(entry.FontInfo));
  if (entry.kind == Kind::kPeer && entry.isOwn) {
    particulars += fmt::format(R"(,"delivered":{})", entry.isDelivered);
  }
  if (entry.kind == Kind::kGroup) particulars += fmt::format(R"(,"TypeID":{})", entry.TypeID);
  return particulars;
}

}  // namespace

std::string EntryAsJson(const HistoryEntry& entry, NameBook& names, const LabelOf& label) {
  return fmt::format(
      R"({{"kind":"{}","Msg_ID":{},"time":{},"from":{},"from_name":{},{},"own":{},"unread":{},)"
      R"("text":{},{}}})",
      KindWord(entry.kind), JsonString(entry.Msg_ID), JsonString(entry.date + " " + entry.time),
      JsonString(entry.from), JsonString(SenderName(entry, names)), Receiver(entry, names),
      entry.isOwn, entry.isUnread, JsonString(ShownText(entry, label)), Particulars(entry));
}

void PrintHistory(const std::vector<HistoryEntry>& entries, NameBook& names, const LabelOf& label,
                  std::ostream& out) {
  for (const HistoryEntry& entry : entries) {
    out << TerminalLine(entry.date + " " + entry.time) << (entry.isUnread ? " * " : "   ")
        << TerminalLine(Heading(entry, names) + ": " + WholeText(entry, label)) << '\n';
  }
}

void PrintHistoryAsJson(const std::vector<HistoryEntry>& entries, NameBook& names,
                        const LabelOf& label, std::ostream& out) {
  out << '[';
  std::string_view separator = "\n";
  for (const HistoryEntry& entry : entries) {
    out << separator << EntryAsJson(entry, names, label);
    separator = ",\n";
  }
  out << (entries.empty() ? "]\n" : "\n]\n");
}

}  // namespace vnq
