// Writes values as JSON.
#pragma once

#include <string>

#include "support/json/json_value.h"

namespace vnq {

/// The value as compact JSON (RFC 8259): no blanks, keys in order, numbers with the scale they
/// have, characters beyond ASCII as they are, control characters escaped. An empty value is written
/// as null. Needs no more stack for a deep value than for a flat one.
std::string WriteJson(const JsonValue& value);

}  // namespace vnq
