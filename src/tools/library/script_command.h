// vnqctl script eval FILE: evaluates a JSON script with the terminal as its message boxes.
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

/// Evaluates the script in `file` (UTF-8; a leading byte order mark is dropped) and writes exactly
/// its result to `output`. Boxes appear on `boxes`, answers are lines of `answers`. The exit code:
/// 0, or 1 when the file cannot be read, which is said on `boxes`, and after parser errors.
int RunScriptEvalCommand(const std::string& file, std::istream& answers, std::ostream& output,
                         std::ostream& boxes);

/// Adds "script" with its subcommands. A subcommand that ran leaves its exit code in `exitCode`,
/// which must outlive the app's parse.
void AddScriptCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
