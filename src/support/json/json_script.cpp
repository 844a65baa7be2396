#include "support/json/json_script.h"

#include <functional>
#include <optional>
#include <utility>

#include "support/json/json.h"
#include "support/json/letter_case.h"
#include "support/json/string_builder.h"
#include "support/utf16.h"

namespace vnq {
namespace {

constexpr int32_t kMaxLevel = 40;

// Most values are short, and each has a builder of its own.
constexpr int32_t kChunkCharacters = 64;

std::string Lower(std::string_view text) {
  return Utf16ToUtf8(LowerCase(Utf8ToUtf16(text)));
}
std::string Upper(std::string_view text) {
  return Utf16ToUtf8(UpperCase(Utf8ToUtf16(text)));
}

// A value as it is written, nothing in it carried out. Empty values and objects have no text.
std::string TextOf(const JsonValue& value) {
  if (value.AsText() != nullptr) return *value.AsText();
  if (value.AsNumber() != nullptr) return value.AsNumber()->ToText();
  if (value.AsBoolean() != nullptr) return *value.AsBoolean() ? "true" : "false";
  return value.kind() == JsonValue::Kind::kNull ? "null" : "";
}

// An argument as it is written. An object has no text, so it names no variable and equals no case.
std::optional<std::string> Written(const JsonDictionary& args, std::string_view name) {
  const JsonValue* value = args.Find(name);
  if (value == nullptr) return "";
  if (value->IsObject()) return std::nullopt;
  return TextOf(*value);
}

// Calls `visit` with the elements of a collection or the values of a dictionary, until it returns
// false.
void ForEachItem(const JsonValue& object, const std::function<bool(const JsonValue&)>& visit) {
  if (const JsonCollection* collection = object.AsCollection()) {
    for (const JsonValue& item : collection->Items()) {
      if (!visit(item)) return;
    }
  }
  if (const JsonDictionary* dictionary = object.AsDictionary()) {
    for (const JsonDictionary::Entry& entry : dictionary->Entries()) {
      if (!visit(entry.value)) return;
    }
  }
}

// Texts in binary order, which is that of their 16-bit characters, also when they are numbers.
bool Compares(std::string_view type, std::string_view first, std::string_view second) {
  if (type == "eq") return Lower(first) == Lower(second);
  const int order = Utf8ToUtf16(first).compare(Utf8ToUtf16(second));
  if (type == "gt") return order > 0;
  if (type == "lt") return order < 0;
  if (type == "gte") return order >= 0;
  if (type == "lte") return order <= 0;
  return false;
}

}  // namespace

std::string cJSONScript::Eval(std::string_view script) {
  JSON json;
  const std::optional<JsonValue> value = json.parse(script);
  if (value && json.GetParserErrors().empty()) return EvalTopLevel(*value);
  if (dialogs_ != nullptr) dialogs_->ShowWarning(json.GetParserErrors(), "Parser Error");
  return "";
}

std::string cJSONScript::EvalTopLevel(const JsonValue& value) {
  cStringBuilder output;
  ForEachItem(value, [&](const JsonValue& item) {
    output.Append(Utf8ToUtf16(item.IsObject() ? ExecCommand(item) : TextOf(item)));
    return true;
  });
  return Utf16ToUtf8(output.toString());
}

std::string cJSONScript::ExecCommand(const JsonValue& value) {
  std::string result;
  cStringBuilder output;
  output.ChunkSize(kChunkCharacters);
  if (level_ > kMaxLevel) {
    result = "ERROR: Nesting level exceeded.";
  } else {
    ++level_;
    ExecByKind(value, output);
    --level_;
  }
  // Kept: the output replaces the message, so what is nested too deep vanishes from the text
  // without a trace (JsonScriptNesting.LevelTooDeepGivesTheEmptyText).
  result = Utf16ToUtf8(output.toString());
  return result;
}

void cJSONScript::ExecByKind(const JsonValue& value, cStringBuilder& output) {
  if (const JsonDictionary* commands = value.AsDictionary()) {
    for (const JsonDictionary::Entry& command : commands->Entries()) {
      output.Append(Utf8ToUtf16(RunCommand(command)));
    }
  } else if (const JsonCollection* collection = value.AsCollection()) {
    for (const JsonValue& item : collection->Items()) output.Append(Utf8ToUtf16(ExecCommand(item)));
  } else {
    output.Append(Utf8ToUtf16(TextOf(value)));
  }
}

std::string cJSONScript::RunCommand(const JsonDictionary::Entry& command) {
  static const JsonDictionary kNoArguments;
  const JsonDictionary* given = command.value.AsDictionary();
  const JsonDictionary& args = given == nullptr ? kNoArguments : *given;

  const std::string name = Lower(command.key);
  if (name == "alert") return Alert(args);
  if (name == "input") return Input(args);
  if (name == "switch") return Switch(args);
  if (name == "set") return Set(args);
  if (name == "get") return Get(args);
  if (name == "if") return If(args);
  if (name == "return") return TextOf(command.value);
  return Placeholder(command.key, args);
}

std::string cJSONScript::Evaluated(const JsonDictionary& args, std::string_view name) {
  const JsonValue* value = args.Find(name);
  return value == nullptr ? std::string() : ExecCommand(*value);
}

std::string cJSONScript::Alert(const JsonDictionary& args) {
  const std::string message = Evaluated(args, "message");
  const std::string title = Evaluated(args, "title");
  if (dialogs_ != nullptr) dialogs_->ShowInformation(message, title);
  return "";
}

std::string cJSONScript::Input(const JsonDictionary& args) {
  const std::string prompt = Evaluated(args, "prompt");
  const std::string title = Evaluated(args, "title");
  const std::string initial = Evaluated(args, "default");
  return dialogs_ == nullptr ? std::string() : dialogs_->Ask(prompt, title, initial);
}

std::string cJSONScript::Switch(const JsonDictionary& args) {
  std::string output = Evaluated(args, "default");
  const std::string wanted = Lower(Evaluated(args, "case"));
  const JsonValue* items = args.Find("items");
  if (items == nullptr) return output;
  ForEachItem(*items, [&](const JsonValue& value) {
    const JsonDictionary* item = value.AsDictionary();
    if (item == nullptr) return true;
    const std::optional<std::string> given = Written(*item, "case");
    const bool hit = given && Lower(*given) == wanted;
    if (hit) output = Evaluated(*item, "return");
    return !hit;
  });
  return output;
}

std::string cJSONScript::Set(const JsonDictionary& args) {
  std::string value = Evaluated(args, "value");
  std::optional<std::string> name = Written(args, "name");
  if (name) vars_.Set(std::move(*name), JsonValue(std::move(value)));
  return "";
}

std::string cJSONScript::Get(const JsonDictionary& args) {
  const std::optional<std::string> name = Written(args, "name");
  const std::string value = name ? ExecCommand(vars_.Item(*name)) : std::string();
  return value.empty() ? Evaluated(args, "default") : value;
}

std::string cJSONScript::If(const JsonDictionary& args) {
  const std::string first = Evaluated(args, "value1");
  const std::string second = Evaluated(args, "value2");
  const bool holds = Compares(Lower(Written(args, "type").value_or("")), first, second);
  return Evaluated(args, holds ? "true" : "false");
}

std::string cJSONScript::Placeholder(std::string_view name, const JsonDictionary& parameters) {
  std::string text = "<%" + Upper(name) + "(";
  bool first = true;
  for (const JsonDictionary::Entry& parameter : parameters.Entries()) {
    if (!first) text += ',';
    first = false;
    text += parameter.value.IsObject() ? ExecCommand(parameter.value) : TextOf(parameter.value);
  }
  return text + ")%>";
}

}  // namespace vnq
