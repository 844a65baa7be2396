// A part of somebody's history, as another program asks for it.
#pragma once

#include "tools/history/history_entry.h"
#include "tools/history/history_store.h"
#include "tools/history/json_request.h"
#include "tools/history/request_answer.h"

namespace vnq {

/// The device that a request speaks for; the desktop unless it says "mobile".
Device DeviceOf(const JsonRequest& request);

/// The user's conversations, the latest first: {kind,id,name,unread,last} each. Groups without a
/// message stand at the end.
RequestAnswer Conversations(HistoryStore& store, const JsonRequest& request);

/// Entries of a conversation or, for a search, of all: at most `limit` of them, those in front of
/// the entry `before`, or those behind `after`.
RequestAnswer Messages(HistoryStore& store, const JsonRequest& request);

/// The first `limit` entries that the device has not had.
RequestAnswer Unread(HistoryStore& store, const JsonRequest& request);

/// Marks as read: the request's `entries`, or its conversation up to the entry `through`.
RequestAnswer Read(HistoryStore& store, const JsonRequest& request);

}  // namespace vnq
