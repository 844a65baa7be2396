// A report that a client has put a file somewhere, and the row that comes of it.
#include "files/files.h"

#include <algorithm>

#include "host/database/version_counters.h"
#include "host/manager_notice.h"
#include "host/slots/sending.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

constexpr int32_t kOfflineFile = 1;
constexpr int32_t kGroupFile = 2;

// --- Group files ---

// The permission by which a group file is visible without a manager's consent.
constexpr std::string_view kPublishesGroupFiles = "3";

// Kept: the lists of several roles stand behind one another without a comma between them, so that
// "1,2" and "3" do not hold the 3.
bool MayPublish(Host& host, const Expr& userId) {
  Cursor roles(host.database);
  roles.Open(Sql("Select b.* from Users_Role as a,Role as b where a.UserID='?' and a.RoleID=b.ID",
                 userId));
  std::string perms;
  for (; !roles.EndOfRows(); roles.MoveNext()) Append(perms, roles["Permissions"]);
  const std::vector<std::string> list = SplitText(perms, ",");
  return std::find(list.begin(), list.end(), kPublishesGroupFiles) != list.end();
}

struct Uploader {
  std::string userName, displayName;
};

Uploader ReadUploader(Host& host, const Expr& userId) {
  Uploader uploader;
  Cursor user(host.database);
  user.Open(Sql("Select UserID,FcName from Users_ID where UserID='?'", userId));
  if (user.RecordCount() == 1) {
    Assign(uploader.userName, user["UserName"]);  // Kept: not selected, so it stays empty
    Assign(uploader.displayName, user["FcName"]);
  }
  return uploader;
}

// --- Files of a user's own ---

constexpr int kVisible = 1;

std::string DisplayName(Host& host, const Expr& userId) {
  std::string displayName;
  Cursor user(host.database);
  user.Open(Sql("Select UserID,FcName from Users_ID where UserID='?'", userId));
  if (user.RecordCount() == 1) Assign(displayName, user["FcName"]);
  return displayName;
}

}  // namespace

void HandleUploadFiles(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  std::string typePath, filPath;
  Assign(typePath, Map(fields[1], UrlDecodeUtf8));
  Assign(filPath, Map(fields[6], UrlDecodeUtf8));
  const Expr pcSize = fields[2], uploader = fields[3], owner = fields[4], msgId = fields[7];
  int32_t kind = 0;
  Assign(kind, ToInt32(fields[5]));
  if (kind == kOfflineFile) {
    InsertLeaveFile(host, owner, uploader, typePath, pcSize, filPath, msgId);
    AppendReceipt(host, slot, Receipt::kLeaveFile, owner, msgId);
  } else if (kind == kGroupFile) {
    InsertClotFile(host, owner, uploader, typePath, pcSize, filPath, msgId);
    AppendReceipt(host, slot, Receipt::kClotFile, owner, msgId);
  }
}

void InsertLeaveFile(Host& host, const Expr& target, const Expr& uploader, const Expr& typePath,
                     const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  if (Skips("InsertLeaveFile", target, uploader, pcSize, msgId)) return;
  if (target.text() == uploader.text()) return;

  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("SELECT top 1 * FROM LeaveFile where Msg_ID='?'", msgId));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("Msg_ID", msgId);
  Adodc1.Set("UserID1", target);
  Adodc1.Set("UserID2", uploader);
  Adodc1.Set("TypePath", typePath);
  Adodc1.Set("PcSize", pcSize);
  Adodc1.Set("ToDate", host.clock.Now().DateAndTime());
  Adodc1.Set("SendTy", 0);
  Adodc1.Set("FilPath", filPath);
  Adodc1.UpdateOnce({"Msg_ID"});
  Adodc1.Close();

  // Kept: a Msg_ID with a quote adds no row and is counted all the same.
  BumpOnlyCounter(host.database, "LeaveFile_Vesr");
}

void InsertClotFile(Host& host, const Expr& groupId, const Expr& uploader, const Expr& typePath,
                    const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  if (Skips("InsertClotFile", groupId, uploader, pcSize, msgId)) return;
  const bool right = MayPublish(host, uploader);
  const Uploader names = ReadUploader(host, uploader);

  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("select * from ClotFile where Msg_ID='?'", msgId));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("Msg_ID", msgId);
  Adodc1.Set("MyID", uploader);
  Adodc1.Set("ClotID", groupId);
  Adodc1.Set("TypePath", typePath);
  Adodc1.Set("PcSize", pcSize);
  Adodc1.Set("UsName", names.displayName);
  Adodc1.Set("FilPath", filPath);
  Adodc1.Set("FileState", right ? 1 : 0);
  Adodc1.UpdateOnce({"Msg_ID"});
  Adodc1.Close();

  if (right) {
    host.database.Execute(Sql("update UpDateForm set ClotFile_Vesr=ClotFile_Vesr+1 where id=1"));
  }
  PushToManagers(host, names.userName, names.displayName, kGroupFileNotice);
}

void InsertOnlineFile(Host& host, const Expr& userId, const Expr& typePath, const Expr& pcSize,
                      const Expr& filPath) {
  const std::string displayName = DisplayName(host, userId);

  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("select * from OnlineFile where MyID='?' and TypePath ='?'", userId, typePath));
  if (Adodc1.RecordCount() == 0) {
    // Kept: a first report is not stamped.
    Adodc1.AddNew();
    Adodc1.Set("MyID", userId);
    Adodc1.Set("UsName", displayName);
    Adodc1.Set("TypePath", typePath);
  } else {
    const LocalTime now = host.clock.Now();
    Adodc1.Set("ToDate", now.Date());
    Adodc1.Set("ToTime", now.Time());
  }
  Adodc1.Set("PcSize", pcSize);
  Adodc1.Set("FilPath", filPath);
  Adodc1.Set("FileState", kVisible);
  Adodc1.UpdateOnce({"MyID", "TypePath"});
}

}  // namespace vnq
