// What somebody who has mistyped a name is likely to have meant.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

/// How many letters have to be put in, left out, changed or swapped with their neighbour.
size_t EditDistance(std::string_view a, std::string_view b);

/// The name that is nearest to what was typed, where that is no more than two mistakes away, or a
/// third of its letters; empty where none is, and where there is none. Letter case counts.
std::string NearestName(std::string_view typed, const std::vector<std::string>& names);

}  // namespace vnq
