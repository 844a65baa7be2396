// What came for a user of the terminal client while the client was not there.
//
// The server delivers a message once, at the moment it comes. Whoever was away reads it from the
// database, as the record that would have come, and from then on marks what is shown, live records
// too, so that the next log-in does not find it again.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/client/known_names.h"
#include "tools/history/history_store.h"
#include "tools/history/parked_requests.h"

namespace vnq {

class CatchUp {
 public:
  /// Null, with the reason in `error`, when the folder or its database cannot be read.
  static std::unique_ptr<CatchUp> Open(const std::string& appPath, std::string& error);

  /// Appends the records that the user's desktop has not had, messages oldest first, then requests;
  /// `names` learns who is in them. False, with the reason in `error`, when the database knows no such user or fails.
  bool Read(const std::string& UserID, KnownNames& names, std::vector<std::string>& records,
            std::string& error);

  /// A record was shown to the user of the last Read, from Read or live. Records that tell of no
  /// stored message are passed over.
  void NoteShown(std::string_view record);

  /// Marks what was shown since the last call as read by the desktop, and takes requests that were
  /// shown away. False, with the reason in `error`: what is not done is tried by the next call.
  bool MarkShown(std::string& error);

 private:
  explicit CatchUp(std::unique_ptr<HistoryStore> store) : store_(std::move(store)) {}

  void LearnNames(const HistoryEntry& entry, KnownNames& names);
  void LearnNames(const ParkedRequest& request, KnownNames& names);

  std::unique_ptr<HistoryStore> store_;
  std::string UserID_;
  std::vector<HistoryEntry> shown_;           // not marked yet
  std::vector<ParkedRequest> shownRequests_;  // not taken away yet
};

}  // namespace vnq
