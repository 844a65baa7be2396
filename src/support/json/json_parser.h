// The routines of the JSON reader. For its use see json.h; nothing else includes this header.
//
//   value   object | array | string | "true" | "false" | "null" | number     by its first character
//   object  "{" { "," | key value } "}"
//   array   "[" { "," | value } "]"
//   key     quoted ":" | bare ":"
//
// with what skipChar skips in front of each of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/json/json_value.h"
#include "support/json/string_builder.h"

namespace vnq {

class JsonParser {
 public:
  /// The text must outlive the parser. At most kMaxCharacters.
  explicit JsonParser(std::u16string_view text) : text_(text) {}

  /// What the sizes of a string builder allow for.
  static constexpr size_t kMaxCharacters = 1'000'000'000;

  /// Messages so far, each with a CR LF behind it.
  std::u16string Errors() const { return errors_.toString(); }

  // The position `index` is 1-based and counts 16-bit characters; one behind the last is the end of
  // the text. Each routine reads from it and leaves it behind what it read.

  /// Moves over white space, parentheses and comments.
  ///
  /// A comment opens at the second of two marks, "//" or "/*", and closes at a line end or "*/". A
  /// single mark is skipped, and blanks between two marks do not part them.
  void skipChar(size_t& index) const;

  /// One value of any kind. Empty when it failed. A step over one character follows a value of
  /// which nothing could be read.
  JsonValue parseValue(size_t& index);

  /// A dictionary or a collection; an empty one and a message when no brace or bracket comes first.
  JsonValue parseObject(size_t& index);
  JsonValue parseArray(size_t& index);

  /// A key and its colon. A key that does not fit leaves a message and is used as far as it was
  /// read.
  std::u16string parseKey(size_t& index);

  /// A string in the quotes of its first character; the end of the text ends it too.
  std::u16string parseString(size_t& index);

  /// The longest run of characters that numbers are made of, as a number.
  RuntimeError parseNumber(size_t& index, Decimal& number);

  /// true, false or null; a message, an empty value and no move when the word is another.
  JsonValue parseBoolean(size_t& index);
  JsonValue parseNull(size_t& index);

 private:
  // An object whose end was not read yet.
  struct Open {
    JsonValue object;
    std::u16string key;  // of the value that is being read, in a dictionary

    bool IsDictionary() const { return object.kind() == JsonValue::Kind::kDictionary; }
  };

  bool AtEnd(size_t index) const { return index > text_.size(); }
  char16_t At(size_t index) const { return AtEnd(index) ? u'\0' : text_[index - 1]; }
  bool StartsObject(size_t index) const { return At(index) == u'{' || At(index) == u'['; }
  std::u16string_view Rest(size_t index) const;
  std::u16string_view Next20(size_t index) const { return Rest(index).substr(0, 20); }
  std::u16string_view Last20() const;

  JsonValue ParseNested(size_t& index);
  void ReadNext(size_t& index);
  void ReadMember(size_t& index);
  void OpenObject(size_t& index);
  JsonValue CloseObject();
  void Add(JsonValue value, size_t index);
  RuntimeError ParseScalar(size_t& index, JsonValue& value);

  std::u16string ParseQuotedKey(size_t& index);
  std::u16string ParseBareKey(size_t& index);
  void ReadEscape(size_t& index);

  void Complain(std::u16string_view message);
  void ComplainAt(std::u16string_view what, size_t index, std::u16string_view text);
  void ComplainOfAdd(RuntimeError error, size_t index);

  std::u16string_view text_;
  std::vector<Open> open_;
  JsonValue closed_;  // the outermost object, once it is closed
  cStringBuilder collected_;
  cStringBuilder errors_;
  bool errorsLeftOut_ = false;
};

}  // namespace vnq
