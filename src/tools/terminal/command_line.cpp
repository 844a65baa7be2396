#include "tools/terminal/command_line.h"

#include <algorithm>
#include <iostream>
#include <vector>

#include <CLI/CLI.hpp>

#include "platform/system/standard_output.h"
#include "support/nearest_name.h"

namespace vnq {
namespace {

std::vector<std::string> CommandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

// The command that was likely meant, or all that there are.
std::string Suggestion(const std::string& typed, const std::vector<std::string>& names) {
  const std::string nearest = NearestName(typed, names);
  if (!nearest.empty()) return "did you mean " + nearest + "?";
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

// Where a thing is may be said in front of the command as well as behind it: to the parser, options
// of a command stand behind its name.
std::vector<char*> CommandsFirst(int argc, char** argv) {
  std::vector<char*> all(argv, argv + argc);
  const auto isPlace = [](std::string_view word) {
    return word == "--server" || word == "--app-path";
  };
  const auto isPlaceWithValue = [](std::string_view word) {
    return word.starts_with("--server=") || word.starts_with("--app-path=");
  };
  size_t command = std::min<size_t>(1, all.size());
  while (command < all.size() && (isPlace(all[command]) || isPlaceWithValue(all[command]))) {
    command += isPlace(all[command]) ? 2 : 1;
  }
  if (command >= all.size()) return all;
  const auto at = [&all](size_t place) { return all.begin() + static_cast<ptrdiff_t>(place); };
  std::vector<char*> sorted(at(0), at(1));
  sorted.insert(sorted.end(), at(command), all.end());
  sorted.insert(std::find_if(sorted.begin(), sorted.end(),
                             [](std::string_view word) { return word == "--"; }),
                at(1), at(command));
  return sorted;
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
  std::vector<char*> arguments = CommandsFirst(argc, argv);
  try {
    app.parse(static_cast<int>(arguments.size()), arguments.data());
  } catch (const CLI::ParseError& error) {
    // Help and version are thrown, too; they print on standard output and end with 0.
    if (error.get_exit_code() != 0) return Refuse(app, error);
    return FinishOutput(app.get_name().c_str(), app.exit(error));
  }
  return FinishOutput(app.get_name().c_str(), exitCode);
}

}  // namespace vnq
