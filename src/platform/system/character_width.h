// How many columns a character takes on a terminal, by the Unicode tables of the system.
#pragma once

#include <cstddef>

namespace vnq {

/// 2 for East Asian wide characters and emoji, 0 for joining marks, else 1.
size_t CharacterWidth(char32_t character);

}  // namespace vnq
