#include "tools/history/history_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "support/ascii_case.h"
#include "tools/history/device_rules.h"
#include "tools/history/group_messages.h"
#include "tools/history/history_choice.h"
#include "tools/history/history_list.h"
#include "tools/history/history_reader.h"
#include "tools/history/read_marks.h"
#include "tools/library/json_string.h"

namespace vnq {
namespace {

using Entries = std::vector<HistoryEntry>;
using Kind = HistoryEntry::Kind;

constexpr size_t kUsualLimit = 50;
constexpr size_t kMostEntries = 1000;

RequestAnswer DatabaseFailure(HistoryStore& store) {
  return RequestAnswer::Failure("database", store.database().driver().LastError());
}

HistoryChoice ChoiceOf(const JsonRequest& request) {
  return {request.Text("with"), request.Text("group"), request.Flag("notices"),
          request.Text("since"), request.Text("words")};
}

bool NamesConversation(const HistoryChoice& choice) {
  return int(!choice.with.empty()) + int(!choice.group.empty()) + int(choice.notices) == 1;
}

HistoryQuery QueryOf(const HistoryStore& store, const JsonRequest& request,
                     const HistoryChoice& choice) {
  return {request.Text("user"), DeviceOf(request), false,
          choice.with,          choice.group,      store.rowColumn()};
}

// Nothing for a limit that is none.
std::optional<size_t> LimitOf(const JsonRequest& request) {
  if (request.Find("limit") == nullptr) return kUsualLimit;
  const auto limit = request.Number("limit");
  const bool fits = limit && *limit >= 1 && *limit <= int32_t(kMostEntries);
  return fits ? std::optional(size_t(*limit)) : std::nullopt;
}

RequestAnswer BadLimit() {
  return RequestAnswer::Failure("bad_request", fmt::format("limit must be 1 to {}", kMostEntries));
}

RequestAnswer Page(HistoryStore& store, const Entries& entries, bool more) {
  std::string list;
  for (const HistoryEntry& entry : entries) {
    list += (list.empty() ? "" : ",") + EntryAsJson(entry, store.names(), store.labels());
  }
  return RequestAnswer::Of(fmt::format(R"({{"entries":[{}],"more":{}}})", list, more));
}

Entries::iterator EntryNamed(Entries& entries, const std::string& Msg_ID) {
  return std::find_if(entries.begin(), entries.end(),
                      [&](const HistoryEntry& entry) { return entry.Msg_ID == Msg_ID; });
}

// What stands in front of one entry or behind another. False when there is no such entry.
bool KeepBetween(const std::string& after, const std::string& before, Entries& entries) {
  if (!before.empty()) {
    const auto end = EntryNamed(entries, before);
    if (end == entries.end()) return false;
    entries.erase(end, entries.end());
  }
  if (!after.empty()) {
    const auto last = EntryNamed(entries, after);
    if (last == entries.end()) return false;
    entries.erase(entries.begin(), last + 1);
  }
  return true;
}

// --- Conversations ---

struct Conversation {
  Kind kind = Kind::kPeer;
  std::string id;
  size_t unread = 0;
  std::optional<HistoryEntry> last;
};

const std::string& IdOf(const HistoryEntry& entry) {
  static const std::string none;
  if (entry.kind == Kind::kNotice) return none;
  return entry.kind == Kind::kGroup ? entry.to : OtherParty(entry);
}

class ConversationList {
 public:
  void AddGroup(const std::string& ClotID) { Of(Kind::kGroup, ClotID); }

  void Add(const HistoryEntry& entry) {
    Conversation& conversation = Of(entry.kind, IdOf(entry));
    conversation.unread += entry.isUnread ? 1 : 0;
    conversation.last = entry;
  }

  std::vector<const Conversation*> LatestFirst() const {
    std::vector<const Conversation*> list;
    for (const auto& [key, conversation] : conversations_) list.push_back(&conversation);
    std::stable_sort(list.begin(), list.end(), [](const Conversation* a, const Conversation* b) {
      return LastMoment(*a) > LastMoment(*b);
    });
    return list;
  }

 private:
  static std::string LastMoment(const Conversation& conversation) {
    return conversation.last ? MomentOf(*conversation.last) : "";
  }

  Conversation& Of(Kind kind, const std::string& id) {
    Conversation& conversation = conversations_[{kind, AsciiLower(id)}];
    conversation.kind = kind;
    if (conversation.id.empty()) conversation.id = id;
    return conversation;
  }

