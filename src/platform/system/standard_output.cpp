#include "platform/system/standard_output.h"

#include <errno.h>
#include <string.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace vnq {

int FinishOutput(const char* program, int exitCode) {
  errno = 0;
  std::cout.flush();
  const bool isWritten = std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good();
  if (isWritten) return exitCode;
  const std::string why = errno == 0 ? "" : std::string(": ") + strerror(errno);
  std::fprintf(stderr, "%s: cannot write standard output%s\n", program, why.c_str());
  return exitCode == 0 ? 1 : exitCode;
}

}  // namespace vnq
