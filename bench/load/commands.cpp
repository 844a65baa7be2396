#include "bench/load/commands.h"

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "bench/load/other_writer.h"
#include "bench/load/prepare.h"
#include "bench/load/scenario.h"
#include "tools/terminal/command_line.h"

namespace vnq::bench {
namespace {

using Options = std::shared_ptr<LoadOptions>;
using AddOptions = void (*)(CLI::App& command, LoadOptions& options);

CLI::Option* AddCount(CLI::App& command, const std::string& name, size_t& target,
                      const std::string& help) {
  return command.add_option(name, target, help)->capture_default_str()->check(CLI::Range(1, 30000));
}

void AddCommonOptions(CLI::App& command, LoadOptions& o) {
  command.add_option("--server", o.server, "IPv4 address of the server")->capture_default_str();
  command.add_option("--port", o.port, "Port that clients come to")->capture_default_str();
  AddTlsOptions(command, o.tls);
  command.add_option("--code-page", o.codePage, "Code page of the server")->capture_default_str();
  command.add_option("--seconds", o.seconds, "Measured time")
      ->capture_default_str()
      ->check(CLI::Range(0.1, 86400.0));
  command.add_option("--warmup", o.warmupSeconds, "Time before it that does not count")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 3600.0));
  command.add_option("--settle", o.settleSeconds, "How long the last messages may take to arrive")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 3600.0));
  command
      .add_option("--pid", o.pids, "Processes of the servers on this machine: report what they use")
      ->delimiter(',')
      ->check(CLI::Range(1, 1 << 30));
  command.add_option("--used-by", o.usedBy,
                     "NAME=PID: a further process, whose CPU is told, with that of its children");
  command.add_flag("--json", o.json, "End with JSON instead of a table");
  command.add_flag("--markdown", o.markdown, "End with one row of a Markdown table")
      ->excludes("--json");
  command.add_option("--plot", o.plot, "Write the latency distribution to an SVG file");
  command.add_option("--note", o.note, "Words that join the title of the result");
  command.add_flag("--quiet", o.quiet, "No live line on standard error");
}

void AddRate(CLI::App& command, LoadOptions& o, const std::string& what) {
  command.add_option("--rate", o.rate, "Open loop: " + what + " a second over all; 0: closed loop")
      ->capture_default_str()
      ->check(CLI::Range(0.0, 1e6));
}

void AddOthers(CLI::App& command, LoadOptions& o) {
  command.add_option("--others", o.others, "Further sessions that are online and silent")
      ->check(CLI::Range(0, 30000));
}

void AddTextOptions(CLI::App& command, LoadOptions& o) {
  AddRate(command, o, "messages");
  AddOthers(command, o);
  AddCount(command, "--window", o.window, "Closed loop: messages in flight of each pair or writer");
  command.add_flag(
      "--until-delivery", o.untilDelivery,
      "Closed loop: a message ends when it is delivered, not when its receipt is here");
  // A longer record would go out in parts, and parts of two records must not meet in one read.
  command.add_option("--text-bytes", o.textBytes, "Length of a text, escaped")
      ->capture_default_str()
      ->check(CLI::Range(1, 800));
  command.add_flag("--chinese", o.chinese, "Chinese texts");
  command.add_flag("--floor", o.withFloor,
                   "Measure the bare statements and socket calls of a message too");
}

void AddServers(CLI::App& command, LoadOptions& o) {
  command
      .add_option("--servers", o.servers,
                  "IPv4 addresses of the nodes of a cluster; the clients go to them in turn")
      ->delimiter(',')
      ->excludes("--server");
}

void AddPeer(CLI::App& command, LoadOptions& o) {
  AddCount(command, "--pairs", o.pairs, "Pairs that chat");
  AddServers(command, o);
  command.add_flag("--across", o.across, "The two of a pair are on different servers")
      ->needs("--servers");
  AddTextOptions(command, o);
}

void AddGroup(CLI::App& command, LoadOptions& o) {
  AddCount(command, "--members", o.members, "Members of the group; one that prepare has made");
  AddCount(command, "--connected", o.connected, "Members that are connected, beside the writer");
  AddTextOptions(command, o);
}

void AddNotice(CLI::App& command, LoadOptions& o) {
  // The server takes a notice out of one read, so it must fit one packet of the loopback device.
  command.add_option("--receivers", o.receivers, "Persons that a notice is for")
      ->capture_default_str()
      ->check(CLI::Range(1, 5000));
  AddTextOptions(command, o);
}

