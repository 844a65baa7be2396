// The picture files of users and groups, below the data root.
#pragma once

#include <string_view>

#include "host/values/expr.h"

namespace vnq {

struct Host;

/// Deletes <ServerRootPath><folder><id>.jpg when it is there.
///
/// folder  as the caller's rule spells it, with its separators: "\Mypic\" and "\MyPic\" find the
///         same folder.
/// id      as a client sent it. One that leads out of the folder, by ".." or by a link, deletes
///         nothing.
/// A missing root, folder or file is no failure; a failed id: skipped. Yields: no. Database: no.
void DeletePictureFile(Host& host, std::string_view folder, const Expr& id);

}  // namespace vnq
