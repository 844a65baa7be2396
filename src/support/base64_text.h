// The Base64 layer under every record: RFC 4648, section 4, on the way out, and a lenient reader of
// it.
//
//   text = { group } [ padded group ]
//
// Reading goes up to the first "=" and no further: what stands behind the padding of a text is
// lost. Between groups nothing is skipped, so a line break counts as a character, and it shifts
// what follows.
#pragma once

#include <string>
#include <string_view>

#include "support/ansi_text.h"

namespace vnq {

/// Base64 of some bytes, padded, on one line. No bytes give the empty text.
std::string Base64EncodeBytes(std::string_view bytes);

/// The bytes in front of the first "=", or of all when there is none. A byte outside the alphabet
/// counts as "/". Of a last group of two or three characters the whole bytes are given; one of a
/// single character is dropped.
std::string Base64DecodeBytes(std::string_view wire);

/// A text as it travels: Base64 of its bytes in the code page.
std::string Base64EncodeText(const AnsiText& page, std::string_view text);

/// The text of one read: its bytes decoded, then read by the code page. Never fails; what is no
/// Base64 gives junk.
std::string Base64DecodeText(const AnsiText& page, std::string_view wire);

}  // namespace vnq
