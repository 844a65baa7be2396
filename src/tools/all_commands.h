// Every command of vnqctl.
#pragma once

namespace CLI {
class App;
}  // namespace CLI

namespace vnq {

/// Adds each to the tool, in the order in which it lists them. The one that the arguments choose
/// runs while they are read and leaves its exit code in `exitCode`.
void AddAllCommands(CLI::App& app, int& exitCode);

}  // namespace vnq
