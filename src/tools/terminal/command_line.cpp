#include "tools/terminal/command_line.h"

#include <algorithm>
#include <iostream>
#include <numeric>
#include <vector>

#include <CLI/CLI.hpp>

#include "platform/system/standard_output.h"

namespace vnq {
namespace {

// How many letters have to be put in, left out, changed or swapped with their neighbour.
size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
  std::iota(last.begin(), last.end(), 0);
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t changed = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, changed});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
    beforeLast = last;
    last = row;
  }
  return last[b.size()];
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

// The command that was likely meant, or all that there are.
std::string Suggestion(const std::string& typed, const std::vector<std::string>& names) {
  const std::string* nearest = &names.front();
  for (const std::string& name : names) {
    if (EditDistance(typed, name) < EditDistance(typed, *nearest)) nearest = &name;
  }
  const size_t mistakes = std::max<size_t>(2, nearest->size() / 3);
  if (EditDistance(typed, *nearest) <= mistakes) return "did you mean " + *nearest + "?";
  std::string all = "there are";
  for (const std::string& name : names) all += (&name == &names.front() ? " " : ", ") + name;
  return all;
}

// The word that stands where a command's name is expected; empty when none does.
std::string UnknownCommand(const CLI::App& app, const CLI::App& chosen) {
  if (!chosen.get_subcommands().empty() || CommandsOf(chosen).empty()) return "";
  for (const std::string& word : app.remaining(true)) {
    if (!word.starts_with('-')) return word;
  }
  return "";
}

const CLI::App& ChosenCommand(const CLI::App& app) {
  const CLI::App* chosen = &app;
  while (!chosen->get_subcommands().empty()) chosen = chosen->get_subcommands().front();
  return *chosen;
}

std::string FullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return (parent == nullptr ? "" : FullName(*parent) + " ") + command.get_name();
}

// What is wrong and a usage line, on standard error.
int Refuse(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& chosen = ChosenCommand(app);
  const std::vector<std::string> commands = CommandsOf(chosen);
  const std::string typed = UnknownCommand(app, chosen), name = FullName(chosen);
  const std::string why =
      typed.empty() ? error.what()
                    : "there is no command \"" + typed + "\"; " + Suggestion(typed, commands);
  std::cerr << app.get_name() << ": " << why << "\n"
            << "Usage: " << name << " [OPTIONS]" << (commands.empty() ? "" : " COMMAND ...") << "; "
            << name << " --help tells more\n";
  return kExitArguments;
}

}  // namespace

int Fail(std::ostream& err, std::string_view command, std::string_view why, int exitCode) {
  err << "vnqctl " << command << ": " << why << "\n";
  return exitCode;
}

CLI::Option* AddAppPath(CLI::App& command, std::string& appPath) {
  return command.add_option("--app-path", appPath, "The program's folder")
      ->envname("VNQ_APP_PATH")
      ->check([](const std::string& path) { return path.empty() ? "the path is empty" : ""; });
}

int RunProgram(CLI::App& app, int argc, char** argv, const int& exitCode) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version are thrown, too; they print on standard output and end with 0.
    if (error.get_exit_code() != 0) return Refuse(app, error);
    return FinishOutput(app.get_name().c_str(), app.exit(error));
  }
  return FinishOutput(app.get_name().c_str(), exitCode);
}

}  // namespace vnq
