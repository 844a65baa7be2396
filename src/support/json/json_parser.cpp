#include "support/json/json_parser.h"

#include <memory>

#include "support/json/json.h"
#include "support/utf16.h"

namespace vnq {
namespace {

// A message may hold the rest of the text. Without a bound a text of n errors would lead to n * n
// characters.
constexpr int32_t kErrorBound = 1 << 20;

bool IsNumberCharacter(char16_t c) {
  return std::u16string_view(u"+-0123456789.eE").find(c) != std::u16string_view::npos;
}

bool IsQuote(char16_t c) {
  return c == u'"' || c == u'\'';
}

bool IsDroppedFromBareKey(char16_t c) {
  return c == u'\r' || c == u'\n' || c == u'\t' || c == u' ';
}

// The value of a hexadecimal digit, 16 for any other character.
unsigned HexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - unsigned{u'0'};
  if (c >= u'a' && c <= u'f') return c - unsigned{u'a'} + 10;
  if (c >= u'A' && c <= u'F') return c - unsigned{u'A'} + 10;
  return 16;
}

// Reads the digits of "\u1234"; false when four are not there.
bool ReadHexDigits(std::u16string_view text, char16_t& character) {
  if (text.size() < 4) return false;
  unsigned code = 0;
  for (char16_t c : text.substr(0, 4)) {
    if (HexDigit(c) == 16) return false;
    code = code << 4 | HexDigit(c);
  }
  character = static_cast<char16_t>(code);
  return true;
}

// What a character behind a backslash stands for; empty for an unknown one.
std::u16string_view Unescaped(char16_t c) {
  static constexpr std::u16string_view kNames = u"\"\\/'bfnrt";
  static constexpr std::u16string_view kCharacters = u"\"\\/'\b\f\n\r\t";
  const size_t place = kNames.find(c);
  return place == std::u16string_view::npos ? std::u16string_view() : kCharacters.substr(place, 1);
}

// The state of skipChar while it passes over a text.
struct CommentState {
  bool comment = false;
  bool markSeen = false;
  bool longComment = false;

  void PassLineEnd() {
    if (!longComment) comment = markSeen = false;
  }

  void PassSlash() {
    const bool first = !markSeen;
    if (longComment && first) return;
    // The end of a long comment, the second mark of a line comment, or a first mark.
    comment = !longComment && !first;
    markSeen = !longComment && first;
    longComment = false;
  }

  void PassStar() {
    if (markSeen) comment = longComment = true;
    markSeen = !markSeen;
  }
};

}  // namespace

void JsonParser::skipChar(size_t& index) const {
  CommentState state;
  for (; !AtEnd(index); ++index) {
    switch (At(index)) {
      case u'\r':
      case u'\n':
        state.PassLineEnd();
        break;
      case u'\t':
      case u' ':
      case u'(':
      case u')':
        break;
      case u'/':
        state.PassSlash();
        break;
      case u'*':
        state.PassStar();
        break;
      default:
        if (!state.comment) return;
    }
  }
}

std::u16string_view JsonParser::Rest(size_t index) const {
  return AtEnd(index) ? std::u16string_view() : text_.substr(index - 1);
}

std::u16string_view JsonParser::Last20() const {
  return text_.size() <= 20 ? text_ : text_.substr(text_.size() - 20);
}

JsonValue JsonParser::parseValue(size_t& index) {
  skipChar(index);
  if (StartsObject(index)) return ParseNested(index);
  const size_t start = index;
  JsonValue value;
  const RuntimeError error = ParseScalar(index, value);
  if (error != RuntimeError::kNone) ComplainOfAdd(error, index);
  if (index == start && !AtEnd(index)) ++index;
  return value;
}

JsonValue JsonParser::parseObject(size_t& index) {
  skipChar(index);
  if (At(index) == u'{') return ParseNested(index);
  ComplainAt(u"Invalid Object", index, Rest(index));
  return JsonValue(std::make_unique<JsonDictionary>());
}

JsonValue JsonParser::parseArray(size_t& index) {
  skipChar(index);
  if (At(index) == u'[') return ParseNested(index);
  ComplainAt(u"Invalid Array", index, Next20(index));
  return JsonValue(std::make_unique<JsonCollection>());
}

// Objects inside objects are kept on a list of their own, so that a deep text needs no deep stack.
JsonValue JsonParser::ParseNested(size_t& index) {
  OpenObject(index);
  while (!open_.empty()) ReadNext(index);
  return std::move(closed_);
}

void JsonParser::OpenObject(size_t& index) {
  if (open_.size() == JSON::kMaxNesting) {
    ComplainAt(u"Nesting too deep", index, Next20(index));
    while (!open_.empty()) Add(CloseObject(), index);
    index = text_.size() + 1;
    return;
  }
  const bool dictionary = At(index) == u'{';
  open_.push_back({dictionary ? JsonValue(std::make_unique<JsonDictionary>())
                              : JsonValue(std::make_unique<JsonCollection>()),
                   {}});
  ++index;
}

JsonValue JsonParser::CloseObject() {
  JsonValue object = std::move(open_.back().object);
  open_.pop_back();
  return object;
}

void JsonParser::ReadNext(size_t& index) {
  skipChar(index);
  const bool dictionary = open_.back().IsDictionary();
  if (AtEnd(index)) {
    Complain(std::u16string(dictionary ? u"Missing '}': " : u"Missing ']': ").append(Last20()));
    Add(CloseObject(), index);
  } else if (At(index) == (dictionary ? u'}' : u']')) {
    ++index;
    Add(CloseObject(), index);
  } else if (At(index) == u',') {
    ++index;
  } else {
    ReadMember(index);
  }
}

