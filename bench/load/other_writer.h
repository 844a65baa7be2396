// vnq_bench writer: another program of the suite that writes to the embedded database beside a
// server under load, and how long each of its writes waits for the lock.
#pragma once

#include <ostream>
#include <string>

namespace vnq::bench {

struct OtherWriterOptions {
  std::string appPath;
  double seconds = 5;
  int everyMs = 20;    ///< between two writes
  bool eager = false;  ///< tries again at once; else as the engine's own busy handler does
};

/// Writes until the time is over, and prints one line. Returns the exit code: 1 when a write
/// failed.
int RunOtherWriter(const OtherWriterOptions& options, std::ostream& out, std::ostream& err);

}  // namespace vnq::bench
