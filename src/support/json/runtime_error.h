// The failures that a step of the library can end in.
//
// A failing step changes nothing and tells its caller one of these; nothing is thrown. Numbers and
// descriptions are fixed, since people meet them in messages.
#pragma once

#include <string_view>

namespace vnq {

enum class RuntimeError : int {
  kNone = 0,
  kOverflow = 6,             ///< a number or a size beyond its type
  kSubscriptOutOfRange = 9,  ///< an index outside the text or the list
  kTypeMismatch = 13,        ///< a text that is no number
  kKeyAlreadyPresent = 457,  ///< a second Add under the same key
};

/// What the error says to a person, without a full stop; empty for kNone.
std::string_view Description(RuntimeError error);

}  // namespace vnq