void AddLogin(CLI::App& command, LoadOptions& o) {
  AddCount(command, "--clients", o.clients, "Sessions at one time");
  AddRate(command, o, "sessions");
  AddOthers(command, o);
}

void AddBroadcast(CLI::App& command, LoadOptions& o) {
  AddCount(command, "--clients", o.clients, "Sessions that are connected");
  AddCount(command, "--actors", o.actors, "How many of them change their presence");
  AddRate(command, o, "changes");
}

void AddIdle(CLI::App& command, LoadOptions& o) {
  AddCount(command, "--clients", o.clients, "Connections");
  AddServers(command, o);
  command.add_flag("--online", o.online, "Log them in");
  AddCount(command, "--first-account", o.firstAccount,
           "Number of the account of the first, where several such runs are side by side");
}

void AddVisitor(CLI::App& command, LoadOptions& o) {
  AddCount(command, "--visitors", o.visitors, "Web visitors that write");
  AddCount(command, "--agents", o.agents, "Agents that are written to");
  AddRate(command, o, "lines");
  AddOthers(command, o);
}

struct ScenarioRow {
  const char* name;
  const char* help;
  AddOptions add;
  ScenarioMaker make;
};

constexpr ScenarioRow kScenarios[] = {
    {"peer", "Pairs chat: every message is stored, delivered and receipted", AddPeer,
     MakePeerScenario},
    {"group", "One writes to a group", AddGroup, MakeGroupScenario},
    {"notice", "One publishes notices to many", AddNotice, MakeNoticeScenario},
    {"login", "Connect, log in, come online, leave", AddLogin, MakeLoginScenario},
    {"broadcast", "Changes of presence that all others are told of", AddBroadcast,
     MakeBroadcastScenario},
    {"idle", "Connections that do nothing", AddIdle, MakeIdleScenario},
    {"visitor", "Web visitors write to agents", AddVisitor, MakeVisitorScenario},
};

void AddScenario(CLI::App& app, const ScenarioRow& row, int& exitCode) {
  auto options = std::make_shared<LoadOptions>();
  CLI::App* command = app.add_subcommand(row.name, row.help);
  AddCommonOptions(*command, *options);
  row.add(*command, *options);
  command->callback(
      [options, row, &exitCode] { exitCode = RunScenario(row.name, row.make, *options); });
}

void AddPrepare(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<PrepareOptions>();
  CLI::App* command =
      app.add_subcommand("prepare", "Make the accounts, groups and rows that the scenarios use");
  AddAppPath(*command, options->appPath)->required();
  command->add_option("--locale", options->locale, "Language of a folder that is not there yet")
      ->capture_default_str();
  command->add_option("--users", options->users, "Accounts")
      ->capture_default_str()
      ->check(CLI::Range(1, 100000));
  command->add_option("--groups", options->groups, "Groups, by their numbers of members")
      ->delimiter(',')
      ->capture_default_str()
      ->check(CLI::Range(1, 99999));
  command->add_option("--message-rows", options->messageRows, "Old rows of Messeng_Text")
      ->capture_default_str()
      ->check(CLI::Range(0, 100'000'000));
  command->callback([options, &exitCode] { exitCode = Prepare(*options, std::cout, std::cerr); });
}

void AddOtherWriter(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<OtherWriterOptions>();
  CLI::App* command = app.add_subcommand(
      "writer", "Write to a server's embedded database as another program, and time the waits");
  command->add_option("--app-path", options->appPath, "The server's folder")->required();
  command->add_option("--seconds", options->seconds, "How long")->capture_default_str();
  command->add_option("--every-ms", options->everyMs, "Pause between two writes")
      ->capture_default_str()
      ->check(CLI::Range(0, 60'000));
  command->add_flag("--eager", options->eager, "Try a locked database again at once");
  command->callback(
      [options, &exitCode] { exitCode = RunOtherWriter(*options, std::cout, std::cerr); });
}

}  // namespace

void AddCommands(CLI::App& app, int& exitCode) {
  AddPrepare(app, exitCode);
  AddOtherWriter(app, exitCode);
  app.add_subcommand("markdown-head", "Print the head of the table that --markdown gives rows for")
      ->callback([] { std::cout << kMarkdownHead; });
  for (const ScenarioRow& row : kScenarios) AddScenario(app, row, exitCode);
}

}  // namespace vnq::bench
