// The failure convention in one type.
//
// "A failing statement is skipped and the next one runs": an Expr is the value of an expression
// that may have failed to come about. Joining a failed value with others fails too; a statement
// that is given a failed value does nothing; an assignment from one leaves its variable as it was;
// a test on one counts as not fulfilled. So a handler is a list of plain steps, without a guard
// around each.
//
//   the step                          is written
//   variable = value                  Assign(variable, value)
//   variable = variable & value       Append(variable, value)
//   Split(value, ",")                 SplitField(value, ","), Fields::Of(value)       (fields.h)
//   Routine(value, id)                if (Skips("Routine", value, id)) return;        first in it
//   Function(value), in a join        Map(value, Function)
//   a value whose failure says no     OrEmpty(value)
//   more than an empty text
//
// All but the last two note the skip (skipped.h).
#pragma once

#include <cassert>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace vnq {

/// A text, a database NULL, or a failure. Numbers travel as decimal text and are converted where
/// they are used.
class Expr {
 public:
  /// A failed value.
  Expr() = default;

  Expr(std::string text)
      : kind_(Kind::kText), text_(std::move(text)) {}       // NOLINT: texts are values
  Expr(std::string_view text) : Expr(std::string(text)) {}  // NOLINT
  Expr(const char* text) : Expr(std::string(text)) {}       // NOLINT
  template <typename Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
  Expr(Integer number) : Expr(std::to_string(number)) {}  // NOLINT

  static Expr Failed() { return {}; }
  static Expr Null() {
    Expr null;
    null.kind_ = Kind::kNull;
    return null;
  }

  bool ok() const { return kind_ != Kind::kFailed; }
  bool IsNull() const { return kind_ == Kind::kNull; }

  /// The text; empty for NULL. A failed value has none: who may hold one asks by another way, see
  /// above.
  const std::string& text() const {
    assert(ok());
    return text_;
  }

 private:
  enum class Kind { kFailed, kNull, kText };
  Kind kind_ = Kind::kFailed;
  std::string text_;
};

/// Appends one part of a join, without a copy of a text. False: it has failed.
template <typename Part>
bool AppendPart(std::string& joined, const Part& part) {
  if constexpr (std::is_same_v<Part, Expr>) {
    if (part.ok()) joined += part.text();
    return part.ok();
  } else if constexpr (std::is_integral_v<Part>) {
    joined += std::to_string(part);
  } else {
    joined += std::string_view(part);
  }
  return true;
}

/// About how many bytes a part of a join has.
template <typename Part>
size_t PartSize(const Part& part) {
  if constexpr (std::is_same_v<Part, Expr>) {
    return part.ok() ? part.text().size() : 0;
  } else if constexpr (std::is_integral_v<Part>) {
    return 3 * sizeof(Part);
  } else {
    return std::string_view(part).size();
  }
}

/// The parts as one text. NULL joins as the empty text; a failed part fails the whole.
template <typename... Parts>
Expr Join(const Parts&... parts) {
  std::string joined;
  joined.reserve((0 + ... + PartSize(parts)));
  const bool ok = (... && AppendPart(joined, parts));
  return ok ? Expr(std::move(joined)) : Expr::Failed();
}

/// The text; empty for NULL and, without a word, for a failed value.
std::string OrEmpty(const Expr& value);

/// function(text of the value), NULL being the empty text; a failed value stays failed.
template <typename Function>
Expr Map(const Expr& value, Function&& function) {
  if (!value.ok()) return Expr::Failed();
  return Expr(std::forward<Function>(function)(value.text()));
}

/// Number conversions. NULL and failed values are no numbers.
std::optional<int16_t> ToInt16(const Expr& value);
std::optional<int32_t> ToInt32(const Expr& value);
std::optional<double> ToNumber(const Expr& value);

/// The longest leading number, 0 when there is none; nothing only for a failed value.
std::optional<double> PrefixNumber(const Expr& value);

/// value + step as decimal text: NULL stays NULL, what is no 32-bit number fails.
Expr Plus(const Expr& value, int32_t step);

/// The text without blanks at both ends.
Expr Trim(const Expr& value);

/// Tests. Both are false when the value failed: a test whose operand failed is not fulfilled,
/// whichever way it asks. NULL compares as no text at all, so both are false for it too.
bool Is(const Expr& value, std::string_view text);
bool IsNot(const Expr& value, std::string_view text);

/// Is() of two values: false, too, when the other one failed or is NULL.
bool Same(const Expr& value, const Expr& other);

/// The statement `variable = value`. Skipped, the variable as it was, when the value failed or is
/// NULL.
bool Assign(std::string& variable, const Expr& value);
bool Assign(int16_t& variable, std::optional<int16_t> value);
bool Assign(int32_t& variable, std::optional<int32_t> value);
bool Assign(double& variable, std::optional<double> value);
bool Assign(bool& variable, std::optional<bool> value);

/// The statement `variable = variable & value`. NULL adds nothing; skipped when the value failed.
bool Append(std::string& variable, const Expr& value);

/// Notes that `statement` is skipped because one of its values failed.
void NoteFailedValue(std::string_view statement);

/// The start of a routine that cannot run on a failed value: true, and the skip is noted, when one
/// of the values failed.
template <typename... Values>
bool Skips(std::string_view statement, const Values&... values) {
  if ((... && values.ok())) return false;
  NoteFailedValue(statement);
  return true;
}

}  // namespace vnq
