// From the text of a read to the commands in it: one rule, by which every port works.
//
// A port's commands are a table; nothing about a command is decided elsewhere. What tells the ports
// apart beside it is whether a read is split at each ".+" and whether unfinished records wait.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/host.h"
#include "host/protection/command_needs.h"
#include "host/slots/sending.h"
#include "host/values/fields.h"

namespace vnq {

/// What every command is given: its record's own array, which it may change, the slot and the
/// slot's address as they were when the read arrived.
using CommandHandler = void (*)(Host& host, Fields& fields, SlotIndex slot,
                                const std::string& remoteIp);

struct CommandRow {
  std::string_view word;     ///< with its prefix; compared whole, upper and lower case differ
  std::string_view fields;   ///< what the fields from 1 on hold, joined by '|'; with fewer the
                             ///< handler still runs
  CommandHandler handler;    ///< function of the room that owns the word; never null
  CommandNeeds needs;        ///< what it asks of its sender where there are walls
  std::string_view summary;  ///< one sentence
  std::string_view heard;    ///< who hears of it, and in which record; empty: nobody
  std::string_view writes;   ///< tables whose rows it adds, changes or deletes; empty: none
  bool needsHash = false;    ///< without its closing '#' the record waits
  Receipt receipt = Receipt::kNone;  ///< appended behind the handler, unless the Msg_ID asks for
                                     ///< none
  CommandHandler onWord = nullptr;   ///< runs behind each arrival of the word, complete or not

  /// How many fields there are to be read.
  int FieldCount() const;

  /// A record of this row for a log: a field that `fields` calls a password is "***".
  std::string Masked(std::string_view record) const;
};

/// How often a row's handler ran, and how many statements were skipped while it did; for tests and
/// diagnostics. A handler that yields counts what ran in its turns too.
struct CommandCounters {
  uint64_t calls = 0;
  uint64_t skippedStatements = 0;
};

class Dispatcher {
 public:
  /// splits   a text is any number of records, each beginning at a ".+"; else it is one record.
  /// pending  where an unfinished record waits for the reads that bring the rest; null where
  ///          nothing is carried over.
  Dispatcher(std::span<const CommandRow> commands, SlotArray Host::*slots, bool splits,
             PendingRecords Host::*pending);

  /// How many records of one read run in a row before the others get a turn: the fewer, the more
  /// handlers go round. And for how long at most.
  static int RecordsPerTurn(size_t liveHandlers);
  static constexpr size_t kMostRecordsPerTurn = 64, kRecordsPerRound = 8192;
  static constexpr int64_t kTurnMs = 10;

  /// Runs the command of each record of a read, in order; a record that there is no memory for is
  /// lost alone. What the same connection sends meanwhile waits. Unknown words go on with the
  /// unfinished record of the slot; where there is none they are dropped without an answer. Nothing
  /// checks that anybody has logged in. Yields: yes, wherever a command does, and between records.
  void Run(Host& host, const std::string& text, SlotIndex slot, const std::string& remoteIp);

  /// The row of a command word, null when there is none.
  const CommandRow* Find(const Expr& word) const;

  const CommandCounters& CountersOf(const CommandRow& row) const;

 private:
  void RunRecord(Host& host, const std::string& text, SlotIndex slot, const std::string& remoteIp);
  void RunComplete(Host& host, const CommandRow& row, const std::string& text, Fields& fields,
                   SlotIndex slot, const std::string& remoteIp);
  bool IsMainPort() const;
  bool Admits(Host& host, const CommandRow& row, const Fields& fields, SlotIndex slot,
              const std::string& remoteIp) const;
  void RunCommand(Host& host, const CommandRow& row, Fields& fields, SlotIndex slot,
                  const std::string& remoteIp);
  /// For those who follow the sender; row: null where the text is no command by itself.
  void Trace(Host& host, const CommandRow* row, std::string_view text, SlotIndex slot) const;
  void CarryOver(Host& host, const std::string& text, SlotIndex slot, const std::string& remoteIp);

  std::span<const CommandRow> commands_;
  SlotArray Host::*slots_;
  std::unordered_map<std::string_view, const CommandRow*> byWord_;
  std::vector<CommandCounters> counters_;  // by row
  bool splits_;
  PendingRecords Host::*pending_;
};

}  // namespace vnq
