// What the JSON reader makes of a document.
//
//   object          dictionary: text keys to values, in order of insertion, no key twice
//   array           collection: values in order, from 1
//   string          text (UTF-8, a lone surrogate as three bytes)
//   number          Decimal
//   true, false     boolean
//   null            null
//   (nothing read)  empty
//
// A value owns what it holds and is moved, never copied. Moving, assigning and destroying need no
// more stack for a deep value than for a flat one.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "support/json/decimal.h"
#include "support/json/runtime_error.h"

namespace vnq {

class JsonDictionary;
class JsonCollection;

class JsonValue {
 public:
  /// In the order of the alternatives of `data_`.
  enum class Kind { kEmpty, kNull, kBoolean, kNumber, kText, kDictionary, kCollection };

  /// Empty.
  JsonValue();
  explicit JsonValue(bool boolean);
  explicit JsonValue(Decimal number);
  explicit JsonValue(std::string text);
  explicit JsonValue(const char* text);
  explicit JsonValue(std::unique_ptr<JsonDictionary> dictionary);  // never null
  explicit JsonValue(std::unique_ptr<JsonCollection> collection);  // never null
  static JsonValue Null();

  ~JsonValue();
  /// The source is empty afterwards.
  JsonValue(JsonValue&& other) noexcept;
  JsonValue& operator=(JsonValue&& other) noexcept;

  Kind kind() const { return static_cast<Kind>(data_.index()); }
  bool IsObject() const { return kind() >= Kind::kDictionary; }

  /// The content; a null pointer when the value is of another kind. Good as long as the value
  /// stays.
  const bool* AsBoolean() const { return std::get_if<bool>(&data_); }
  const Decimal* AsNumber() const { return std::get_if<Decimal>(&data_); }
  const std::string* AsText() const { return std::get_if<std::string>(&data_); }
  const JsonDictionary* AsDictionary() const { return Pointed<JsonDictionary>(); }
  const JsonCollection* AsCollection() const { return Pointed<JsonCollection>(); }
  JsonDictionary* AsDictionary() {
    return const_cast<JsonDictionary*>(std::as_const(*this).AsDictionary());
  }
  JsonCollection* AsCollection() {
    return const_cast<JsonCollection*>(std::as_const(*this).AsCollection());
  }

 private:
  struct NullTag {};
  using Data = std::variant<std::monostate, NullTag, bool, Decimal, std::string,
                            std::unique_ptr<JsonDictionary>, std::unique_ptr<JsonCollection>>;

  template <typename Object>
  const Object* Pointed() const {
    const auto* pointer = std::get_if<std::unique_ptr<Object>>(&data_);
    return pointer == nullptr ? nullptr : pointer->get();
  }
  void MoveObjectsTo(std::vector<JsonValue>& objects);
  void DestroyObject();

  Data data_;
};

/// Keyed values in order of insertion. Keys compare exactly, letter case included.
class JsonDictionary {
 public:
  struct Entry {
    std::string key;
    JsonValue value;
  };

  size_t Count() const { return entries_.size(); }
  bool Exists(std::string_view key) const { return Find(key) != nullptr; }

  /// kKeyAlreadyPresent: the entry that is there stays, and `value` is dropped.
  RuntimeError Add(std::string key, JsonValue value);

  /// Replaces the value of an entry, in its place, or adds one.
  void Set(std::string key, JsonValue value);

  /// Reads an entry. An unknown key is added with an empty value. Good until the next change.
  const JsonValue& Item(std::string_view key);

  /// Reads an entry and adds nothing; a null pointer for an unknown key. Good until the next
  /// change.
  const JsonValue* Find(std::string_view key) const;

  const std::vector<Entry>& Entries() const { return entries_; }
  std::vector<Entry>& Entries() { return entries_; }

 private:
  static constexpr size_t kNone = static_cast<size_t>(-1);

  size_t PlaceOf(std::string_view key) const;
  void Append(std::string key, JsonValue value);

  std::vector<Entry> entries_;
  std::unordered_map<std::string, size_t> places_;  // unused while the dictionary is small
};

/// Values in order.
class JsonCollection {
 public:
  size_t Count() const { return items_.size(); }
  void Add(JsonValue value) { items_.push_back(std::move(value)); }

  /// The 1-based element; `index` must be 1 to Count().
  const JsonValue& Item(size_t index) const { return items_[index - 1]; }

  const std::vector<JsonValue>& Items() const { return items_; }
  std::vector<JsonValue>& Items() { return items_; }

 private:
  std::vector<JsonValue> items_;
};

}  // namespace vnq
