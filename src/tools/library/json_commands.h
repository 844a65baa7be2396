// vnqctl json parse: the lenient JSON reader on standard input.
// vnqctl script eval FILE: evaluates a JSON script with the terminal as its message boxes.
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

/// Reads a text of UTF-8 (a leading byte order mark is dropped) and writes the value as compact
/// JSON with one line end, or nothing when the text begins with no object or array. Parser errors
/// go to `errors`, the value of what could be read is written all the same. The exit code: 0, or 1
/// after parser errors.
int RunJsonParseCommand(std::istream& input, std::ostream& output, std::ostream& errors);

/// Evaluates the script in `file` (UTF-8; a leading byte order mark is dropped) and writes exactly
/// its result to `output`. Boxes appear on `boxes`, answers are lines of `answers`. The exit code:
/// 0, or 1 when the file cannot be read, which is said on `boxes`, and after parser errors.
int RunScriptEvalCommand(const std::string& file, std::istream& answers, std::ostream& output,
                         std::ostream& boxes);

/// Add "json" and "script" with their subcommands. A subcommand that ran leaves its exit code in
/// `exitCode`, which must outlive the app's parse.
void AddJsonCommand(CLI::App& app, int& exitCode);
void AddScriptCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
