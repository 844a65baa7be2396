// The load generator: measures a running server from outside, as its clients see it.
#include <iostream>

#include <CLI/CLI.hpp>

#include "bench/load/commands.h"

int main(int argc, char** argv) {
  CLI::App app("Measures a VNQ Main Service under load", "vnq_bench");
  app.set_version_flag("--version", "vnq_bench " VNQ_VERSION);
  app.require_subcommand(1);
  int exitCode = 0;
  vnq::bench::AddCommands(app, exitCode);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    std::cerr << "vnq_bench: " << error.what()
              << "\nUsage: vnq_bench [OPTIONS] COMMAND ...; vnq_bench --help tells more\n";
    return 2;
  }
  return exitCode;
}
