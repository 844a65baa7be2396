// Jet files, which deployments bring along as their embedded database: known by their first bytes,
// read by an import and never written.
//
//   00 01 00 00 "Standard Jet DB"     .mdb
//   00 01 00 00 "Standard ACE DB"     .accdb
#pragma once

#include <string>

#include "platform/system/paths.h"

namespace vnq {

/// True for a file that begins as one of them. The file is only read.
bool IsJetFile(const std::string& path);

/// One line for the operator whose settings name the Jet file `path`: what to set and what to run.
/// `AppPath` is the program's folder.
std::string JetFileAdvice(const std::string& path, const PathMapper& paths,
                          const std::string& AppPath);

}  // namespace vnq
