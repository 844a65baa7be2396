#include "tools/history/catch_up.h"

#include <fmt/format.h>

#include <optional>
#include <utility>

#include "support/text_codecs.h"
#include "tools/client/record_words.h"
#include "tools/history/history_reader.h"
#include "tools/history/read_marks.h"

namespace vnq {
namespace {

using Kind = HistoryEntry::Kind;

constexpr int32_t kFileForm = 60;

// .+message|other party|date|time|text|font|Msg_ID|type|flags|#
std::string PeerRecord(const HistoryEntry& entry) {
  const bool isFile = entry.To_Type == kFileForm;
  const bool isCopy = entry.isOwn && entry.to != entry.from;  // a note to oneself is received
  const int32_t type = (isFile ? 1 : entry.To_Type) + (isCopy ? 0 : 1);
  return fmt::format(".+message|{}|{}|{}|{}|{}|{}|{}|0|#", isCopy ? entry.to : entry.from,
                     entry.date, entry.time,
                     isFile ? EscapeText("{h@" + entry.UserText + "}") : entry.UserText,
                     entry.FontInfo, entry.Msg_ID, type);
}

// .+clot_messeng|group|sender|date|time|text|font|Msg_ID|type|0 sender's, 1 member's copy|#
std::string GroupRecord(const HistoryEntry& entry) {
  return fmt::format(".+clot_messeng|{}|{}|{}|{}|{}|{}|{}|{}|{}|#", entry.to, entry.from,
                     entry.date, entry.time, entry.UserText, entry.FontInfo, entry.Msg_ID,
                     entry.To_Type + (entry.isOwn ? 0 : 1), entry.isOwn ? 0 : 1);
}

// .+notification|title|content|link|date|Msg_ID|#
std::string NoticeRecord(const HistoryEntry& entry) {
  return fmt::format(".+notification|{}|{}|{}|{} {}|{}|#", entry.UserText, entry.content,
                     entry.link, entry.date, entry.time, entry.Msg_ID);
}

std::string RecordOf(const HistoryEntry& entry) {
  switch (entry.kind) {
    case Kind::kPeer:
      return PeerRecord(entry);
    case Kind::kGroup:
      return GroupRecord(entry);
    case Kind::kNotice:
      break;
  }
  return NoticeRecord(entry);
}

HistoryEntry Stored(Kind kind, const std::string& id, const std::string& to, bool isOwn) {
  HistoryEntry entry;
  entry.kind = kind;
  entry.Msg_ID = id;
  entry.to = to;
  entry.isOwn = isOwn;
  return entry;
}

// The stored row that a record tells of, as far as marking asks.
std::optional<HistoryEntry> StoredBehind(const RecordFields& fields) {
  const std::string& word = fields.word();
  if (word == ".+message" && fields.size() > 7) {
    return Stored(Kind::kPeer, fields[6], fields[1], IsOwnCopy(fields[7]));
  }
  if (word == ".+offline_file") return Stored(Kind::kPeer, fields[6], fields[1], false);
  if (word == ".+clot_messeng") return Stored(Kind::kGroup, fields[7], fields[1], fields[9] == "0");
  if (word == ".+notification") return Stored(Kind::kNotice, fields[5], "", false);
  return std::nullopt;
}

ParkedRequest RequestBehind(const RecordFields& fields) {
  return {fields[1], fields[2], fields[3], fields[4], fields[5], fields[6], fields[7], ""};
}

}  // namespace

std::unique_ptr<CatchUp> CatchUp::Open(const std::string& appPath, std::string& error) {
  auto store = HistoryStore::Open(appPath, error);
  if (store == nullptr) return nullptr;
  return std::unique_ptr<CatchUp>(new CatchUp(std::move(store)));
}

bool CatchUp::Read(const std::string& UserID, KnownNames& names, std::vector<std::string>& records,
                   std::string& error) {
  if (!store_->names().HasUser(UserID)) {
    error = "the database of the folder knows no user " + UserID;
    return false;
  }
  UserID_ = UserID;
  std::vector<HistoryEntry> entries;
  std::vector<ParkedRequest> requests;
  const HistoryQuery query{UserID, Device::kDesktop, true, "", "", store_->rowColumn()};
  if (!ReadHistory(store_->database(), query, entries) ||
      !ReadParkedRequests(store_->database(), UserID, Device::kDesktop, requests)) {
    error = store_->database().driver().LastError();
    return false;
  }
  for (const HistoryEntry& entry : entries) {
    LearnNames(entry, names);
    records.push_back(RecordOf(entry));
  }
  for (const ParkedRequest& request : requests) {
    LearnNames(request, names);
    records.push_back(request.Record());
  }
  return true;
}

void CatchUp::LearnNames(const HistoryEntry& entry, KnownNames& names) {
  const bool isGroup = entry.kind == Kind::kGroup;
  names.Learn(KnownNames::Kind::kUser, entry.from, store_->names().UserName(entry.from));
  names.Learn(isGroup ? KnownNames::Kind::kGroup : KnownNames::Kind::kUser, entry.to,
              isGroup ? store_->names().GroupName(entry.to) : store_->names().UserName(entry.to));
}

void CatchUp::LearnNames(const ParkedRequest& request, KnownNames& names) {
  const bool isGroup = request.To_Type1 == "2";
  names.Learn(KnownNames::Kind::kUser, request.UserID2, store_->names().UserName(request.UserID2));
  names.Learn(isGroup ? KnownNames::Kind::kGroup : KnownNames::Kind::kUser, request.ClotID,
              isGroup ? store_->names().GroupName(request.ClotID)
                      : store_->names().UserName(request.ClotID));
}

void CatchUp::NoteShown(std::string_view record) {
  if (UserID_.empty()) return;
  const RecordFields fields(record);
  if (fields.word() == ".+messengverify") {
    shownRequests_.push_back(RequestBehind(fields));
  } else if (auto stored = StoredBehind(fields)) {
    shown_.push_back(std::move(*stored));
  }
}

bool CatchUp::MarkShown(std::string& error) {
  if (!MarkRead(store_->database(), store_->engine(), UserID_, Device::kDesktop, shown_, error)) {
    return false;
  }
  shown_.clear();
  if (!DropParkedRequests(store_->database(), store_->engine(), UserID_, Device::kDesktop,
                          shownRequests_, error)) {
    return false;
  }
  shownRequests_.clear();
  return true;
}

}  // namespace vnq
