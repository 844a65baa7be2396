// One stored message or notice, as somebody reads it later.
#pragma once

#include <cstdint>
#include <string>

namespace vnq {

/// The two kinds of client of a person. Each is owed its own copy of everything.
enum class Device { kDesktop, kMobile };

struct HistoryEntry {
  enum class Kind { kPeer, kGroup, kNotice };

  Kind kind = Kind::kPeer;
  std::string Msg_ID;
  std::string from;      ///< UserID of the sender
  std::string to;        ///< UserID, or the group's TypeID; empty for a notice that the user posted
  std::string FcName;    ///< what the sender was called then; empty for notices
  std::string date;      ///< YYYY-MM-DD
  std::string time;      ///< hh:mm:ss
  std::string UserText;  ///< as stored, escaped; a notice's title
  std::string content;   ///< of a notice
  std::string link;      ///< of a notice
  std::string FontInfo;
  int32_t To_Type = 0;
  int32_t TypeID = 0;        ///< of a group message: its place among all
  bool isOwn = false;        ///< the user wrote it
  bool isUnread = false;     ///< the device in question has not had it
  bool isDelivered = false;  ///< the user's own message: a device of the other has had it
};

}  // namespace vnq
