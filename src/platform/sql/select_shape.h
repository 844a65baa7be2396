// Private to platform: what the rows of a select are rows of.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/sql/sql_tokens.h"

namespace vnq {

/// A select whose rows are rows of one table: no join, union, distinct rows or groups. Whether each
/// of its columns is one of the table's (`count(*)` is none) is left to the engine to tell.
struct SelectShape {
  size_t from = 0;         ///< the token behind the list of columns
  std::string_view table;  ///< as written; empty when an inner select stands in its place
};

/// The shape of a statement; nothing when it is no such select.
std::optional<SelectShape> ReadSelectShape(const Tokens& tokens);

}  // namespace vnq
