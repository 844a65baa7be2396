// A request of another program: one JSON object, its values by their keys.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "support/json/json_value.h"

namespace vnq {

class JsonRequest {
 public:
  /// What is no JSON object is a request without values.
  explicit JsonRequest(std::string_view line);
  explicit JsonRequest(const JsonDictionary* values) : values_(values) {}

  JsonRequest(const JsonRequest&) = delete;
  JsonRequest& operator=(const JsonRequest&) = delete;

  bool isObject() const { return values_ != nullptr; }

  /// Null when there is no such key.
  const JsonValue* Find(std::string_view key) const;

  /// Empty when there is no such text.
  std::string Text(std::string_view key) const;
  bool Flag(std::string_view key) const;

  /// Nothing when there is no such whole number.
  std::optional<int32_t> Number(std::string_view key) const;

 private:
  std::optional<JsonValue> whole_;
  const JsonDictionary* values_ = nullptr;
};

}  // namespace vnq
