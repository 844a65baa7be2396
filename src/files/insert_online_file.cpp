#include "files/files.h"

namespace vnq {
namespace {

constexpr int kVisible = 1;

std::string DisplayName(Host& host, const Expr& userId) {
  std::string displayName;
  Cursor user(host.database);
  user.Open(Sql("Select UserID,FcName from Users_ID where UserID='?'", userId));
  if (user.RecordCount() == 1) Assign(displayName, user["FcName"]);
  return displayName;
}

}  // namespace

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
  Adodc1.Update();
}

}  // namespace vnq
