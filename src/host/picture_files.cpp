#include "host/picture_files.h"

#include "host/host.h"
#include "platform/system/remove_file.h"

namespace vnq {

void DeletePictureFile(Host& host, std::string_view folder, const Expr& id) {
  const Expr file = Join(host.ServerRootPath, folder, id, ".jpg");
  if (Skips("delete picture", file)) return;
  const std::string mappedFolder = host.paths.Map(host.ServerRootPath + std::string(folder));
  const std::string mappedFile = host.paths.Map(file.text());
  if (mappedFolder.empty() || !mappedFile.starts_with(mappedFolder)) return;
  host.loop.Settle();
  RemoveFileBelow(mappedFolder, mappedFile.substr(mappedFolder.size()));
}

}  // namespace vnq
