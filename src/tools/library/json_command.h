// vnqctl json parse: the lenient JSON reader on standard input.
#pragma once

#include <iosfwd>

namespace CLI {
class App;
}

namespace vnq {

/// Reads a text of UTF-8 (a leading byte order mark is dropped) and writes the value as compact
/// JSON with one line end, or nothing when the text begins with no object or array. Parser errors
/// go to `errors`, the value of what could be read is written all the same. The exit code: 0, or 1
/// after parser errors.
int RunJsonParseCommand(std::istream& input, std::ostream& output, std::ostream& errors);

/// Adds "json" with its subcommands. A subcommand that ran leaves its exit code in `exitCode`,
/// which must outlive the app's parse.
void AddJsonCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
