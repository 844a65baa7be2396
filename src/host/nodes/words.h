// How words travel between nodes: each behind its length, "5:hello3:abc", so that they may hold
// anything.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

using Words = std::vector<std::string>;

std::string JoinWords(const Words& words);

/// Nothing for a text that JoinWords did not make.
std::optional<Words> SplitWords(std::string_view text);

}  // namespace vnq
