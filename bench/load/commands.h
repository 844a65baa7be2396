// The command line of vnq_bench.
#pragma once

namespace CLI {
class App;
}

namespace vnq::bench {

/// Adds every subcommand; when one runs, `exitCode` is set.
void AddCommands(CLI::App& app, int& exitCode);

}  // namespace vnq::bench
