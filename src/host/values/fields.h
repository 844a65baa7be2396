// The fields of one record.
//
//   .+command|field1|field2|...|#
//
// Element 0 is the command with its prefix, element 1 the first field; the closing "#" is an
// element like any other. A command works on its record's own array: what one step changes, the
// next one reads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/values/expr.h"

namespace vnq {

/// Splits a text on a separator; the empty text gives no element.
std::vector<std::string> SplitText(std::string_view text, std::string_view separator);

/// The statement `list = Split(value, separator)`: no element, and noted as skipped, for a failed
/// value.
std::vector<std::string> SplitField(const Expr& value, std::string_view separator);

class Fields {
 public:
  Fields() = default;

  /// The elements of a record's text.
  static Fields Split(std::string_view record, std::string_view separator = "|");

  /// The same of a record that was joined, or of one field with a separator of its own: no element,
  /// and noted as skipped, for a failed value.
  static Fields Of(const Expr& value, std::string_view separator = "|");

  /// Element `field`; failed beyond the end.
  Expr operator[](size_t field) const;

  /// The statement `fields[field] = value`. Skipped beyond the end and for a failed value; NULL is
  /// the empty text.
  bool Set(size_t field, const Expr& value);

  /// Lengthens or shortens the array to `count` elements, keeping what it holds; new elements are
  /// empty.
  void Resize(size_t count);

  size_t size() const { return elements_.size(); }

  /// The last element's index, -1 for an empty array.
  int last() const { return static_cast<int>(elements_.size()) - 1; }

 private:
  // Where an element stands in the text. A record of nothing but separators has as many elements as
  // characters, so they take little each.
  struct Element {
    uint32_t begin = 0, length = 0;
  };

  void Take(std::string_view text, std::string_view separator);
  std::string_view At(size_t field) const;

  std::string text_;  // of the record, and behind it what was set
  std::vector<Element> elements_;
};

}  // namespace vnq
