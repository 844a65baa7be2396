#include "support/json/runtime_error.h"

namespace vnq {

std::string_view Description(RuntimeError error) {
  switch (error) {
    case RuntimeError::kNone:
      return "";
    case RuntimeError::kOverflow:
      return "Overflow";
    case RuntimeError::kSubscriptOutOfRange:
      return "Subscript out of range";
    case RuntimeError::kTypeMismatch:
      return "Type mismatch";
    case RuntimeError::kKeyAlreadyPresent:
      return "This key is already associated with an element of this collection";
  }
  return "";
}

}  // namespace vnq
