// The text of an HTTP answer.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// The body as text: by its byte order mark, else by the `charset` of the content type (UTF-8, the
/// Chinese, Japanese and Korean double-byte sets, Windows and Latin-1 single-byte sets), else as
/// UTF-8. A charset that is not known counts as UTF-8. Bytes that are no text become U+FFFD or '?'.
std::string ResponseText(std::string_view body, std::string_view contentType);

}  // namespace vnq
