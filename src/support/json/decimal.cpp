#include "support/json/decimal.h"

#include <algorithm>

namespace vnq {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr Wide kMaxCoefficient = (Wide{1} << 96) - 1;
constexpr int64_t kMaxDigits = 29;  // of the largest coefficient

// Beyond this an exponent decides the outcome alone, whatever digits a text can hold.
constexpr int64_t kExponentBound = int64_t{1} << 60;

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// A number as written: +-digits * 10^exponent, the digits without leading zeros.
struct Written {
  bool negative = false;
  std::string digits;
  int64_t exponent = 0;
};

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool AtEnd() const { return at_ == text_.size(); }

  bool Take(char c) {
    if (AtEnd() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  // True for a minus.
  bool TakeSign() {
    const bool minus = Take('-');
    if (!minus) Take('+');
    return minus;
  }

  std::string_view TakeDigits() {
    const size_t start = at_;
    while (!AtEnd() && IsDigit(text_[at_])) ++at_;
    return text_.substr(start, at_ - start);
  }

 private:
  std::string_view text_;
  size_t at_ = 0;
};

int64_t BoundedInteger(std::string_view digits) {
  int64_t value = 0;
  for (char c : digits) value = std::min(value * 10 + (c - '0'), kExponentBound / 16);
  return value;
}

bool ReadExponent(Scanner& scanner, int64_t& exponent) {
  if (!scanner.Take('e') && !scanner.Take('E')) return true;
  const bool negative = scanner.TakeSign();
  const std::string_view digits = scanner.TakeDigits();
  const int64_t size = BoundedInteger(digits);
  exponent = negative ? -size : size;
  return !digits.empty();
}

bool Read(std::string_view text, Written& number) {
  Scanner scanner(text);
  number.negative = scanner.TakeSign();
  const std::string_view whole = scanner.TakeDigits();
  const std::string_view fraction = scanner.Take('.') ? scanner.TakeDigits() : "";
  if (whole.empty() && fraction.empty()) return false;
  if (!ReadExponent(scanner, number.exponent) || !scanner.AtEnd()) return false;

  number.digits.append(whole).append(fraction);
  number.digits.erase(0, number.digits.find_first_not_of('0'));
  number.exponent -= static_cast<int64_t>(fraction.size());
  return true;
}

Wide ToCoefficient(std::string_view digits) {
  Wide value = 0;
  for (char c : digits) value = value * 10 + static_cast<unsigned>(c - '0');
  return value;
}

// Whether digits cut behind the first `kept` ones round up, half to even.
bool RoundsUp(std::string_view digits, size_t kept) {
  const char first = digits[kept];
  if (first != '5') return first > '5';
  if (digits.find_first_not_of('0', kept + 1) != std::string_view::npos) return true;
  return kept > 0 && (digits[kept - 1] - '0') % 2 == 1;
}

// The digits less the last `dropped`, rounded. At most kMaxDigits may be left.
Wide Rounded(std::string_view digits, int64_t dropped) {
  if (dropped == 0) return ToCoefficient(digits);
  if (dropped > static_cast<int64_t>(digits.size())) return 0;
  const size_t kept = digits.size() - static_cast<size_t>(dropped);
  return ToCoefficient(digits.substr(0, kept)) + (RoundsUp(digits, kept) ? 1U : 0U);
}

// A number with an exponent of 0 or more: whole, scale 0.
RuntimeError FitWhole(const Written& number, Wide& coefficient) {
  if (number.digits.empty()) return RuntimeError::kNone;
  const int64_t length = static_cast<int64_t>(number.digits.size()) + number.exponent;
  if (length > kMaxDigits) return RuntimeError::kOverflow;
  coefficient = ToCoefficient(number.digits);
  for (int64_t i = 0; i < number.exponent; ++i) coefficient *= 10;
  return coefficient > kMaxCoefficient ? RuntimeError::kOverflow : RuntimeError::kNone;
}

// A number with a fraction: as much of it as scale and coefficient hold.
RuntimeError FitFraction(const Written& number, Wide& coefficient, int64_t& scale) {
  scale = -number.exponent;
  const int64_t length = static_cast<int64_t>(number.digits.size());
  int64_t dropped = std::max({int64_t{0}, scale - Decimal::kMaxScale, length - kMaxDigits});
  // The dropped digits are always taken from the number as written: rounding twice would not be
  // exact.
  for (; dropped <= scale; ++dropped) {
    coefficient = Rounded(number.digits, dropped);
    if (coefficient <= kMaxCoefficient) break;
  }
  scale -= dropped;
  return scale < 0 ? RuntimeError::kOverflow : RuntimeError::kNone;
}

}  // namespace

RuntimeError Decimal::Parse(std::string_view text, Decimal& result) {
  Written number;
  if (!Read(text, number)) return RuntimeError::kTypeMismatch;

  Wide coefficient = 0;
  int64_t scale = 0;
  const RuntimeError error = number.exponent >= 0 ? FitWhole(number, coefficient)
                                                  : FitFraction(number, coefficient, scale);
  if (error != RuntimeError::kNone) return error;

  result.high_ = static_cast<uint32_t>(coefficient >> 64);
  result.middle_ = static_cast<uint32_t>(coefficient >> 32);
  result.low_ = static_cast<uint32_t>(coefficient);
  result.scale_ = static_cast<uint8_t>(scale);
  result.negative_ = number.negative && coefficient != 0;
  return RuntimeError::kNone;
}

std::string Decimal::ToText() const {
  Wide rest = Wide{high_} << 64 | Wide{middle_} << 32 | low_;
  std::string text;  // from the last digit to the first
  for (int digit = 0; rest != 0 || digit <= scale_; ++digit) {
    if (digit == scale_ && digit > 0) text += '.';
    text += static_cast<char>('0' + static_cast<int>(rest % 10));
    rest /= 10;
  }
  if (negative_) text += '-';
  std::reverse(text.begin(), text.end());
  return text;
}

}  // namespace vnq
