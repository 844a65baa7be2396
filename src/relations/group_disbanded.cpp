// The end of a group. Field 1 is the group, field 2 the acting user.
#include "host/picture_files.h"
#include "host/server_log.h"
#include "relations/group_rows.h"
#include "relations/verification.h"

namespace vnq {
namespace {

void ParkOtherMembers(const Verification& run) {
  Cursor members(run.host.database);
  members.Open(Sql("Select * from Clot_Form where UpperID='?' and UserID<>'?'", run.fields[1],
                   run.fields[2]));
  for (; !members.EndOfRows(); members.MoveNext()) run.ParkUser(Join(members["UserID"]));
}

// The files that members uploaded stay on disk.
void DeleteGroupRows(Host& host, const Expr& group) {
  host.database.Execute(Sql("Delete from Clot_Ro where TypeID='?'", group));
  host.database.Execute(Sql("Delete from Clot_Form where UpperID='?'", group));
  host.database.Execute(Sql("Delete from Clot_Pic where ClotID='?'", group));
  host.database.Execute(Sql("Delete from ClotFile where ClotID='?'", group));
  host.database.Execute(Sql("Delete from MessengClot_Text where ClotID='?'", group));
}

}  // namespace

void GroupDisbanded(const Verification& run) {
  Host& host = run.host;
  const Fields& fields = run.fields;
  ParkOtherMembers(run);
  run.Park(run.otherSessionTag);
  DeletePictureFile(host, "\\MyPic\\", fields[1]);
  DeleteGroupRows(host, fields[1]);
  BumpGroupCatalogue(host);
  WriteServerLog(host, Join(fields[2], host.ReadLang("im65"), fields[1]), fields[2],
                 host.SckServer.RemoteHostIP(run.slot), LogIcon::kCommand);
}

}  // namespace vnq
