// The language files that come with the program, compiled in.
#pragma once

#include <string_view>

namespace vnq {

/// The file of a language folder ("English", "Chinese_Simplified", "Chinese_Traditional") as UTF-8,
/// whole. Empty for any other name.
std::string_view ShippedLanguageFile(std::string_view fileName);

}  // namespace vnq
