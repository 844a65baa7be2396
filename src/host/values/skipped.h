// The ledger of skipped statements.
//
// A statement that cannot run (a missing field, a number that does not convert, a database error, a
// send on a dead slot) is skipped and the next one runs. No skip is silent: each is counted here
// and, at debug level, said with its reason.
#pragma once

#include <cstdint>
#include <string_view>

namespace vnq {

/// Notes that `statement` did not run, and why.
void NoteSkipped(std::string_view statement, std::string_view why);

/// Statements skipped so far on this thread, which is the event thread.
uint64_t SkippedStatements();

}  // namespace vnq
