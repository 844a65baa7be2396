// The programs themselves, as a shell runs them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "tests/harness/app_folder.h"
#include "tests/harness/shell_run.h"
#include "tests/tools/client/fake_server.h"
#include "tools/all_commands.h"

namespace vnq {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Programs : public ::testing::Test {
 protected:
  static ShellRun Vnqctl(const std::string& arguments) {
    return RunInShell(VNQ_CTL_PROGRAM " " + arguments);
  }
  std::string AppPath() const { return " --app-path " + folder_.path() + "/app "; }
  void Init() {
    const ShellRun run = Vnqctl("init --language 1033" + AppPath());
    ASSERT_EQ(run.exitCode, 0) << run.output;
  }

  // What the control port hears of an order to the computer called 繁體.
  static std::string NameOnTheWire(const std::string& options) {
    FakeServer server;
    std::string read;
    std::thread answers([&] {
      if (!server.Accept()) return;
      server.SendBytes(".+successful_connection|#");
      read = server.ReceiveBytes();
      server.SendBytes(".+y|#");
      server.CloseClient();
    });
    const ShellRun run = Vnqctl("control usb 繁體 ann 1 --server 127.0.0.1 --port " +
                                std::to_string(server.port()) + " " + options);
    answers.join();
    EXPECT_EQ(run.exitCode, 0) << run.output;
    return read;
  }

