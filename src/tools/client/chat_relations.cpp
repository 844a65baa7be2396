// The part of a session that makes and changes groups and friendships.
#include <algorithm>

#include "tools/client/chat_session.h"
#include "tools/client/chat_text.h"

namespace vnq {
namespace {

// A name for an entry of a member list, whose separators are ":" and "-"; the server takes no
// single quote in one.
std::string EntryName(std::string name) {
  if (!FitsAField(name)) return "";
  for (char& c : name) {
    if (c == ':' || c == '-' || c == '\'') c = ' ';
  }
  return name;
}

// UserID:IsAdmin:name-
std::string MemberEntry(const std::string& userId, bool isAdmin, const std::string& name) {
  return userId + (isAdmin ? ":1:" : ":0:") + EntryName(name) + "-";
}

// True for an id that can stand in an entry.
bool FitsAnEntry(std::string_view userId) {
  return !userId.empty() && FitsAField(userId) && userId.find_first_of(":-'") == userId.npos;
}

// .+messengverify|other party|acting user|text|1|type 2|type 3|type 4|#
struct FriendStep {
  std::string_view word, types, done;
};

constexpr FriendStep kFriendSteps[] = {
    {"add", "1|1|0", "asked for a friendship: "},
    {"accept", "1|2|1", "accepted as a friend: "},
    {"refuse", "1|2|2", "refused as a friend: "},
    {"block", "1|2|3", "refused and blocked as a friend: "},
    {"delete", "2|1|0", "no friend any more: "},
};

}  // namespace

bool ChatSession::HasTargetGroup() {
  if (!IsReady()) return false;
  if (targetKind_ == Kind::kGroup && !target_.empty()) return true;
  sink_->Complain("Say first which group, with /group GROUPID.");
  return false;
}

std::string ChatSession::OwnName() const {
  const auto& users = names_->All(Kind::kUser);
  const auto own = users.find(userId_);
  return own == users.end() || own->second.empty() ? identity_.user : own->second;
}

// .+new_group_information|creator|name|remark|sender|member list|#
bool ChatSession::CreateGroup(std::string_view name) {
  if (!IsReady()) return false;
  if (name.empty() || !FitsAField(name) || name.find('\'') != name.npos) {
    sink_->Complain("Say how it is called: /create NAME, without ' and | in the name.");
    return false;
  }
  sink_->SendRecord(".+new_group_information|" + userId_ + "|" + std::string(name) + "||" +
                    userId_ + "|" + MemberEntry(userId_, true, OwnName()) + "|#");
  sink_->Show("* asked the server for a group " + TerminalLine(name));
  return true;
}

// .+add_group_members|acting user|group|member list|#
bool ChatSession::Invite(std::string_view users) {
  if (!HasTargetGroup()) return false;
  std::string entries, labels;
  const std::vector<std::string> ids = ResolveUsers(users, labels);
  for (const std::string& id : ids) {
    const auto known = names_->All(Kind::kUser).find(id);
    entries += MemberEntry(id, false, known == names_->All(Kind::kUser).end() ? "" : known->second);
  }
  if (ids.empty() || !std::all_of(ids.begin(), ids.end(), FitsAnEntry)) {
    sink_->Complain("Say whom: /invite USERID,USERID.");
    return false;
  }
  sink_->SendRecord(".+add_group_members|" + userId_ + "|" + target_ + "|" + entries + "|#");
  sink_->Show("* added to " + TargetLabel() + ": " + labels);
  return true;
}

// .+messengverify|group|leaving user||2|2|1|0|#
bool ChatSession::LeaveGroup() {
  if (!HasTargetGroup()) return false;
  sink_->SendRecord(".+messengverify|" + target_ + "|" + userId_ + "||2|2|1|0|#");
  sink_->Show("* you have left " + TargetLabel());
  target_.clear();
  return true;
}

bool ChatSession::Friend(std::string_view step, std::string_view idOrName, std::string_view text) {
  if (!IsReady()) return false;
  const auto* const found = std::find_if(std::begin(kFriendSteps), std::end(kFriendSteps),
                                         [&](const FriendStep& each) { return each.word == step; });
  const std::string id = names_->Resolve(Kind::kUser, idOrName);
  if (found == std::end(kFriendSteps) || id.empty() || !FitsAField(id) ||
      text.size() > kMaxTextBytes) {
    sink_->Complain("Say what and with whom: /friend add|accept|refuse|block|delete USERID.");
    return false;
  }
  sink_->SendRecord(".+messengverify|" + id + "|" + userId_ + "|" + FieldText(text) + "|1|" +
                    std::string(found->types) + "|#");
  sink_->Show("* " + std::string(found->done) + names_->Label(Kind::kUser, id));
  return true;
}

}  // namespace vnq
