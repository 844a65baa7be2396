// Deleting a file whose name a stranger chose.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// Deletes a file at or below a folder, and nothing anywhere else: `..` in the path is refused, and
/// no link behind the folder is followed. A link in the file's own place is deleted itself, its
/// target is not. The folder may be a link.
///
/// path  relative, with "/" between its components; empty ones and "." count for nothing.
/// False: there is no such file, it is a folder, the path is refused, or the system is.
bool RemoveFileBelow(const std::string& folder, std::string_view path);

}  // namespace vnq
