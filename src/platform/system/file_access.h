// What keeps this process from a file, told so that a person knows as whom to run it instead; and
// whose the files are that root makes in another's folder.
#pragma once

#include <sys/types.h>

#include <string>

namespace vnq {

/// The name of a user of this machine; the number where it has none.
std::string UserName(uid_t user);

/// Why a file that is there cannot be read, with its path and the user to run as. Empty when it
/// can be read, and when there is none.
std::string ReadFault(const std::string& path);

/// Why a file or folder that is there cannot be written, told alike.
std::string WriteFault(const std::string& path);

/// Why a path leads to no folder; empty when it does.
std::string FolderFault(const std::string& path);

/// Gives what root has just made to the owner of the folder that it lies in, so that this user's
/// service can go on with it. Does nothing for any other user.
void GiveToFolderOwner(const std::string& path);

}  // namespace vnq
