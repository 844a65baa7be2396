// `vnqctl chat`: a terminal client for people.
#pragma once

namespace CLI {
class App;
}

namespace vnq {

/// Adds the subcommand; when it is chosen it runs, and its exit code goes to `exitCode`.
void AddChatCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
