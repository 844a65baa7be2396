// All commands of vnqctl.
#pragma once

namespace CLI {
class App;
}

namespace vnq {

/// Adds them in the order in which the help shows them. One that runs sets `exitCode`, which must
/// live as long as the program parses.
void AddCommands(CLI::App& app, int& exitCode);

}  // namespace vnq
