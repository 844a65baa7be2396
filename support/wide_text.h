// The two forms of a text.
//
// Between procedures a text is UTF-8, with a lone 16-bit surrogate as its three-byte form. Routines
// that count characters work on 16-bit characters and convert at their edges with the functions
// below. The way there and back keeps every text that is well formed in this sense.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// The 16-bit characters of a text. A byte that belongs to no character becomes U+FFFD, one for
/// each such byte.
std::u16string ToWideText(std::string_view utf8);

/// The text of some 16-bit characters. A surrogate without its other half becomes three bytes.
std::string FromWideText(std::u16string_view wide);

}  // namespace vnq
