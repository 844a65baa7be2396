// Requests and news that wait for somebody, as another program asks for them.
#pragma once

#include "tools/history/history_store.h"
#include "tools/history/json_request.h"
#include "tools/history/request_answer.h"

namespace vnq {

/// {"requests":[{time,text,name,target_name,ClotID,UserID2,UserText,To_Type1..To_Type4}]}, oldest
/// first, what waits for the device of the user: `name` is that of UserID2, `target_name` that of
/// ClotID, a user or a group; `text` is UserText as a person reads it.
RequestAnswer WaitingRequests(HistoryStore& store, const JsonRequest& request);

/// Takes the request's `requests`, objects as above, away from the device's.
RequestAnswer ForgetRequests(HistoryStore& store, const JsonRequest& request);

}  // namespace vnq
