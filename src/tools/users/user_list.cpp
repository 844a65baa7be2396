#include "tools/users/user_list.h"

#include <fmt/format.h>

#include "host/slots/presence_values.h"
#include "support/numbers.h"
#include "support/utf8.h"
#include "tools/client/chat_text.h"
#include "tools/terminal/text_table.h"

namespace vnq {
namespace {

std::string PresenceWord(const std::string& UserIcoLine) {
  switch (ParseInt16(UserIcoLine).value_or(kPresenceOffline)) {
    case kPresenceOffline:
      return "offline";
    case kPresenceOnline:
      return "online";
    case kPresenceAway:
      return "away";
    case kPresenceOnPhone:
      return "phone";
    default:
      return UserIcoLine;
  }
}

// UserState has two meanings that matter to the login: 0, and everything else.
std::string StateWord(const std::string& UserState) {
  return ParseInt16(UserState) == 0 ? "disabled" : "enabled";
}

std::string JsonText(const std::string& text) {
  std::string json = "\"";
  for (size_t at = 0; at < text.size();) {
    const char32_t value = NextSequence(text, at);
    if (value == '"' || value == '\\') {
      json += '\\';
      json += static_cast<char>(value);
    } else if (value < 0x20 || (value >= 0xD800 && value < 0xE000)) {
      json += fmt::format("\\u{:04x}", static_cast<uint32_t>(value));
    } else {
      AppendUtf8(json, value);
    }
  }
  return json + '"';
}

std::string JsonNumber(const std::string& text) {
  return text.empty() ? "null" : text;
}

std::string JsonUser(const UserRow& user) {
  return fmt::format(R"({{"UserID":{},"UserName":{},"FcName":{},"UppeId":{},"Jod":{},"Tel1":{},)"
                     R"("UserState":{},"IsManager":{},"UserIcoLine":{},"LoginTime":{}}})",
                     JsonText(user.UserID), JsonText(user.UserName), JsonText(user.FcName),
                     JsonText(user.UppeId), JsonText(user.Jod), JsonText(user.Tel1),
                     JsonNumber(user.UserState), JsonNumber(user.IsManager),
                     JsonNumber(user.UserIcoLine), JsonText(user.LoginTime));
}

}  // namespace

void PrintUsers(const std::vector<UserRow>& users, std::ostream& out) {
  std::vector<std::vector<std::string>> table = {
      {"UserID", "login name", "name", "department", "state", "manager", "presence"}};
  for (const UserRow& user : users) {
    table.push_back({TerminalLine(user.UserID), TerminalLine(user.UserName),
                     TerminalLine(user.FcName), TerminalLine(user.UppeId),
                     StateWord(user.UserState), ParseInt16(user.IsManager) == 1 ? "yes" : "no",
                     PresenceWord(user.UserIcoLine)});
  }
  PrintTable(table, out);
}

void PrintUsersAsJson(const std::vector<UserRow>& users, std::ostream& out) {
  out << '[';
  std::string_view separator = "\n";
  for (const UserRow& user : users) {
    out << separator << JsonUser(user);
    separator = ",\n";
  }
  out << (users.empty() ? "]\n" : "\n]\n");
}

}  // namespace vnq
