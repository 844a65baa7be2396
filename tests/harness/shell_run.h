// A program as a shell runs it.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace vnq {

struct ShellRun {
  int exitCode = -1;
  std::string output;  ///< both of its streams, as far as the command line lets them come
};

/// Runs a command line to its end, with nothing to read.
inline ShellRun RunInShell(const std::string& commandLine) {
  ShellRun run;
  std::FILE* stream = popen(("{ " + commandLine + "; } 2>&1 < /dev/null").c_str(), "r");
  if (stream == nullptr) return run;
  char buffer[4096];
  for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) {
    run.output.append(buffer, got);
  }
  const int status = pclose(stream);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

}  // namespace vnq
