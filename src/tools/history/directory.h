// The people, departments and groups of a deployment, as one of its users may know them.
#pragma once

#include <string>
#include <vector>

#include "host/database/database.h"
#include "tools/history/request_answer.h"

namespace vnq {

/// {"departments":[{id,parent,name}],"people":[{id,login,name,department,job,picture,state}],
///  "groups":[{id,name,remark,admin,muted}],"friends":[id]}
///
/// Accounts that may not log in are left out. Groups and friends are those of the user.
RequestAnswer ReadDirectory(Database& database, const std::string& UserID);

/// {"members":[{id,name,admin,remark}]}; not_allowed unless the user is one of them.
RequestAnswer ReadMembers(Database& database, const std::string& UserID, const std::string& ClotID);

/// {id,login,name,department,job,age,...}, with "verify" when it is the user's own; not_found.
RequestAnswer ReadProfile(Database& database, const std::string& UserID, const std::string& of);

/// {"states":[{id,name,state}]} of those that there are. 0 offline, 1 online, 2 away, 3 on a phone.
RequestAnswer ReadStates(Database& database, const std::vector<std::string>& of);

}  // namespace vnq
