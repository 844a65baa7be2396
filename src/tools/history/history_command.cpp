#include "tools/history/history_command.h"

#include <iostream>
#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

#include "support/dates.h"
#include "tools/history/history_choice.h"
#include "tools/history/history_list.h"
#include "tools/history/history_reader.h"
#include "tools/history/history_service.h"
#include "tools/history/history_store.h"
#include "tools/history/read_marks.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

// The conversation behind the names of the command line, and whose history it is.
bool Resolve(const HistoryOptions& options, NameBook& names, std::string& user,
             HistoryChoice& choice, std::string& error) {
  const auto named = [&error](const char* option, const std::string& name) {
    error = std::string(option) + " " + name + ": " + error;
    return false;
  };
  if (!names.FindUser(options.user, user, error)) return named("--user", options.user);
  if (!options.with.empty() && !names.FindUser(options.with, choice.with, error)) {
    return named("--with", options.with);
  }
  if (!options.group.empty() && !names.FindGroup(options.group, choice.group, error)) {
    return named("--group", options.group);
  }
  return true;
}

}  // namespace

int RunHistory(const HistoryOptions& options, std::ostream& out, std::ostream& err) {
  std::string error, user;
  const auto store = HistoryStore::Open(options.appPath, error);
  HistoryChoice choice{{}, {}, options.notices, options.since, options.search};
  if (store == nullptr || !Resolve(options, store->names(), user, choice, error))
    return Fail(err, "history", error);
  std::vector<HistoryEntry> entries;
  const HistoryQuery query{user, options.device, options.onlyUnread, "", "", store->rowColumn()};
  if (!ReadHistory(store->database(), query, entries)) {
    return Fail(err, "history", store->database().driver().LastError());
  }
  KeepChosen(choice, store->labels(), entries);
  if (options.limit > 0) (options.onlyUnread ? KeepFirst : KeepLast)(options.limit, entries);
  const auto print = options.json ? PrintHistoryAsJson : PrintHistory;
  print(entries, store->names(), store->labels(), out);
  if (!out.flush()) return Fail(err, "history", "the output is lost; nothing was marked as read");
  if (!options.markRead) return 0;
  std::erase_if(entries, [](const HistoryEntry& entry) { return !entry.isUnread; });
  const bool marked =
      MarkRead(store->database(), store->engine(), user, options.device, entries, error);
  return marked ? 0 : Fail(err, "history", "nothing was marked as read: " + error);
}

int RunHistoryService(const std::string& appPath, std::istream& in, std::ostream& out,
                      std::ostream& err) {
  std::string error;
  const auto store = HistoryStore::Open(appPath, error);
  if (store == nullptr) return Fail(err, "history", error);
  HistoryService service(*store);
  for (std::string line; std::getline(in, line);) {
    if (!(out << service.Answer(line) << std::endl)) {
      return Fail(err, "history", "the output is lost");
    }
  }
  return 0;
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

// Either one user's history or the requests of a program, which say whose.
void RequireOneUse(const CLI::App& history, const HistoryOptions& options) {
  if (!options.serve && options.user.empty()) throw CLI::RequiredError("--user");
  const auto given = history.get_options([](const CLI::Option* option) {
    return option->count() > 0 && !option->check_name("--app-path") &&
           !option->check_name("--serve");
  });
  if (options.serve && !given.empty()) throw CLI::ExcludesError("--serve", given[0]->get_name());
}

}  // namespace

void AddHistoryCommand(CLI::App& app, int& exitCode) {
  const auto options = std::make_shared<HistoryOptions>();
  CLI::App* history = app.add_subcommand(
      "history", "Show a user's messages and notices, beside a running server, too");
  AddAppPath(*history, options->appPath)->required();
  history->add_option("--user", options->user, "Whose; a login name or a UserID");
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
  history->add_flag("--serve", options->serve,
                    "Answer requests, a JSON object a line, from standard input until it ends");
  history->callback([options, history, &exitCode] {
    RequireOneUse(*history, *options);
    exitCode = options->serve ? RunHistoryService(options->appPath, std::cin, std::cout, std::cerr)
                              : RunHistory(*options, std::cout, std::cerr);
  });
}

}  // namespace vnq
