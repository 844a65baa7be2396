// How a read becomes records.
//
//   read   = Base64 of the record text in the machine's legacy code page
//   text   = { ".+" record }
//   record = command { "|" field } "|#"
//
// There is no length, no checksum and no code page on the wire: both sides run under the same page.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vnq {

/// The separator between the records of one text, which is also what every command word begins
/// with.
inline constexpr std::string_view kRecordPrefix = ".+";

/// Calls `onRecord` for each record of a read, in order, the prefix back in front of it.
///
/// Kept: a read that does not begin with the prefix hands on its whole text first, not only the
/// piece in front of the first prefix, and then each later record again by itself. onRecord may
/// yield.
void ForEachRecord(const std::string& text,
                   const std::function<void(const std::string&)>& onRecord);

}  // namespace vnq
