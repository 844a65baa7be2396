#include "tools/history/history_command.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

#include "support/ascii_case.h"
#include "support/dates.h"
#include "tools/history/history_list.h"
#include "tools/history/history_reader.h"
#include "tools/history/history_store.h"
#include "tools/history/read_marks.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

using Kind = HistoryEntry::Kind;

// The ids behind the names of the command line.
struct Chosen {
  std::string user, with, group;
};

bool Resolve(const HistoryOptions& options, NameBook& names, Chosen& chosen, std::string& error) {
  const auto named = [&error](const char* option, const std::string& name) {
    error = std::string(option) + " " + name + ": " + error;
    return false;
  };
  if (!names.FindUser(options.user, chosen.user, error)) return named("--user", options.user);
  if (!options.with.empty() && !names.FindUser(options.with, chosen.with, error)) {
    return named("--with", options.with);
  }
  if (!options.group.empty() && !names.FindGroup(options.group, chosen.group, error)) {
    return named("--group", options.group);
  }
  return true;
}

bool IsChosen(const HistoryEntry& entry, const Chosen& chosen, bool onlyNotices) {
  if (onlyNotices) return entry.kind == Kind::kNotice;
  if (!chosen.group.empty()) {
    return entry.kind == Kind::kGroup && SameButForCase(entry.to, chosen.group);
  }
  if (chosen.with.empty()) return true;
  const std::string& other = entry.isOwn ? entry.to : entry.from;
  return entry.kind == Kind::kPeer && SameButForCase(other, chosen.with);
}

std::string Moment(const HistoryEntry& entry) {
  return entry.date + " " + entry.time;
}

void Choose(const HistoryOptions& options, const Chosen& chosen, const LabelOf& label,
            std::vector<HistoryEntry>& entries) {
  const std::string since =
      options.since.empty() ? "" : FormatAsDate(options.since) + " " + FormatAsTime(options.since);
  std::erase_if(entries, [&](const HistoryEntry& entry) {
    return !IsChosen(entry, chosen, options.notices) || Moment(entry) < since ||
           !HoldsWords(entry, options.search, label);
  });
  if (options.limit == 0 || entries.size() <= options.limit) return;
  const auto surplus = static_cast<std::ptrdiff_t>(entries.size() - options.limit);
  if (options.onlyUnread) {
    entries.erase(entries.end() - surplus, entries.end());
  } else {
    entries.erase(entries.begin(), entries.begin() + surplus);
  }
}

}  // namespace

int RunHistory(const HistoryOptions& options, std::ostream& out, std::ostream& err) {
  std::string error;
  const auto store = HistoryStore::Open(options.appPath, error);
  Chosen chosen;
  if (store == nullptr || !Resolve(options, store->names(), chosen, error))
    return Fail(err, "history", error);
  std::vector<HistoryEntry> entries;
  if (!ReadHistory(store->database(), {chosen.user, options.device, options.onlyUnread}, entries)) {
    return Fail(err, "history", store->database().driver().LastError());
  }
  Choose(options, chosen, store->labels(), entries);
  const auto print = options.json ? PrintHistoryAsJson : PrintHistory;
  print(entries, store->names(), store->labels(), out);
  if (!out.flush()) return Fail(err, "history", "the output is lost; nothing was marked as read");
  if (!options.markRead) return 0;
  std::erase_if(entries, [](const HistoryEntry& entry) { return !entry.isUnread; });
  const bool marked =
      MarkRead(store->database(), store->engine(), chosen.user, options.device, entries, error);
  return marked ? 0 : Fail(err, "history", "nothing was marked as read: " + error);
}

// --- The command line ---

namespace {

std::string CheckMoment(const std::string& text) {
  const bool isMoment = ParseDateAndTime(text).has_value() && text.find('-') != std::string::npos;
  return isMoment ? "" : text + " is no date: YYYY-MM-DD or \"YYYY-MM-DD hh:mm:ss\" is wanted";
}

void AddConversations(CLI::App& history, HistoryOptions& options) {
  auto* with = history.add_option("--with", options.with,
                                  "Only messages with this person, a login name or a UserID");
  auto* group = history.add_option("--group", options.group,
                                   "Only messages of this group, by its name or its id");
  history.add_flag("--notices", options.notices, "Only notices")->excludes(with)->excludes(group);
  group->excludes(with);
  history
      .add_option("--since", options.since,
                  "Nothing older than YYYY-MM-DD or \"YYYY-MM-DD hh:mm:ss\"")
      ->check(CheckMoment);
  history.add_option("--search", options.search, "Only what holds these words");
  history
      .add_option("--limit", options.limit,
                  "The last N; with --unread the first N, so that the next call goes on")
      ->check(CLI::PositiveNumber);
}

}  // namespace

void AddHistoryCommand(CLI::App& app, int& exitCode) {
  const auto options = std::make_shared<HistoryOptions>();
  CLI::App* history = app.add_subcommand(
      "history", "Show a user's messages and notices, beside a running server, too");
  AddAppPath(*history, options->appPath)->required();
  history->add_option("--user", options->user, "Whose; a login name or a UserID")->required();
  AddConversations(*history, *options);
  history->add_flag("--unread", options->onlyUnread, "Only what the user's device has not had");
  history->add_flag("--mark-read", options->markRead,
                    "What is shown counts as had by the user's device from now on");
  history
      ->add_option_function<std::string>(
          "--device",
          [options](const std::string& device) {
            options->device = device == "mobile" ? Device::kMobile : Device::kDesktop;
          },
          "The device that counts")
      ->check(CLI::IsMember({"desktop", "mobile"}))
      ->default_str("desktop");
  history->add_flag("--json", options->json, "As a JSON array, an object a message");
  history->callback(
      [options, &exitCode] { exitCode = RunHistory(*options, std::cout, std::cerr); });
}

}  // namespace vnq
