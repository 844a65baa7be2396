// The log of a process, on standard error: how much it tells, and in which form.
#pragma once

#include <string>

namespace vnq {

struct LogOptions {
  std::string level = "info";   ///< debug, info, warning, error
  std::string format = "text";  ///< text: a line for people; json: an object a line (RFC 8259)
};

/// Makes it the default log of spdlog, at each call anew. Where standard error is the journal,
/// lines begin with the priority that it reads, and those of text do without the date that it adds.
/// False, with the reason in `error`, for a word that is not known.
bool SetUpLog(const LogOptions& options, std::string& error);

}  // namespace vnq