  AppFolder folder_;
};

// --- Every command, by its line ---

// What a command prints: a list or findings, which programs can have as JSON, or neither.
enum class Prints { kListing, kOther };

struct CommandLine {
  std::string command;    ///< its words
  std::string arguments;  ///< beside --app-path, for a run on a folder with data and no server
  Prints prints = Prints::kOther;
  bool needsPeer = false;  ///< a server, or somebody to answer: only that it is known is tested
};

std::vector<CommandLine> AllCommandLines(const std::string& folder) {
  const auto listing = Prints::kListing;
  const std::string archive = folder + "/archive", backup = folder + "/backup";
  return {
      {"init", "--language 1033"},
      {"doctor", "", listing},
      {"status", "", listing, true},
      {"who", "", listing, true},
      {"top", "", listing, true},
      {"presence repair", "", listing},
      {"probe", "--server 127.0.0.1", listing, true},
      {"trace", "", listing, true},
      {"backup", backup},
      {"restore", "--replace " + backup},
      {"upgrade", "", listing},
      {"retention run", "--dry-run", listing},
      {"export", "--to " + archive, listing},
      {"import", "--dry-run --append --from " + archive, listing},
      {"user add", "--csv " + folder + "/people.csv --dry-run", listing},
      {"user list", "", listing},
      {"user passwd", "ann --password pw"},
      {"user enable", "ann"},
      {"user disable", "ann"},
      {"user show", "ann", listing},
      {"user set", "ann --name Ann"},
      {"user logout", "ann", Prints::kOther, true},
      {"department list", "", listing},
      {"department add", "Sales"},
      {"department rename", "Sales Trade"},
      {"department remove", "Trade"},
      {"role list", "", listing},
      {"role add", "--permissions 1"},
      {"role set", "1 --permissions 1,3"},
      {"role give", "1 ann"},
      {"role take", "1 ann"},
      {"role remove", "1"},
      {"group list", "", listing},
      {"group add", "Choir --creator ann"},
      {"group members", "Choir", listing},
      {"group join", "Choir bob"},
      {"group rename", "Choir Band"},
      {"group leave", "Band bob"},
      {"group remove", "Band"},
      {"keyword list", "", listing},
      {"keyword add", "damn"},
      {"keyword rename", "damn darn"},
      {"keyword remove", "darn"},
      {"setting list", "", listing},
      {"setting get", "metrics.port", Prints::kOther, true},
      {"setting set", "metrics.port 9464"},
      {"history", "--user ann", listing},
      {"chat", "", Prints::kOther, true},
      {"notify", "", Prints::kOther, true},
      {"meeting open", "--from 1 --to 2"},
      {"user delete", "bob"},
      {"text", "", Prints::kOther, true},
      {"json parse", "", Prints::kOther, true},
      {"script eval", "", Prints::kOther, true},
      {"control disconnect", "", Prints::kOther, true},
      {"control broadcast", "", Prints::kOther, true},
      {"control info", "", listing, true},
      {"control computer", "", Prints::kOther, true},
      {"control usb", "", Prints::kOther, true},
      {"control remote-desktop", "", Prints::kOther, true},
      {"control close-remote-desktop", "", Prints::kOther, true},
      {"control ping", "", Prints::kOther, true},
  };
}

TEST_F(Programs, EmptyAppPathIsABadArgumentEverywhere) {
  const char* const commandLines[] = {
      VNQ_SERVER_PROGRAM " --app-path ''",
      VNQ_BENCH_PROGRAM " prepare --app-path ''",
      VNQ_CTL_PROGRAM " init --app-path ''",
      VNQ_CTL_PROGRAM " doctor --app-path ''",
      VNQ_CTL_PROGRAM " export --to x --app-path ''",
      VNQ_CTL_PROGRAM " import --from x --app-path ''",
      VNQ_CTL_PROGRAM " user add ann --app-path ''",
      VNQ_CTL_PROGRAM " user list --app-path ''",
      VNQ_CTL_PROGRAM " user passwd ann --app-path ''",
      VNQ_CTL_PROGRAM " user enable ann --app-path ''",
      VNQ_CTL_PROGRAM " user disable ann --app-path ''",
      VNQ_CTL_PROGRAM " meeting open --from a --to b --app-path ''",
      VNQ_CTL_PROGRAM " history --user a --app-path ''",
      VNQ_CTL_PROGRAM " chat --server 127.0.0.1 --user a --app-path ''",
      VNQ_CTL_PROGRAM " notify --server 127.0.0.1 --as a --to b --title c --app-path ''",
      VNQ_CTL_PROGRAM " control ping --server 127.0.0.1 --app-path ''",
  };
  for (const char* commandLine : commandLines) {
    const ShellRun run = RunInShell(commandLine);
    EXPECT_EQ(run.exitCode, 2) << commandLine;
    EXPECT_THAT(run.output, HasSubstr("the path is empty")) << commandLine;
  }
}

TEST_F(Programs, SettingsThatCannotBeReadEndTheServerWithTwo) {
  const std::string ini = folder_.path() + "/app/Web/Data/DataBase.ini";
  std::filesystem::create_directories(ini);
  const ShellRun server = RunInShell(VNQ_SERVER_PROGRAM + AppPath());
  EXPECT_EQ(server.exitCode, 2);
  EXPECT_EQ(server.output, "vnq_main_service: " + ini + " is not a file\n");
  const ShellRun list = Vnqctl("user list" + AppPath());
  EXPECT_EQ(list.exitCode, 1);
  EXPECT_EQ(list.output, "vnqctl user: " + ini + " is not a file\n");
}

TEST_F(Programs, OutputThatCannotBeWrittenIsAFailure) {
  Init();
  folder_.Write("script", "[\"a\"]");
  folder_.Write("people.csv", "name;password\ncarl;pw\n");
  const std::string tool = VNQ_CTL_PROGRAM " ";
  ASSERT_EQ(Vnqctl("user add ann --password pw" + AppPath()).exitCode, 0);
  ASSERT_EQ(Vnqctl("group add Choir --creator ann" + AppPath()).exitCode, 0);
  std::vector<std::string> commandLines = {
      VNQ_SERVER_PROGRAM " --help",
      VNQ_SERVER_PROGRAM " --version",
      VNQ_BENCH_PROGRAM " --help",
      VNQ_BENCH_PROGRAM " markdown-head",
      tool + "--help",
      tool + "--version",
      tool + "user add --help",
      tool + "user list" + AppPath(),
      tool + "export --to -" + AppPath(),
      "echo abc | " + tool + "text escape",
      tool + "text guid",
      "echo [1] | " + tool + "json parse",
      tool + "script eval " + folder_.path() + "/script",
  };
  for (const CommandLine& line : AllCommandLines(folder_.path())) {
    if (line.prints != Prints::kListing || line.needsPeer) continue;
    commandLines.push_back(tool + line.command + " " + line.arguments + " --json" + AppPath());
  }
  for (const std::string& commandLine : commandLines) {
    const ShellRun run = RunInShell(commandLine + " > /dev/full");
    EXPECT_EQ(run.exitCode, 1) << commandLine;
    EXPECT_THAT(run.output, HasSubstr("standard output")) << commandLine;
  }
}

// The words of every command that runs something; the codecs of `text` count as one.
void Collect(const CLI::App& app, const std::string& words, std::map<std::string, bool>& found) {
  const auto commands = app.get_subcommands({});
  if (commands.empty() || words == "text") {
    found[words] = app.get_option_no_throw("--json") != nullptr;
    return;
  }
  for (const CLI::App* command : commands) {
    Collect(*command, words.empty() ? command->get_name() : words + " " + command->get_name(),
            found);
  }
}

TEST_F(Programs, EveryCommandThatPrintsAListHasItAsJson) {
  CLI::App app;
  int exitCode = 0;
  AddAllCommands(app, exitCode);
  std::map<std::string, bool> found, expected;
  Collect(app, "", found);
  for (const CommandLine& line : AllCommandLines("")) {
    expected[line.command] = line.prints == Prints::kListing;
  }
  EXPECT_EQ(found, expected);
}

TEST_F(Programs, EveryListingIsAJsonArrayThatProgramsRead) {
  Init();
  folder_.Write("people.csv", "name;password\ncarl;pw\ndora\n");
  ASSERT_EQ(Vnqctl("user add ann --password pw" + AppPath()).exitCode, 0);
  ASSERT_EQ(Vnqctl("user add bob --password pw" + AppPath()).exitCode, 0);
  for (const CommandLine& line : AllCommandLines(folder_.path())) {
    if (line.needsPeer) continue;
    const bool isListing = line.prints == Prints::kListing;
    const std::string run = line.command + " " + line.arguments + AppPath();
    const ShellRun said =
        Vnqctl(run + (isListing ? "--json 2> /dev/null | python3 -c 'import json,sys;"
                                  "print(type(json.load(sys.stdin)).__name__)'"
                                : ""));
    EXPECT_EQ(said.exitCode, 0) << run << "\n" << said.output;
    if (isListing) {
      EXPECT_EQ(said.output, "list\n") << run;
    }
  }
}

TEST_F(Programs, PlacesMayStandInFrontOfTheCommand) {
  Init();
  EXPECT_EQ(Vnqctl("--app-path " + folder_.path() + "/app user list --json").output, "[]\n");
  EXPECT_EQ(Vnqctl("--app-path=" + folder_.path() + "/app user list --json").output, "[]\n");
  EXPECT_THAT(Vnqctl("--server 127.0.0.1 control ping --port 1 --wait-ms 100").output,
              StartsWith("vnqctl control: "));
  EXPECT_THAT(Vnqctl("--app-path").output, StartsWith("vnqctl: "));
  EXPECT_EQ(Vnqctl("--app-path").exitCode, 2);
}

TEST_F(Programs, ArchiveOnStandardOutputIsTheWholeArchive) {
  Init();
  const std::string piped = folder_.path() + "/piped", written = folder_.path() + "/written";
  const ShellRun run = Vnqctl("export --to - " + AppPath() + " > " + piped);
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.output, HasSubstr("-: tables 46, rows 2\n"));
  ASSERT_EQ(Vnqctl("export --to " + written + AppPath()).exitCode, 0);
  EXPECT_EQ(folder_.ReadBytes("piped"), folder_.ReadBytes("written"));
}

