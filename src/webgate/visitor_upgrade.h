// The opening of a visitor's WebSocket: an HTTP request in one arrival, its answer in one text.
//
// Private to the room.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "support/ansi_text.h"

namespace vnq {

/// The text between the first `startMarker` from `position` on and the next `endMarker`; letter
/// case counts.
///
/// position  bytes from the head of the text; afterwards it stands behind `endMarker`. When a
///           marker is missing the text is empty and position stays.
std::string FindBetween(std::string_view text, std::string_view startMarker,
                        std::string_view endMarker, size_t& position);

/// What proves to the browser that its key was read: Base64 of the SHA-1 digest of the key and a
/// fixed identifier (RFC 6455, section 4.2.2).
std::string WebSocketAccept(const AnsiText& page, std::string_view key);

/// The answer to an upgrade request; empty when the request holds no key.
///
/// responseTemplate  the answer with [KEY], [ORGN] and [HOST] in the places of the accept value and
///                   of the two headers. An absent header is the empty text.
std::string UpgradeResponse(const AnsiText& page, std::string_view responseTemplate,
                            std::string_view request);

}  // namespace vnq
