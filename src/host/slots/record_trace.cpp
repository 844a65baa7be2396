#include "host/slots/record_trace.h"

#include "platform/system/event_log.h"
#include "support/printable.h"

namespace vnq {
namespace {

constexpr std::string_view kLoggedIn = ".+landing_successful|";

// The user of whom the answer to a log-in tells; empty for any other record.
std::string_view LoggedInUser(std::string_view record) {
  if (!record.starts_with(kLoggedIn)) return "";
  record.remove_prefix(kLoggedIn.size());
  return record.substr(0, record.find('|'));
}

}  // namespace

void RecordTrace::Follow(const std::string& userId) {
  if (userId.empty() || !users_.insert(userId).second) return;
  LogInfo("trace_begun", "records of user {} are written to the log", Printable(userId, 64));
}

void RecordTrace::Leave(const std::string& userId) {
  if (users_.erase(userId) == 0) return;
  LogInfo("trace_ended", "records of user {} are no longer written to the log",
          Printable(userId, 64));
  kept_.clear();
}

// A mobile session's tag has one letter more.
std::string_view RecordTrace::FollowedUser(std::string_view tag) const {
  if (users_.contains(tag)) return tag;
  if (!tag.ends_with('m')) return "";
  tag.remove_suffix(1);
  return users_.contains(tag) ? tag : "";
}

void RecordTrace::Say(std::string_view userId, SlotIndex slot, std::string_view direction,
                      std::string_view record) {
  if (!quota_.Admits()) return;
  const std::string_view more = record.size() > kLongestRecord ? " ..." : "";
  LogInfo("trace", "trace of {}, slot {}, {}: {}{}", userId, slot, direction,
          Printable(record, kLongestRecord), more);
}

void RecordTrace::SayKept(std::string_view userId, SlotIndex slot) {
  const auto kept = kept_.extract(slot);
  if (!kept.empty()) Say(userId, slot, "in", kept.mapped());
}

void RecordTrace::NoteIn(std::string_view tag, SlotIndex slot, std::string_view record) {
  const std::string_view user = FollowedUser(tag);
  if (user.empty()) {
    kept_[slot] = record.substr(0, kLongestRecord);
  } else {
    Say(user, slot, "in", record);
  }
}

void RecordTrace::NoteDone(std::string_view tag, SlotIndex slot) {
  const std::string_view user = FollowedUser(tag);
  if (!user.empty()) SayKept(user, slot);
  kept_.erase(slot);
}

void RecordTrace::NoteOut(std::string_view tag, SlotIndex slot, std::string_view record) {
  std::string_view user = FollowedUser(tag);
  if (user.empty()) user = FollowedUser(LoggedInUser(record));
  if (user.empty()) return;
  SayKept(user, slot);
  Say(user, slot, "out", record);
}

}  // namespace vnq
