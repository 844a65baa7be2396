#include "support/json/json.h"

#include "support/json/json_parser.h"
#include "support/json/runtime_error.h"
#include "support/utf16.h"

namespace vnq {

std::optional<JsonValue> JSON::parse(std::string_view text) {
  const std::u16string wide = Utf8ToUtf16(text);
  if (wide.size() > JsonParser::kMaxCharacters) {
    parserErrors_ = Description(RuntimeError::kOverflow);
    return std::nullopt;
  }
  JsonParser parser(wide);
  size_t index = 1;
  parser.skipChar(index);
  const char16_t first = index > wide.size() ? u'\0' : wide[index - 1];
  if (first != u'{' && first != u'[') {
    parserErrors_ = "Invalid JSON";
    return std::nullopt;
  }
  JsonValue value = first == u'{' ? parser.parseObject(index) : parser.parseArray(index);
  parserErrors_ = Utf16ToUtf8(parser.Errors());
  return value;
}

}  // namespace vnq
