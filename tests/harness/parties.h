// Several people on a server, each on a desktop and a mobile, and what all of them hear.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/harness/lines.h"
#include "tests/harness/test_server.h"

namespace vnq {

/// What came for each session since the last look, by tag; sessions that heard nothing are not in
/// it.
using Heard = std::map<std::string, std::string>;

class PartiesTest : public ServerTest {
 protected:
  /// Connects sessions by their tags, "1" a desktop and "1m" a mobile, in this order. Their users
  /// exist from here on. What they hear of each other's coming, and the log of it, is dropped.
  void Connect(const std::vector<std::string>& tags);

  /// Adds users who are not connected.
  void AddUsers(const std::vector<std::string>& userIds);

  /// Ends a session; the server has noticed it, and its user's presence is as it was.
  void Disconnect(const std::string& tag);

  /// Sends records from a session.
  void From(const std::string& tag, const std::string& records) { session(tag).Send(records); }

  TestClient& session(const std::string& tag) { return sessions_.at(tag); }

  Heard Hear();

  /// The same behind a tick of Timer1, with every identifier of 32 digits shown as "GUID".
  Heard HearAfterTick();

  /// Adds a group's header and its members, each "UserID:IsAdmin:remark".
  void AddGroup(const std::string& typeId, const std::vector<std::string>& members);

  /// MessengVerify_Type in order:
  /// UserID1|ClotID|UserID2|UserText|To_Type1|To_Type2|To_Type3|To_Type4.
  Lines Parked();
  /// Rows as Parked() gives them: one record for several tags.
  static Lines ParkedFor(const std::vector<std::string>& tags, const std::string& fields);

  /// Clot_Form of a group: UserID|IsAdmin|remark|last_ack_typeid1|2|3|4.
  Lines Members(const std::string& typeId);
  /// UpDateForm.Clot_RoVesr|Clot_FormVesr; every other counter there is checked to be 0.
  std::string GlobalCounters();
  /// A group's Users_IDVesr|Users_FormVesr.
  std::string GroupCounters(const std::string& typeId);
  /// Users_ID.Fav_FormVesr of each user that is not at 0: UserID|counter.
  Lines FriendCounters();
  /// ServerLog: Txt|UserID|Ip|Ico.
  Lines Log() { return server.Rows("select Txt,UserID,Ip,Ico from ServerLog order by rowid"); }

  int64_t CountOf(const std::string& table);

 private:
  std::map<std::string, TestClient> sessions_;
};

}  // namespace vnq
