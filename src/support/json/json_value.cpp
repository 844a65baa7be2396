#include "support/json/json_value.h"

namespace vnq {
namespace {

// Up to this many entries a walk is quicker than a table, and most objects are small.
constexpr size_t kSmallDictionary = 8;

}  // namespace

JsonValue::JsonValue() = default;
JsonValue::JsonValue(bool boolean) : data_(boolean) {}
JsonValue::JsonValue(Decimal number) : data_(number) {}
JsonValue::JsonValue(std::string text) : data_(std::move(text)) {}
JsonValue::JsonValue(const char* text) : data_(std::string(text)) {}
JsonValue::JsonValue(std::unique_ptr<JsonDictionary> dictionary) : data_(std::move(dictionary)) {}
JsonValue::JsonValue(std::unique_ptr<JsonCollection> collection) : data_(std::move(collection)) {}

JsonValue JsonValue::Null() {
  JsonValue null;
  null.data_ = NullTag{};
  return null;
}

JsonValue::JsonValue(JsonValue&& other) noexcept : data_(std::exchange(other.data_, Data())) {}

JsonValue& JsonValue::operator=(JsonValue&& other) noexcept {
  // Taken first: the source may lie inside what is destroyed.
  Data taken = std::exchange(other.data_, Data());
  if (IsObject()) DestroyObject();
  data_ = std::move(taken);
  return *this;
}

JsonValue::~JsonValue() {
  if (IsObject()) DestroyObject();
}

void JsonValue::MoveObjectsTo(std::vector<JsonValue>& objects) {
  const auto take = [&objects](JsonValue& child) {
    if (child.IsObject()) objects.push_back(std::move(child));
  };
  if (JsonDictionary* dictionary = AsDictionary()) {
    for (JsonDictionary::Entry& entry : dictionary->Entries()) take(entry.value);
  }
  if (JsonCollection* collection = AsCollection()) {
    for (JsonValue& item : collection->Items()) take(item);
  }
}

// Objects inside this one are taken out before it goes, else each level would destroy the next one
// on the stack.
void JsonValue::DestroyObject() {
  std::vector<JsonValue> pending;
  MoveObjectsTo(pending);
  while (!pending.empty()) {
    JsonValue object = std::move(pending.back());
    pending.pop_back();
    object.MoveObjectsTo(pending);
  }
}

size_t JsonDictionary::PlaceOf(std::string_view key) const {
  if (!places_.empty()) {
    const auto found = places_.find(std::string(key));
    return found == places_.end() ? kNone : found->second;
  }
  for (size_t place = 0; place < entries_.size(); ++place) {
    if (entries_[place].key == key) return place;
  }
  return kNone;
}

void JsonDictionary::Append(std::string key, JsonValue value) {
  entries_.push_back({std::move(key), std::move(value)});
  if (entries_.size() <= kSmallDictionary) return;
  for (size_t place = places_.size(); place < entries_.size(); ++place) {
    places_.emplace(entries_[place].key, place);
  }
}

RuntimeError JsonDictionary::Add(std::string key, JsonValue value) {
  if (Exists(key)) return RuntimeError::kKeyAlreadyPresent;
  Append(std::move(key), std::move(value));
  return RuntimeError::kNone;
}

void JsonDictionary::Set(std::string key, JsonValue value) {
  const size_t place = PlaceOf(key);
  if (place == kNone) {
    Append(std::move(key), std::move(value));
  } else {
    entries_[place].value = std::move(value);
  }
}

const JsonValue& JsonDictionary::Item(std::string_view key) {
  const size_t place = PlaceOf(key);
  if (place != kNone) return entries_[place].value;
  Append(std::string(key), JsonValue());
  return entries_.back().value;
}

const JsonValue* JsonDictionary::Find(std::string_view key) const {
  const size_t place = PlaceOf(key);
  return place == kNone ? nullptr : &entries_[place].value;
}

}  // namespace vnq
