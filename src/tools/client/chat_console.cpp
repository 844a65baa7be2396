#include "tools/client/chat_console.h"

#include <algorithm>

#include "support/numbers.h"
#include "support/trim.h"
#include "tools/client/chat_text.h"

namespace vnq {
namespace {

constexpr int kMaxWaitSeconds = 24 * 3600;
constexpr size_t kMaxCompletions = 100;

// The first word of a text, which keeps what stands behind it.
std::string_view TakeWord(std::string_view& text) {
  text = TrimBlanks(text, " ");
  const size_t end = std::min(text.find(' '), text.size());
  const std::string_view word = text.substr(0, end);
  text = TrimBlanks(text.substr(end), " ");
  return word;
}

}  // namespace

const ChatConsole::CommandRow ChatConsole::kCommands[] = {
    {"/to", " USERID [TEXT]", "the next texts are for this user; an id or a known name",
     &ChatConsole::To},
    {"/group", " GROUPID [TEXT]", "the next texts are for this group", &ChatConsole::Group},
    {"/groups", "", "the groups that records have shown", &ChatConsole::Groups},
    {"/create", " NAME", "make a group, with you as its administrator", &ChatConsole::Create},
    {"/invite", " USERID,USERID", "add users to the group that the next texts are for",
     &ChatConsole::Invite},
    {"/leave", "", "leave the group that the next texts are for", &ChatConsole::Leave},
    {"/friend", " add|accept|refuse|block|delete USERID [TEXT]",
     "ask for a friendship, answer such a request, or end one", &ChatConsole::Friend},
    {"/unread", "", "from whom texts have come while you talked to somebody else",
     &ChatConsole::Unread},
    {"/who", "", "who has come or gone since the log-in", &ChatConsole::Who},
    {"/names", "", "the ids and names that are known", &ChatConsole::Names},
    {"/name", " USERID NAME", "give a user id a name of your own", &ChatConsole::Name},
    {"/away", "", "tell the others that you are away", &ChatConsole::Away},
    {"/back", "", "tell the others that you are online", &ChatConsole::Back},
    {"/hide", "", "be shown as offline, and stay logged in", &ChatConsole::Hide},
    {"/retract", "", "take the last text back; again: the one before it", &ChatConsole::Retract},
    {"/nudge", " [USERID]", "shake a user's window; without an id the target's",
     &ChatConsole::Nudge},
    {"/notice", " USERID,USERID TITLE", "post a notice to users", &ChatConsole::Notice},
    {"/wait", " SECONDS", "in a script: go on listening before the next line", &ChatConsole::Wait},
    {"/reconnect", "", "log in again; what has no receipt is sent again", &ChatConsole::Reconnect},
    {"/help", "", "this list; a text that begins with / is typed with //", &ChatConsole::Help},
    {"/quit", "", "log out and end", &ChatConsole::Quit},
};

ConsoleRequest ChatConsole::Line(std::string_view line) {
  if (TrimBlanks(line, " ").empty()) return {};
  if (line.front() != '/' || line.starts_with("//")) {
    if (line.starts_with("//")) line.remove_prefix(1);
    failed_ = !session_->SendText(line) || failed_;
    return {};
  }
  std::string_view rest = line;
  const std::string_view word = TakeWord(rest);
  for (const CommandRow& row : kCommands) {
    if (row.word == word) return (this->*row.command)(rest);
  }
  Fail("There is no command " + TerminalLine(word) + "; /help lists them.");
  return {};
}

std::vector<std::string> ChatConsole::Completions(const std::string& before) const {
  std::vector<std::string> found;
  for (const CommandRow& row : kCommands) {
    const std::string command = std::string(row.word) + (row.arguments.empty() ? "" : " ");
    if (command.starts_with(before)) found.push_back(command);
    const bool ofGroups = row.arguments.find("GROUPID") != std::string_view::npos;
    const bool ofUsers = row.arguments.find("USERID") != std::string_view::npos;
    if ((!ofGroups && !ofUsers) || !before.starts_with(command)) continue;
    // The user of a friendship stands behind the step.
    const bool isSecond = row.word == "/friend";
    const size_t from = isSecond ? before.find(' ', command.size()) + 1 : command.size();
    if (from == 0) continue;
    AddNames(ofGroups ? KnownNames::Kind::kGroup : KnownNames::Kind::kUser, before, from, found);
  }
  return found;
}

// What stands from `from` on becomes a name, or an id that has none or was begun.
void ChatConsole::AddNames(KnownNames::Kind kind, const std::string& before, size_t from,
                           std::vector<std::string>& found) const {
  const std::string begun = before.substr(from);
  for (const auto& [id, name] : names_->All(kind)) {
    if (found.size() >= kMaxCompletions) return;
    const bool isName = !name.empty() && name.starts_with(begun);
    if (isName || id.starts_with(begun)) {
      found.push_back(before.substr(0, from) + (isName ? name : id));
    }
  }
}

void ChatConsole::Address(KnownNames::Kind kind, std::string_view rest) {
  const bool known = names_->Resolve(kind, rest) != rest;
  const std::string_view id = known ? rest : TakeWord(rest);
  if (id.empty() || !FitsAField(id)) {
    Fail("Say whom: " +
         std::string(kind == KnownNames::Kind::kUser ? "/to USERID" : "/group GROUPID") +
         "; /names lists the known ones.");
    return;
  }
  session_->SetTarget(kind, id);
  if (!known && !rest.empty()) {
    failed_ = !session_->SendText(rest) || failed_;
  } else {
    sink_->Show("* the next texts are for " + session_->TargetLabel());
  }
}

ConsoleRequest ChatConsole::To(std::string_view rest) {
  Address(KnownNames::Kind::kUser, rest);
  return {};
}

ConsoleRequest ChatConsole::Group(std::string_view rest) {
  Address(KnownNames::Kind::kGroup, rest);
  return {};
}

ConsoleRequest ChatConsole::Unread(std::string_view) {
  session_->ShowUnread();
  return {};
}

ConsoleRequest ChatConsole::Who(std::string_view) {
  session_->ShowPresence();
  return {};
}

void ChatConsole::ShowGroups() {
  for (const auto& entry : names_->All(KnownNames::Kind::kGroup)) {
    sink_->Show("* group " + names_->Label(KnownNames::Kind::kGroup, entry.first));
  }
}

ConsoleRequest ChatConsole::Groups(std::string_view) {
  if (names_->All(KnownNames::Kind::kGroup).empty()) {
    sink_->Show("* no record has shown a group yet, and the server lists none");
  }
  ShowGroups();
  return {};
}

ConsoleRequest ChatConsole::Create(std::string_view rest) {
  failed_ = !session_->CreateGroup(rest) || failed_;
  return {};
}

ConsoleRequest ChatConsole::Invite(std::string_view rest) {
  failed_ = !session_->Invite(rest) || failed_;
  return {};
}

ConsoleRequest ChatConsole::Leave(std::string_view) {
  failed_ = !session_->LeaveGroup() || failed_;
  return {};
}

// A name of several words is taken whole where it is known, as /to takes it.
ConsoleRequest ChatConsole::Friend(std::string_view rest) {
  const std::string_view step = TakeWord(rest);
  const bool known = names_->Resolve(KnownNames::Kind::kUser, rest) != rest;
  const std::string_view user = known ? rest : TakeWord(rest);
  failed_ = !session_->Friend(step, user, known ? "" : rest) || failed_;
  return {};
}

ConsoleRequest ChatConsole::Names(std::string_view) {
  for (const auto& entry : names_->All(KnownNames::Kind::kUser)) {
    sink_->Show("* user " + names_->Label(KnownNames::Kind::kUser, entry.first));
  }
  ShowGroups();
  return {};
}

ConsoleRequest ChatConsole::Name(std::string_view rest) {
  const std::string_view id = TakeWord(rest);
  if (id.empty() || rest.empty() || !FitsAField(id)) {
    Fail("Say whom and how: /name USERID NAME.");
    return {};
  }
  names_->Learn(KnownNames::Kind::kUser, id, rest);
  sink_->Show("* " + names_->Label(KnownNames::Kind::kUser, id));
  return {};
}

ConsoleRequest ChatConsole::Away(std::string_view) {
  session_->SetPresence(".+go_away", "away");
  return {};
}

ConsoleRequest ChatConsole::Back(std::string_view) {
  session_->SetPresence(".+on_line", "online");
  return {};
}

ConsoleRequest ChatConsole::Hide(std::string_view) {
  session_->SetPresence(".+stealth", "invisible");
  return {};
}

ConsoleRequest ChatConsole::Retract(std::string_view) {
  failed_ = !session_->RetractLast() || failed_;
  return {};
}

ConsoleRequest ChatConsole::Nudge(std::string_view rest) {
  failed_ = !session_->Nudge(rest) || failed_;
  return {};
}

ConsoleRequest ChatConsole::Notice(std::string_view rest) {
  const std::string_view receivers = TakeWord(rest);
  failed_ = !session_->PostNotice(receivers, rest) || failed_;
  return {};
}

ConsoleRequest ChatConsole::Wait(std::string_view rest) {
  const std::optional<int32_t> seconds = ParseInt32(rest);
  if (!seconds || *seconds < 0 || *seconds > kMaxWaitSeconds) {
    Fail("Say how long: /wait SECONDS, at most " + std::to_string(kMaxWaitSeconds) + ".");
    return {};
  }
  return {ConsoleRequest::Kind::kWait, *seconds};
}

ConsoleRequest ChatConsole::Reconnect(std::string_view) {
  return {ConsoleRequest::Kind::kReconnect, 0};
}

ConsoleRequest ChatConsole::Help(std::string_view) {
  for (const CommandRow& row : kCommands) {
    std::string left = std::string(row.word) + std::string(row.arguments);
    left.resize(std::max<size_t>(left.size() + 2, 26), ' ');
    sink_->Show("* " + left + std::string(row.summary));
  }
  return {};
}

ConsoleRequest ChatConsole::Quit(std::string_view) {
  return {ConsoleRequest::Kind::kQuit, 0};
}

void ChatConsole::Fail(const std::string& sentence) {
  failed_ = true;
  sink_->Complain(sentence);
}

}  // namespace vnq
