// The escapes of chat text and of web addresses.
//
//   escaped text = { kept character | "%" 2 hex | "%u" 4 hex }
//
// All of them go by 16-bit characters, so a character above U+FFFF is two escapes. None of them
// reports an error: an escape whose digits are none is left to the rules below.
#pragma once

#include <string>
#include <string_view>

#include "support/ansi_text.h"

namespace vnq {

/// Escapes everything but ASCII letters, digits and - _ . ! ~ * ' ( ). Values up to 254 take the
/// short form, U+00FF and above the long one. Digits are upper case.
std::string EscapeText(std::string_view text);

/// Reads escapes by a walk over the text that changes the text under its feet.
///
/// The walk visits each position from the first to the length that the text had at the start. An
/// escape that it meets is replaced everywhere at once, in front of the walk too; then the walk
/// goes to the next position of the text as it now is. So a character can be passed over after a
/// replacement in front of the walk, and a "%" that came out of an escape can open the next one. An
/// escape in upper-case and one in lower-case digits are different ones. One whose digits are bad
/// or missing stays.
///
/// A short escape is a byte of the code page; where the page has no character for the byte alone,
/// it is the character of that Unicode value.
///
/// The cost grows with the length of the text, not with length times escapes.
std::string UnescapeText(const AnsiText& page, std::string_view text);

/// Percent-encodes what is not ASCII, and nothing else: a blank and "%" stay. Values from U+0080 to
/// U+0FFF take a two-byte form (which is UTF-8 only below U+0800), all others three bytes.
std::string UrlEncodeUtf8(std::string_view text);

/// "+" is a blank, "%" and a value below 128 that character, "%" and a higher value the first of a
/// three-byte form. An escape with bad or missing digits loses its "%" and is otherwise copied.
std::string UrlDecodeUtf8(std::string_view text);

}  // namespace vnq