  std::map<std::pair<Kind, std::string>, Conversation> conversations_;
};

std::string_view WordOf(Kind kind) {
  if (kind == Kind::kPeer) return "peer";
  return kind == Kind::kGroup ? "group" : "notices";
}

std::string NameOf(const Conversation& conversation, NameBook& names) {
  if (conversation.kind == Kind::kNotice) return "";
  return conversation.kind == Kind::kGroup ? names.GroupName(conversation.id)
                                           : names.UserName(conversation.id);
}

std::string ConversationAsJson(const Conversation& conversation, HistoryStore& store) {
  return fmt::format(
      R"({{"kind":"{}","id":{},"name":{},"unread":{},"last":{}}})", WordOf(conversation.kind),
      JsonString(conversation.id), JsonString(NameOf(conversation, store.names())),
      conversation.unread,
      conversation.last ? EntryAsJson(*conversation.last, store.names(), store.labels()) : "null");
}

// --- Marking ---

std::optional<Kind> KindOf(const std::string& word) {
  if (word == "message") return Kind::kPeer;
  if (word == "group_message") return Kind::kGroup;
  if (word == "notice") return Kind::kNotice;
  return std::nullopt;
}

// False for an entry that marks nothing: too many of them, or one without kind or id.
bool TakeEntries(const JsonCollection& list, Entries& entries) {
  if (list.Count() > kMostEntries) return false;
  for (const JsonValue& item : list.Items()) {
    const JsonRequest named(item.AsDictionary());
    const auto kind = KindOf(named.Text("kind"));
    if (!kind || named.Text("Msg_ID").empty()) return false;
    HistoryEntry entry;
    entry.kind = *kind;
    entry.Msg_ID = named.Text("Msg_ID");
    entry.to = named.Text("to");
    entry.isOwn = named.Flag("own");
    entries.push_back(std::move(entry));
  }
  return true;
}

RequestAnswer Mark(HistoryStore& store, const HistoryQuery& query, const Entries& entries) {
  std::string error;
  const bool marked =
      MarkRead(store.database(), store.engine(), query.UserID, query.device, entries, error);
  return marked ? RequestAnswer::Of(R"({"marked":true})")
                : RequestAnswer::Failure("database", error);
}

RequestAnswer ReadThrough(HistoryStore& store, const JsonRequest& request) {
  const HistoryChoice choice = ChoiceOf(request);
  if (!NamesConversation(choice)) {
    return RequestAnswer::Failure("bad_request", "entries or one conversation must be named");
  }
  const HistoryQuery query = QueryOf(store, request, choice);
  Entries entries;
  if (!ReadHistory(store.database(), query, entries)) return DatabaseFailure(store);
  std::erase_if(entries, [&](const auto& entry) { return !IsOfConversation(entry, choice); });
  if (request.Find("through") != nullptr) {
    const auto last = EntryNamed(entries, request.Text("through"));
    if (last == entries.end()) return RequestAnswer::Failure("not_found", "no such entry");
    entries.erase(last + 1, entries.end());
  }
  std::erase_if(entries, [](const auto& entry) { return !entry.isUnread; });
  return Mark(store, query, entries);
}

}  // namespace

Device DeviceOf(const JsonRequest& request) {
  return request.Text("device") == "mobile" ? Device::kMobile : Device::kDesktop;
}

RequestAnswer Conversations(HistoryStore& store, const JsonRequest& request) {
  const HistoryQuery query = QueryOf(store, request, {});
  std::vector<Membership> groups;
  Entries entries;
  if (!ReadMemberships(store.database(), RulesOf(query.device), query.UserID, groups) ||
      !ReadHistory(store.database(), query, entries)) {
    return DatabaseFailure(store);
  }
  ConversationList conversations;
  for (const Membership& group : groups) conversations.AddGroup(group.ClotID);
  for (const HistoryEntry& entry : entries) conversations.Add(entry);
  std::string list;
  for (const Conversation* each : conversations.LatestFirst()) {
    list += (list.empty() ? "" : ",") + ConversationAsJson(*each, store);
  }
  return RequestAnswer::Of("{\"conversations\":[" + list + "]}");
}

RequestAnswer Messages(HistoryStore& store, const JsonRequest& request) {
  const HistoryChoice choice = ChoiceOf(request);
  const auto limit = LimitOf(request);
  if (!limit) return BadLimit();
  if (choice.words.empty() && !NamesConversation(choice)) {
    return RequestAnswer::Failure("bad_request", "one conversation must be named");
  }
  Entries entries;
  if (!ReadHistory(store.database(), QueryOf(store, request, choice), entries)) {
    return DatabaseFailure(store);
  }
  HistoryChoice conversation = choice;
  conversation.words = conversation.since = "";
  KeepChosen(conversation, store.labels(), entries);
  const std::string after = request.Text("after");
  if (!KeepBetween(after, request.Text("before"), entries)) {
    return RequestAnswer::Failure("not_found", "no such entry");
  }
  KeepChosen(choice, store.labels(), entries);
  const bool more = entries.size() > *limit;
  (after.empty() ? KeepLast : KeepFirst)(*limit, entries);
  return Page(store, entries, more);
}

RequestAnswer Unread(HistoryStore& store, const JsonRequest& request) {
  const auto limit = LimitOf(request);
  if (!limit) return BadLimit();
  HistoryQuery query = QueryOf(store, request, {});
  query.onlyUnread = true;
  Entries entries;
  if (!ReadHistory(store.database(), query, entries)) return DatabaseFailure(store);
  const bool more = entries.size() > *limit;
  KeepFirst(*limit, entries);
  return Page(store, entries, more);
}

RequestAnswer Read(HistoryStore& store, const JsonRequest& request) {
  const JsonValue* named = request.Find("entries");
  if (named == nullptr) return ReadThrough(store, request);
  Entries entries;
  if (named->AsCollection() == nullptr || !TakeEntries(*named->AsCollection(), entries)) {
    return RequestAnswer::Failure(
        "bad_request",
        fmt::format("entries must be up to {} objects with kind and Msg_ID", kMostEntries));
  }
  return Mark(store, QueryOf(store, request, {}), entries);
}

}  // namespace vnq
