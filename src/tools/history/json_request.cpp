#include "tools/history/json_request.h"

#include "support/json/json.h"
#include "support/numbers.h"

namespace vnq {

JsonRequest::JsonRequest(std::string_view line) {
  JSON json;
  whole_ = json.parse(line);
  if (whole_ && json.GetParserErrors().empty()) values_ = whole_->AsDictionary();
}

const JsonValue* JsonRequest::Find(std::string_view key) const {
  return values_ == nullptr ? nullptr : values_->Find(key);
}

std::string JsonRequest::Text(std::string_view key) const {
  const JsonValue* value = Find(key);
  return value != nullptr && value->AsText() != nullptr ? *value->AsText() : "";
}

bool JsonRequest::Flag(std::string_view key) const {
  const JsonValue* value = Find(key);
  return value != nullptr && value->AsBoolean() != nullptr && *value->AsBoolean();
}

std::optional<int32_t> JsonRequest::Number(std::string_view key) const {
  const JsonValue* value = Find(key);
  if (value == nullptr || value->AsNumber() == nullptr) return std::nullopt;
  return ParseInt32(value->AsNumber()->ToText());
}

}  // namespace vnq
