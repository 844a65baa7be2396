// Picture files below the data root.
#pragma once

#include <string_view>

#include "host/expr.h"

namespace vnq {

struct Host;

/// Deletes ServerRootPath + folder + id + ".jpg" when there is such a file.
///
/// folder  with a backslash at both ends, e.g. "\\MyPic\\".
/// id      comes from clients, so it must be a plain name: one with a separator or a control
/// character names no file
///         of the folder, and nothing is deleted.
/// Of a link the link itself goes, never what it points to; a folder stays. Yields: no. Database:
/// no.
void DeletePictureFile(Host& host, std::string_view folder, const Expr& id);

}  // namespace vnq
