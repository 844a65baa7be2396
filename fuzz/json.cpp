// The JSON reader and the script evaluator on arbitrary bytes.
//
// Besides crashes it looks for broken promises: what was read must be written as JSON that reads
// back as the same value without errors.

#include "support/json/json.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/json/json_script.h"
#include "support/json/json_writer.h"

namespace {

// Keys have no escapes, so the written form of a key with one is another key when it is read.
bool HasEscape(std::string_view text) {
  return text.find('\\') != std::string_view::npos;
}

void Require(bool promise) {
  if (!promise) std::abort();
}

void CheckReadingBack(const vnq::JsonValue& value) {
  const std::string written = vnq::WriteJson(value);
  if (HasEscape(written)) return;
  vnq::JSON json;
  const auto again = json.parse(written);
  Require(again.has_value() && json.GetParserErrors().empty());
  Require(vnq::WriteJson(*again) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  vnq::JSON json;
  const auto value = json.parse(text);
  Require(value.has_value() || json.GetParserErrors() == "Invalid JSON");
  if (value) CheckReadingBack(*value);

  vnq::cJSONScript script(nullptr);
  script.Eval(text);
  if (value) script.ExecCommand(*value);
  return 0;
}
