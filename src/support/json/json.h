// A forgiving JSON reader.
//
// It reads what RFC 8259 allows as an object or an array, and more:
//
//   - strings and keys in single quotes
//   - keys without quotes; blanks, tabs and line ends are dropped from those
//   - line comments ("//" to the end of the line) and long ones (between a slash with a star and a
//     star with a slash)
//   - "(" and ")" as white space, so that a value wrapped into a call is read
//   - commas too many, at the end or missing
//   - numbers with a "+", leading zeros or a point at either end
//   - anything behind the value
//
// It reads less in a few places: keys have no escapes, a number must fit a Decimal, a scalar is no
// document. Errors do not stop it: they are collected as text, and the reader goes on where it
// stands.
//
//   JSON json;
//   std::optional<JsonValue> value = json.parse("{a: [1, 2.50]}");
//   if (!json.GetParserErrors().empty()) ...
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "support/json/json_value.h"

namespace vnq {

class JSON {
 public:
  /// Reads a text that begins with an object or an array, white space and comments skipped. Gives
  /// the dictionary or the collection, after errors with what could be read; nothing when the text
  /// begins with anything else.
  ///
  /// Time and memory are linear in the length of the text. The stack does not grow with the
  /// nesting, and a nesting of more than kMaxNesting levels is an error that ends the reading.
  std::optional<JsonValue> parse(std::string_view text);

  /// The errors of the last parse, empty after a success: "Invalid JSON" when the text begins with
  /// no object or array, else messages that end in CR LF each. Positions in them are 1-based and
  /// count 16-bit characters. Behind about a million characters of them the rest is left out, and
  /// the last message says so.
  const std::string& GetParserErrors() const { return parserErrors_; }

  static constexpr size_t kMaxNesting = 20000;

 private:
  std::string parserErrors_;
};

}  // namespace vnq
