#include "host/values/skipped.h"

#include <spdlog/spdlog.h>

namespace vnq {
namespace {
thread_local uint64_t skippedStatements = 0;
}  // namespace

void NoteSkipped(std::string_view statement, std::string_view why) {
  ++skippedStatements;
  spdlog::debug("skipped {}: {}", statement, why);
}

uint64_t SkippedStatements() {
  return skippedStatements;
}

}  // namespace vnq
