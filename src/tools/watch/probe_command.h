// vnqctl probe: does the server do what it is for? Logs two accounts in, sends a message from the
// one to the other, and waits until it is there and acknowledged.
//
//   VNQ_PASSWORD=... vnqctl probe --server A --from probe1 --to probe2
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include "tools/client/server_page.h"

namespace CLI {
class App;
}

namespace vnq {

struct ProbeOptions {
  std::string server;
  uint16_t port = 6004;
  int codePage = kDefaultServerPage;
  std::string appPath;  ///< of the server; empty: not known
  std::string from, to;
  std::string fromPasswordFile, toPasswordFile;  ///< empty: VNQ_PASSWORD, else asked
  double waitS = 10;                             ///< for all of it
  bool json = false;
};

/// Prints how long each step took, in a line. Returns the exit code: 0; 1 with what did not happen
/// on `err`, or in the JSON object; 2 for a code page that is not known.
int RunProbe(const ProbeOptions& options, std::ostream& out, std::ostream& err);

void AddProbeCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
