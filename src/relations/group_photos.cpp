// A group's picture as clients know it: a value that they state, and a file that reaches the server
// on another road.
#include "host/picture_files.h"
#include "host/server_log.h"
#include "relations/relations.h"

namespace vnq {
namespace {

// Kept: only exactly one row counts as found, so two rows lead to a third.
void WritePicture(Host& host, const Fields& fields) {
  Cursor picture(host.database);
  picture.Open(Sql("Select * from Clot_Pic where ClotID='?'", fields[2]));
  if (picture.RecordCount() != 1) {
    picture.AddNew();
    picture.Set("ClotID", fields[2]);
  }
  picture.Set("pic", fields[3]);
  picture.Update();
}

void LogPicture(Host& host, const Fields& fields, std::string_view key,
                const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[1], host.ReadLang(key), fields[2], "/", fields[3]), fields[1],
                 remoteIp, LogIcon::kCommand);
}

}  // namespace

void HandleModifyGroupPhotos(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  WritePicture(host, fields);
  LogPicture(host, fields, "im69", remoteIp);
}

void HandleClearGroupPhotos(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  WritePicture(host, fields);
  DeletePictureFile(host, "\\Mypic\\", fields[2]);
  LogPicture(host, fields, "im70", remoteIp);
}

}  // namespace vnq
