#include "support/json/json_writer.h"

#include <string_view>
#include <vector>

namespace vnq {
namespace {

void AppendCharacter(char c, std::string& text) {
  static constexpr std::string_view kHexDigits = "0123456789abcdef";
  static constexpr std::string_view kNamed = "\b\f\n\r\t\"\\";
  static constexpr std::string_view kNames = "bfnrt\"\\";
  const auto code = static_cast<unsigned char>(c);
  if (const size_t named = kNamed.find(c); named != std::string_view::npos) {
    text += '\\';
    text += kNames[named];
  } else if (code < 0x20) {
    text.append("\\u00");
    text += kHexDigits[code >> 4];
    text += kHexDigits[code & 0xF];
  } else {
    text += c;
  }
}

void AppendString(std::string_view string, std::string& text) {
  text += '"';
  for (char c : string) AppendCharacter(c, text);
  text += '"';
}

void AppendScalar(const JsonValue& value, std::string& text) {
  if (value.AsBoolean() != nullptr) {
    text += *value.AsBoolean() ? "true" : "false";
  } else if (value.AsNumber() != nullptr) {
    text += value.AsNumber()->ToText();
  } else if (value.AsText() != nullptr) {
    AppendString(*value.AsText(), text);
  } else {
    text += "null";
  }
}

// An object that is being written, and how far.
struct Open {
  const JsonDictionary* dictionary;
  const JsonCollection* collection;
  size_t next = 0;

  size_t Count() const { return dictionary != nullptr ? dictionary->Count() : collection->Count(); }
};

class Writer {
 public:
  std::string Write(const JsonValue& value) {
    Begin(value);
    while (!open_.empty()) WriteNext();
    return std::move(text_);
  }

 private:
  void Begin(const JsonValue& value) {
    if (!value.IsObject()) {
      AppendScalar(value, text_);
      return;
    }
    open_.push_back({value.AsDictionary(), value.AsCollection()});
    text_ += value.AsDictionary() != nullptr ? '{' : '[';
  }

  void WriteNext() {
    Open& top = open_.back();
    if (top.next == top.Count()) {
      text_ += top.dictionary != nullptr ? '}' : ']';
      open_.pop_back();
      return;
    }
    const size_t place = top.next++;
    if (place > 0) text_ += ',';
    if (top.dictionary == nullptr) {
      Begin(top.collection->Items()[place]);
      return;
    }
    const JsonDictionary::Entry& entry = top.dictionary->Entries()[place];
    AppendString(entry.key, text_);
    text_ += ':';
    Begin(entry.value);
  }

  std::string text_;
  std::vector<Open> open_;
};

}  // namespace

std::string WriteJson(const JsonValue& value) {
  return Writer().Write(value);
}

}  // namespace vnq
