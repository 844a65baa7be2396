// The one table of main-port commands. A row is data; nothing about a command is decided elsewhere.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// What every command is given: its record's own array, which it may change, the slot and the
/// slot's address as they were when the read arrived.
using CommandHandler = void (*)(Host& host, Fields& fields, SlotIndex slot,
                                const std::string& remoteIp);

/// Which receipt follows a record that the server has taken, by the number in its first field.
enum class Receipt : int { kNone = 0, kPeerMessage = 1, kGroupMessage = 2 };

struct CommandRow {
  std::string_view word;     ///< with its prefix; compared whole, upper and lower case differ
  CommandHandler handler;    ///< function of the room that owns the word; never null
  int fields;                ///< fields that the handler reads; with fewer it still runs
  bool needsHash;            ///< without its closing '#' the record waits in PendingRecord
  Receipt receipt;           ///< appended behind the handler, unless the Msg_ID asks for none
  CommandHandler onWord;     ///< runs behind each arrival of the word, complete or not; may be null
  std::string_view summary;  ///< one sentence, for documentation and diagnostics
};

/// How often a row's handler ran, and how many statements were skipped while it did; for tests and
/// diagnostics. A handler that yields counts what ran in its turns too.
struct CommandCounters {
  uint64_t calls = 0;
  uint64_t skippedStatements = 0;
};

/// All rows in their fixed order.
std::span<const CommandRow> CommandTable();

/// The row of a command word, null when there is none.
const CommandRow* FindCommand(std::string_view word);

/// The counters of a row of CommandTable().
CommandCounters& CountersOf(const CommandRow& row);

}  // namespace vnq
