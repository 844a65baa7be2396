// Where the password comes from. It is never printed.
#pragma once

#include <string>

namespace vnq {

/// The first line of `file`; without a file the variable VNQ_PASSWORD; without that, asked on the
/// controlling terminal without echo. False: `error` says what is missing.
bool ReadPassword(const std::string& file, std::string& password, std::string& error);

}  // namespace vnq
