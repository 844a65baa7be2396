// Private to platform: where ODBC statements find the values for their markers.
#pragma once

#include <sql.h>
#include <sqlext.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq {

/// What decides how a value is bound. A statement is prepared for the kinds of its values.
enum class OdbcValueKind {
  kNull,
  kInteger,     ///< of 32 bits
  kBigInteger,  ///< one that needs more
  kText,        ///< of up to OdbcParameters::kLongestBounded units
  kLongText,
};
using OdbcValueKinds = std::vector<OdbcValueKind>;

OdbcValueKinds KindsOf(std::span<const SqlValue> values);

/// Places where statements find their parameters. A statement is bound to them once and then only
/// their contents change: a new binding would have the server prepare it again. As one statement
/// runs at a time, all of a connection share them.
class OdbcParameters {
 public:
  /// The longest text that is bound as one of bounded length, in 16-bit units.
  static constexpr size_t kLongestBounded = 4000;

  /// Binds marker `number` (from 1) to the place of parameter `index`. A long text is bound again
  /// after each Put: it does not stay in its place.
  bool Bind(SQLHSTMT statement, size_t number, size_t index, OdbcValueKind kind);

  /// Puts the value in its place.
  void Put(size_t index, const SqlValue& value);

 private:
  struct Place {
    SQLLEN length = 0;
    int64_t integer = 0;
    std::array<char16_t, kLongestBounded> text;
    std::u16string longText;
  };

  Place& PlaceOf(size_t index);

  std::deque<Place> places_;  // a place does not move
};

}  // namespace vnq
