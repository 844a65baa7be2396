// The load generator: measures a running server from outside, as its clients see it.
#include <CLI/CLI.hpp>

#include "bench/load/commands.h"
#include "tools/terminal/command_line.h"

int main(int argc, char** argv) {
  CLI::App app("Measures a VNQ Main Service under load", "vnq_bench");
  app.set_version_flag("--version", "vnq_bench " VNQ_VERSION);
  app.require_subcommand(1);
  int exitCode = 0;
  vnq::bench::AddCommands(app, exitCode);
  return vnq::RunProgram(app, argc, argv, exitCode);
}
