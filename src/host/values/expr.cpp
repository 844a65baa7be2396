#include "host/values/expr.h"

#include "host/values/skipped.h"
#include "support/numbers.h"
#include "support/trim.h"

namespace vnq {
namespace {

bool HasText(const Expr& value) {
  return value.ok() && !value.IsNull();
}

template <typename T>
bool AssignNumber(T& variable, std::optional<T> value) {
  if (!value) {
    NoteSkipped("assignment", "no number");
    return false;
  }
  variable = *value;
  return true;
}

}  // namespace

std::string OrEmpty(const Expr& value) {
  return value.ok() ? value.text() : std::string();
}

std::optional<int16_t> ToInt16(const Expr& value) {
  return HasText(value) ? ParseInt16(value.text()) : std::nullopt;
}

std::optional<int32_t> ToInt32(const Expr& value) {
  return HasText(value) ? ParseInt32(value.text()) : std::nullopt;
}

std::optional<double> ToNumber(const Expr& value) {
  return HasText(value) ? ParseNumber(value.text()) : std::nullopt;
}

std::optional<double> PrefixNumber(const Expr& value) {
  if (!value.ok()) return std::nullopt;
  return ParsePrefixNumber(value.text());
}

Expr Plus(const Expr& value, int32_t step) {
  if (value.IsNull()) return Expr::Null();
  auto number = ToInt32(value);
  if (!number) return Expr::Failed();
  return Expr(int64_t{*number} + step);
}

Expr Trim(const Expr& value) {
  return HasText(value) ? Expr(std::string(TrimBlanks(value.text(), " "))) : value;
}

bool Is(const Expr& value, std::string_view text) {
  return HasText(value) && value.text() == text;
}

bool IsNot(const Expr& value, std::string_view text) {
  return HasText(value) && value.text() != text;
}

bool Same(const Expr& value, const Expr& other) {
  return HasText(other) && Is(value, other.text());
}

bool Assign(std::string& variable, const Expr& value) {
  if (!HasText(value)) {
    NoteSkipped("assignment", value.IsNull() ? "NULL" : "failed value");
    return false;
  }
  variable = value.text();
  return true;
}

bool Assign(int16_t& variable, std::optional<int16_t> value) {
  return AssignNumber(variable, value);
}
bool Assign(int32_t& variable, std::optional<int32_t> value) {
  return AssignNumber(variable, value);
}
bool Assign(double& variable, std::optional<double> value) {
  return AssignNumber(variable, value);
}
bool Assign(bool& variable, std::optional<bool> value) {
  return AssignNumber(variable, value);
}

bool Append(std::string& variable, const Expr& value) {
  if (Skips("append", value)) return false;
  variable += value.text();
  return true;
}

void NoteFailedValue(std::string_view statement) {
  NoteSkipped(statement, "failed value");
}

}  // namespace vnq
