// What the tests of the JSON reader look at.
#pragma once

#include <string>
#include <string_view>

#include "support/json/json.h"
#include "support/json/json_writer.h"

namespace vnq {

struct JsonReading {
  std::string value;  // compact JSON; "nothing" when nothing came back
  std::string errors;
};

inline JsonReading ReadJson(std::string_view text) {
  JSON json;
  const std::optional<JsonValue> value = json.parse(text);
  return {value ? WriteJson(*value) : "nothing", json.GetParserErrors()};
}

/// The value of a text that must be read without errors; the errors otherwise.
inline std::string Parsed(std::string_view text) {
  const JsonReading reading = ReadJson(text);
  return reading.errors.empty() ? reading.value : "errors: " + reading.errors;
}

inline std::string Repeated(std::string_view text, size_t times) {
  std::string result;
  for (size_t i = 0; i < times; ++i) result += text;
  return result;
}

}  // namespace vnq
