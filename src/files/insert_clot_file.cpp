#include <algorithm>

#include "files/files.h"
#include "host/manager_notice.h"
#include "host/values/skipped.h"

namespace vnq {
namespace {

// The permission by which a group file is visible without a manager's consent.
constexpr std::string_view kPublishesGroupFiles = "3";

// Kept: the lists of several roles stand behind one another without a comma between them, so that
// "1,2" and "3" do not hold the 3.
bool MayPublish(Host& host, const Expr& userId) {
  Cursor roles(host.database);
  roles.Open(Sql("Select b.* from Users_Role as a,Role as b where a.UserID='?' and a.RoleID=b.ID",
                 userId));
  std::string perms;
  for (; !roles.EndOfRows(); roles.MoveNext()) perms += roles["Permissions"].text();
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

}  // namespace

void InsertClotFile(Host& host, const Expr& groupId, const Expr& uploader, const Expr& typePath,
                    const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  if (!groupId.ok() || !uploader.ok() || !pcSize.ok() || !msgId.ok()) {
    NoteSkipped("InsertClotFile", "failed value");
    return;
  }
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
  Adodc1.Update();
  Adodc1.Close();

  if (right) {
    host.database.Execute(Sql("update UpDateForm set ClotFile_Vesr=ClotFile_Vesr+1 where id=1"));
  }
  PushToManagers(host, names.userName, names.displayName, kGroupFileNotice);
}

}  // namespace vnq