TEST_F(Programs, OptionsOfAGroupMayStandBehindItsCommand) {
  FakeServer server;
  const std::string options =
      " --server 127.0.0.1 --wait-ms 10000 --port " + std::to_string(server.port());
  for (const std::string& line : {"control ping" + options, "control" + options + " ping"}) {
    std::thread answers([&] {
      if (!server.Accept()) return;
      server.SendBytes(".+successful_connection|#");
      server.ReceiveBytes();
      server.SendBytes(".+y|#");
      server.CloseClient();
    });
    const ShellRun run = Vnqctl(line);
    answers.join();
    EXPECT_EQ(run.exitCode, 0) << line << ": " << run.output;
    EXPECT_EQ(run.output, "the server answers\n") << line;
  }
}

TEST_F(Programs, MistypedCommandIsAnsweredWithTheNearest) {
  EXPECT_THAT(Vnqctl("doctr --app-path x").output,
              StartsWith("vnqctl: there is no command \"doctr\"; did you mean doctor?\n"
                         "Usage: vnqctl [OPTIONS] COMMAND"));
  EXPECT_THAT(Vnqctl("user lits --app-path x").output, HasSubstr("\"lits\"; did you mean list?"));
  EXPECT_THAT(Vnqctl("control pnig").output, HasSubstr("\"pnig\"; did you mean ping?"));
  EXPECT_THAT(Vnqctl("meeting start").output, HasSubstr("no command \"start\"; there are open\n"));
  EXPECT_THAT(RunInShell(VNQ_BENCH_PROGRAM " pear").output, HasSubstr("did you mean peer?"));
  EXPECT_EQ(Vnqctl("doctr").exitCode, 2);
}

TEST_F(Programs, CommandThatIsMissingIsAskedFor) {
  const ShellRun run = Vnqctl("");
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.output, StartsWith("vnqctl: A subcommand is required\n"));
}

TEST_F(Programs, ClientTakesTheCodePageOfTheFolderWhereNoneIsNamed) {
  ASSERT_EQ(Vnqctl("init --language 1028" + AppPath()).exitCode, 0);
  EXPECT_THAT(NameOnTheWire(AppPath()), HasSubstr("\xC1\x63\xC5\xE9+ann"));
  EXPECT_THAT(NameOnTheWire(AppPath() + "--code-page 936"), HasSubstr("\xB7\xB1\xF3\x77+ann"));
  EXPECT_THAT(NameOnTheWire("--code-page 936" + AppPath()), HasSubstr("\xB7\xB1\xF3\x77+ann"));
}

}  // namespace
}  // namespace vnq
