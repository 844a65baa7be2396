// Strings of JSON: written for any reader, and read strictly, since what is damaged must not pass
// for text.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// Reads the rest of a string whose opening quote stands in front of `at`, and moves `at` behind
/// its closing quote. Any escape that JSON has; two that are a surrogate pair give one character, a
/// lone surrogate its three bytes. False, with what is wrong in `error`, for a string that is not
/// closed, for control characters and for bytes that are no UTF-8.
bool TakeJsonString(std::string_view line, size_t& at, std::string& text, std::string& error);

/// The text as a string, its quotes included. What is no UTF-8 becomes U+FFFD.
std::string JsonString(std::string_view text);

}  // namespace vnq
