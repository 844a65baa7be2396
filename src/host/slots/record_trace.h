// The records of single users, in and out, written to the log: for whoever looks for what a client
// and the server say to each other.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "host/slots/slots.h"
#include "platform/net/line_quota.h"

namespace vnq {

/// Follows the connections of a user's devices on the main port. What the log gets is masked by the
/// caller; it is a line a record, control characters as '?', cut at kLongestRecord bytes.
class RecordTrace {
 public:
  static constexpr size_t kLongestRecord = 2000;
  static constexpr int kLinesAMinute = 6000;

  explicit RecordTrace(EventLoop& loop) : quota_(loop, "trace", kLinesAMinute) {}

  /// Begins or ends it for a user, by the UserID.
  void Follow(const std::string& userId);
  void Leave(const std::string& userId);

  const std::set<std::string, std::less<>>& users() const { return users_; }

  /// Whether anybody is followed: where not, nothing need be told.
  bool IsOn() const { return !users_.empty(); }

  /// A record has come on a slot. One of a connection that has not logged in yet is kept until it
  /// turns out whose it is.
  void NoteIn(std::string_view tag, SlotIndex slot, std::string_view record);

  /// What it asked for was done, and the slot has this tag now.
  void NoteDone(std::string_view tag, SlotIndex slot);

  /// A record is sent on a slot. The answer to a log-in names the user before the tag does.
  void NoteOut(std::string_view tag, SlotIndex slot, std::string_view record);

 private:
  std::string_view FollowedUser(std::string_view tag) const;
  void Say(std::string_view userId, SlotIndex slot, std::string_view direction,
           std::string_view record);
  void SayKept(std::string_view userId, SlotIndex slot);

  std::set<std::string, std::less<>> users_;
  std::map<SlotIndex, std::string> kept_;
  LineQuota quota_;
};

}  // namespace vnq