void JsonParser::ReadMember(size_t& index) {
  if (open_.back().IsDictionary()) open_.back().key = parseKey(index);
  skipChar(index);
  if (StartsObject(index)) {
    OpenObject(index);
    return;
  }
  const size_t start = index;
  JsonValue value;
  const RuntimeError error = ParseScalar(index, value);
  if (error == RuntimeError::kNone) {
    Add(std::move(value), index);
  } else {
    ComplainOfAdd(error, index);
  }
  // A value of which nothing could be read must not be met again.
  if (index == start && !AtEnd(index)) ++index;
}

// Puts a value into the object that is open, or ends the parse with it.
void JsonParser::Add(JsonValue value, size_t index) {
  if (open_.empty()) {
    closed_ = std::move(value);
    return;
  }
  Open& top = open_.back();
  if (JsonDictionary* dictionary = top.object.AsDictionary()) {
    const RuntimeError error = dictionary->Add(Utf16ToUtf8(top.key), std::move(value));
    if (error != RuntimeError::kNone) ComplainOfAdd(error, index);
  } else {
    top.object.AsCollection()->Add(std::move(value));
  }
}

RuntimeError JsonParser::ParseScalar(size_t& index, JsonValue& value) {
  switch (At(index)) {
    case u'"':
    case u'\'':
      value = JsonValue(Utf16ToUtf8(parseString(index)));
      return RuntimeError::kNone;
    case u't':
    case u'f':
      value = parseBoolean(index);
      return RuntimeError::kNone;
    case u'n':
      value = parseNull(index);
      return RuntimeError::kNone;
    default: {
      Decimal number;
      const RuntimeError error = parseNumber(index, number);
      if (error == RuntimeError::kNone) value = JsonValue(number);
      return error;
    }
  }
}

std::u16string JsonParser::parseKey(size_t& index) {
  skipChar(index);
  return IsQuote(At(index)) ? ParseQuotedKey(index) : ParseBareKey(index);
}

std::u16string JsonParser::ParseQuotedKey(size_t& index) {
  const size_t start = index + 1;
  const size_t close = text_.find(At(index), start - 1);  // 0-based
  std::u16string key(text_.substr(start - 1, close - (start - 1)));
  index = close == std::u16string_view::npos ? text_.size() + 1 : close + 2;
  skipChar(index);
  if (At(index) == u':') {
    ++index;
  } else {
    ComplainAt(u"Invalid Key", index, key);
  }
  return key;
}

std::u16string JsonParser::ParseBareKey(size_t& index) {
  std::u16string key;
  for (; !AtEnd(index) && At(index) != u':'; ++index) {
    if (!IsDroppedFromBareKey(At(index))) key += At(index);
  }
  if (AtEnd(index)) {
    ComplainAt(u"Invalid Key", index, key);
  } else {
    ++index;
  }
  return key;
}

std::u16string JsonParser::parseString(size_t& index) {
  const char16_t stops[] = {At(index), u'\\'};
  collected_.Remove(0, collected_.Length());
  ++index;
  while (!AtEnd(index)) {
    const std::u16string_view run =
        Rest(index).substr(0, Rest(index).find_first_of(std::u16string_view(stops, 2)));
    collected_.Append(run);
    index += run.size();
    if (AtEnd(index)) break;
    const bool ends = At(index) == stops[0];
    ++index;
    if (ends) break;
    ReadEscape(index);
  }
  return collected_.toString();
}

// Reads what follows a backslash. An escape that is unknown is dropped.
void JsonParser::ReadEscape(size_t& index) {
  if (AtEnd(index)) return;
  const char16_t name = At(index);
  ++index;
  char16_t character = 0;
  if (name != u'u') {
    collected_.Append(Unescaped(name));
  } else if (ReadHexDigits(Rest(index), character)) {
    collected_.Append({&character, 1});
    index += 4;
  }
}

RuntimeError JsonParser::parseNumber(size_t& index, Decimal& number) {
  std::string characters;
  for (; !AtEnd(index) && IsNumberCharacter(At(index)); ++index) {
    characters += static_cast<char>(At(index));
  }
  return Decimal::Parse(characters, number);
}

JsonValue JsonParser::parseBoolean(size_t& index) {
  const bool isTrue = Rest(index).starts_with(u"true");
  if (isTrue || Rest(index).starts_with(u"false")) {
    index += isTrue ? 4 : 5;
    return JsonValue(isTrue);
  }
  ComplainAt(u"Invalid Boolean", index, Rest(index));
  return {};
}

JsonValue JsonParser::parseNull(size_t& index) {
  if (Rest(index).starts_with(u"null")) {
    index += 4;
    return JsonValue::Null();
  }
  ComplainAt(u"Invalid null value", index, Rest(index));
  return {};
}

void JsonParser::Complain(std::u16string_view message) {
  if (errors_.Length() < kErrorBound) {
    errors_.AppendNL(message);
  } else if (!errorsLeftOut_) {
    errors_.AppendNL(u"Further errors are left out.");
    errorsLeftOut_ = true;
  }
}

void JsonParser::ComplainAt(std::u16string_view what, size_t index, std::u16string_view text) {
  std::u16string message(what);
  message.append(u" at position ").append(Utf8ToUtf16(std::to_string(index))).append(u" : ");
  // Behind the bound only the fact counts; the text may be long.
  if (errors_.Length() < kErrorBound) message.append(text);
  Complain(message);
}

// What a value could not be added for: told by its key in a dictionary, by what comes next
// elsewhere.
void JsonParser::ComplainOfAdd(RuntimeError error, size_t index) {
  const bool keyed = !open_.empty() && open_.back().IsDictionary();
  std::u16string_view place = Next20(index);
  if (keyed) place = open_.back().key;
  std::u16string message = Utf8ToUtf16(Description(error));
  Complain(message.append(u": ").append(place));
}

}  // namespace vnq
