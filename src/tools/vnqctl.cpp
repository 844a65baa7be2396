// vnqctl, the operator's tool: one subcommand a job.
#include <spdlog/spdlog.h>

#include <CLI/CLI.hpp>

#include "tools/all_commands.h"
#include "tools/terminal/command_line.h"

int main(int argc, char** argv) {
  // What goes wrong is said by the commands themselves; the log would stand between their lines.
  spdlog::set_level(spdlog::level::off);
  CLI::App app("Operates and tries a VNQ Main Service", "vnqctl");
  app.set_version_flag("--version", "vnqctl " VNQ_VERSION);
  app.require_subcommand(1);
  app.fallthrough();  // a group's options stand in front of its commands or behind them

  int exitCode = 0;
  vnq::AddAllCommands(app, exitCode);
  return vnq::RunProgram(app, argc, argv, exitCode);
}
