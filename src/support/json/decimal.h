// An exact decimal number.
//
// value = (-1)^sign * coefficient / 10^scale
//   coefficient  an integer of 96 bits, 0 to 79228162514264337593543950335
//   scale        digits behind the point, 0 to 28
//
// The scale is part of the value: 1.50 and 1.5 are the same amount and two different texts. Nothing
// here goes through binary floating point.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/json/runtime_error.h"

namespace vnq {

class Decimal {
 public:
  static constexpr int kMaxScale = 28;

  /// Zero, scale 0.
  Decimal() = default;

  /// Reads a whole text as a number: an optional sign, digits, an optional point with digits, an
  /// optional exponent ("e" or "E", an optional sign, digits). Digits may be missing on one side of
  /// the point.
  ///
  /// The scale is the number of digits written behind the point less the exponent, at least 0. A
  /// longer fraction is rounded half to even, once: to 28 digits behind the point, or to as many
  /// as the coefficient has room for. A zero has no sign.
  ///
  /// kTypeMismatch: the text is no number. kOverflow: the amount is beyond the coefficient at scale
  /// 0. After a failure `result` is as it was. Linear in the length of the text, whatever it holds.
  static RuntimeError Parse(std::string_view text, Decimal& result);

  /// Decimal text without an exponent, always with "." and a digit on both sides of it: "-0.50",
  /// "7".
  std::string ToText() const;

  bool IsNegative() const { return negative_; }
  int Scale() const { return scale_; }

  /// Same sign, coefficient and scale: 1.50 is not 1.5.
  bool operator==(const Decimal&) const = default;

 private:
  uint32_t high_ = 0;  // the coefficient, 32 bits each
  uint32_t middle_ = 0;
  uint32_t low_ = 0;
  uint8_t scale_ = 0;
  bool negative_ = false;
};

}  // namespace vnq
