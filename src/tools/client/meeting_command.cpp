#include "tools/client/meeting_command.h"

#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/database/database.h"
#include "tools/folder/in_transaction.h"
#include "tools/folder/program_database.h"
#include "tools/terminal/command_line.h"
#include "tools/users/user_accounts.h"

namespace vnq {
namespace {

constexpr int kOnDesktop = 1;

// The UserIDs in the place of the names.
bool FindParties(MeetingOptions& options, std::string& error) {
  const auto accounts = UserAccounts::Open(options.appPath, error);
  UserRow from, to;
  if (!accounts || !accounts->Find(options.from, from, error) ||
      !accounts->Find(options.to, to, error)) {
    return false;
  }
  options.from = from.UserID;
  options.to = to.UserID;
  if (from.UserID == to.UserID) error = "a call is between two people";
  return from.UserID != to.UserID;
}

// One above the highest; nothing when there is no higher one or the table cannot be read.
std::optional<int32_t> NextChatId(Database& database) {
  Cursor highest(database);
  if (!highest.Open(Sql("Select max(ChatId) as c from Tab_Chat"))) return std::nullopt;
  const int32_t last = ToInt32(highest["c"]).value_or(0);
  if (last == std::numeric_limits<int32_t>::max()) return std::nullopt;
  return last + 1;
}

bool InsertMeeting(Database& database, const MeetingOptions& options, int32_t chatId) {
  Cursor row(database);
  if (!row.Open(Sql("Select top 1 * from Tab_Chat"))) return false;
  row.AddNew();
  row.Set("ChatId", chatId);
  row.Set("MyID", options.from);
  row.Set("YouID", options.to);
  row.Set("IsVideo", options.isVideo ? 1 : 0);
  row.Set("LoginType1", kOnDesktop);
  row.Set("LoginType2", 0);
  row.Set("Status", 0);
  row.Set("CloseRole", 0);
  return row.Update();
}

}  // namespace

int RunMeetingOpen(const MeetingOptions& given, std::ostream& out, std::ostream& err) {
  MeetingOptions options = given;
  std::string error;
  if (!FindParties(options, error)) return Fail(err, "meeting", error);
  auto opened = OpenProgramDatabase(options.appPath, error);
  if (!opened) return Fail(err, "meeting", error);
  Database database(std::move(opened->driver));

  int32_t chatId = 0;
  auto insert = [&] {
    const auto next = NextChatId(database);
    chatId = next.value_or(0);
    return next && InsertMeeting(database, options, chatId);
  };
  const bool done = InTransaction(database.driver(), opened->folder.engine, insert);
  if (!done || !database.driver().SyncCommitted()) {
    return Fail(err, "meeting", "no row was added to Tab_Chat: " + database.driver().LastError());
  }
  out << chatId << "\n";
  return 0;
}

void AddMeetingCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<MeetingOptions>();
  CLI::App* meeting = app.add_subcommand("meeting", "Audio and video calls");
  meeting->require_subcommand(1);
  CLI::App* open = meeting->add_subcommand("open", "Make the row of a call and print its ChatId");
  AddAppPath(*open, options->appPath)->required();
  open->add_option("--from", options->from, "Who calls: a login name or a UserID")->required();
  open->add_option("--to", options->to, "Who is called: a login name or a UserID")->required();
  open->add_flag("--video", options->isVideo, "A video call; without it an audio call");
  open->callback(
      [options, &exitCode] { exitCode = RunMeetingOpen(*options, std::cout, std::cerr); });
}

}  // namespace vnq
