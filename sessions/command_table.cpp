#include "sessions/command_table.h"

#include <unordered_map>
#include <vector>

#include "messaging/messaging.h"
#include "sessions/commands.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

constexpr Receipt kNoReceipt = Receipt::kNone;

// clang-format off
constexpr CommandRow kCommands[] = {
  // word                                handler                   fields  '#'    receipt                 onWord
  {".+landing",                          HandleLanding,                6, false, kNoReceipt,             nullptr,
   "Logs a person in on a desktop, or on a mobile with a one-letter platform."},
  {".+phone_log",                        HandlePhoneLog,               1, false, kNoReceipt,             nullptr,
   "Takes a known user over on a phone."},
  {".+successful_online",                HandleSuccessfulOnline,       2, false, kNoReceipt,             nullptr,
   "Makes a login visible to the others."},
  {".+offline_request_web_information",  HandleOfflineRequest,         1, false, kNoReceipt,             nullptr,
   "Hands over what waited in the older offline tables."},
  {".+offline",                          HandleOffline,                1, false, kNoReceipt,             nullptr,
   "Ends a session and tells the others."},
  {".+stealth",                          HandleStealth,                1, false, kNoReceipt,             nullptr,
   "Makes a user invisible."},
  {".+go_away",                          HandleGoAway,                 1, false, kNoReceipt,             nullptr,
   "Marks a user as away."},
  {".+on_line",                          HandleOnLine,                 1, false, kNoReceipt,             nullptr,
   "Marks a user as back."},
  {".+message",                          UserMesseng,                  7, true,  Receipt::kPeerMessage,  nullptr,
   "Stores and delivers a message to one person."},
  {".+clot_messeng",                     HandleClotMesseng,            7, true,  Receipt::kGroupMessage, LogClotMesseng,
   "Stores and delivers a message to a group."},
  {".+customer",                         HandleCustomer,               5, false, kNoReceipt,             nullptr,
   "Announces a web visitor to the agents named."},
  {".+customer_information",             HandleCustomerInformation,    5, true,  kNoReceipt,             nullptr,
   "Hands a visitor's line to an agent."},
  {".+y",                                HandleKeepAlive,              0, false, kNoReceipt,             nullptr,
   "Echoes the keep-alive."},
};
// clang-format on

}  // namespace

std::span<const CommandRow> CommandTable() { return kCommands; }

const CommandRow* FindCommand(std::string_view word) {
  static const auto* const rows = [] {
    auto* byWord = new std::unordered_map<std::string_view, const CommandRow*>;
    for (const CommandRow& row : kCommands) byWord->emplace(row.word, &row);
    return byWord;
  }();
  const auto found = rows->find(word);
  return found == rows->end() ? nullptr : found->second;
}

CommandCounters& CountersOf(const CommandRow& row) {
  static std::vector<CommandCounters> counters(std::size(kCommands));
  return counters[static_cast<size_t>(&row - kCommands)];
}

}  // namespace vnq
