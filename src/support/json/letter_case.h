// Upper and lower case of single 16-bit characters.
//
// A mapping of one character to one, of the pairs that lead back to where they came from, whatever
// the locale: "ß", "ı" or the Kelvin sign have no partner here, and characters beyond the first
// 65536 have none either. Mappings from UnicodeData.txt of the Unicode Character Database.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

char16_t LowerCase(char16_t c);
char16_t UpperCase(char16_t c);

std::u16string LowerCase(std::u16string_view text);
std::u16string UpperCase(std::u16string_view text);

}  // namespace vnq
