// A row of an archive, as one line of JSON (RFC 8259).
//
//   row    = "[" [ cell { "," cell } ] "]"            no blanks
//   cell   = "null" | integer | string | bytes
//   bytes  = {"hex":"c3..."}                          a text that is no Unicode text
//
// A lone 16-bit surrogate is an escape, "\ud800". A text that is not well-formed UTF-8, or holds
// two surrogates that would read as one character, is given by its bytes, so that each text comes
// back as it was.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq {

/// Appends the row to `line`, without a line end; the text holds none either.
void AppendArchiveRow(std::span<const SqlValue> cells, std::string& line);

/// Reads what AppendArchiveRow writes, and any string that JSON allows. False for anything else,
/// with what is wrong in `error`, and `cells` is of no use then.
bool ParseArchiveRow(std::string_view line, std::vector<SqlValue>& cells, std::string& error);

}  // namespace vnq
