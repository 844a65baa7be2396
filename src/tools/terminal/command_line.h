// What the commands of a tool have in common: exit codes, how a failure is said, how arguments are
// read and refused.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vnq {

inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitArguments = 2;

/// Says why a command of vnqctl failed, "vnqctl init: WHY", one line. Returns the exit code.
int Fail(std::ostream& err, std::string_view command, std::string_view why,
         int exitCode = kExitFailed);

/// Adds --app-path, the program's folder, which the variable VNQ_APP_PATH may name, too. An empty
/// path is a bad argument. Not required yet.
CLI::Option* AddAppPath(CLI::App& command, std::string& appPath);

/// Reads the arguments, --server and --app-path in front of the command as well as behind it, which
/// runs the command that they choose, and returns the program's exit
/// code: the command's own, which it left in `exitCode`; 0 after --help and --version; 2, with a
/// line on standard error, for bad arguments, a mistyped command with the nearest one; and 1 when
/// standard output could not take everything.
int RunProgram(CLI::App& app, int argc, char** argv, const int& exitCode);

}  // namespace vnq
