// The files room: rows that tell where a client has put a file.
//
// The bytes never pass here. A client stores them by other means and reports it with
// .+upload_files; the report becomes a row, and the row is what a later message or another program
// reads. Paths and sizes are the clients' own texts.
#pragma once

#include <string>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// .+upload_files|TypePath|PcSize|uploader|target or group|1 offline file, 2 group
/// file|FilPath|Msg_ID|#
///
/// Both paths are URL-encoded. The receipt, .+reply|3 or 4|target or group|Msg_ID|#, follows
/// whatever became of the row: it says that the report has come. Any other kind does nothing.
/// Yields: no. Database: that of the insert.
void HandleUploadFiles(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// A file left for a user who is away. The row must stand before the message that announces it
/// comes. Nothing for a file to oneself and for a Msg_ID that is known. Yields: no. Database:
/// LeaveFile, UpDateForm.
void InsertLeaveFile(Host& host, const Expr& target, const Expr& uploader, const Expr& typePath,
                     const Expr& pcSize, const Expr& filPath, const Expr& msgId);

/// A file shared with a group: visible at once (FileState 1) when the uploader's roles hold the
/// right to it. The managers are told of every one, the members of none. Nothing for a Msg_ID that
/// is known. Yields: no. Database: Users_Role, Role, Users_ID, ClotFile, UpDateForm.
void InsertClotFile(Host& host, const Expr& groupId, const Expr& uploader, const Expr& typePath,
                    const Expr& pcSize, const Expr& filPath, const Expr& msgId);

/// A file of a user's own: one row for each user and TypePath, stamped when it is reported again.
/// No command comes here; the operation is for outside callers. Yields: no. Database: Users_ID,
/// OnlineFile.
void InsertOnlineFile(Host& host, const Expr& userId, const Expr& typePath, const Expr& pcSize,
                      const Expr& filPath);

}  // namespace vnq
