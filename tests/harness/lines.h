// What tests compare as a whole.
#pragma once

#include <string>
#include <vector>

namespace vnq {

/// Rows joined by '|', records, lines of a file: a text each.
using Lines = std::vector<std::string>;

}  // namespace vnq
