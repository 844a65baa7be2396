// Message text on its way to a person's terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/system/character_width.h"

namespace vnq {

/// The text behind the escaped form "%XX" and "%uXXXX" of messages: the exact inverse of
/// EscapeText.
///
/// One pass, so that a typed "%41" stays what it is, and "%E9" is U+00E9 whatever the code page:
/// what was typed at one end is what is read at the other. Two escapes that make a surrogate pair
/// become one character; a broken escape stays as it stands.
std::string ReadEscapedText(std::string_view escaped);

/// The text of a message in words: a file form ("{h@...}", "{a@...}") is told as such, its inner
/// text unescaped once more; everything else is ReadEscapedText.
std::string ReadMessageText(std::string_view escaped);

/// True for a text that can stand in a field as it is: no '|', line break or ".+" in it.
bool FitsAField(std::string_view text);

/// The text for a field that may hold plain or escaped text: as it stands where ReadEscapedText
/// reads it back unchanged and a field can carry it, else escaped.
std::string FieldText(std::string_view text);

/// One line that is safe on a terminal: valid UTF-8, control characters and direction overrides
/// shown as U+FFFD, line breaks and tabs as blanks.
std::string TerminalLine(std::string_view text);

/// The first `columns` columns of a text, with "..." behind them when something was left out.
std::string FirstWords(std::string_view text, size_t columns);

/// Columns that a text takes on a terminal.
size_t DisplayWidth(std::string_view text);

}  // namespace vnq
