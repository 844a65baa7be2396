// Text as the 16-bit characters in which the codecs and the cut lengths of records count.
//
// A lone surrogate is three bytes in UTF-8 text, so nothing is lost between the two forms. Bytes
// that are no UTF-8 read as U+FFFD.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vnq {

std::u16string Utf8ToUtf16(std::string_view text);

/// A high surrogate directly in front of a low one becomes one four-byte sequence.
std::string Utf16ToUtf8(std::u16string_view units);

/// 16-bit characters of a text.
size_t Utf16Length(std::string_view text);

/// The first `count` 16-bit characters; a pair that is cut in its middle leaves its high surrogate.
std::string FirstCharacters(std::string_view text, size_t count);

}  // namespace vnq
