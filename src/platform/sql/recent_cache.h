// Private to platform: values by their text, the least recently used dropped first.
#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace vnq {

template <typename Value>
class RecentCache {
 public:
  explicit RecentCache(size_t capacity) : capacity_(capacity) {}

  /// The value, now the most recently used; null when there is none. Owned by the cache and good
  /// until the next Add.
  Value* Find(std::string_view text) {
    auto found = byText_.find(text);
    if (found == byText_.end()) return nullptr;
    recent_.splice(recent_.begin(), recent_, found->second);
    return &recent_.front().second;
  }

  /// Adds a value for a text that has none. What had to go for it is handed to `dropped`.
  template <typename Dropped>
  Value& Add(std::string text, Value value, const Dropped& dropped) {
    if (recent_.size() == capacity_) {
      dropped(recent_.back().second);
      byText_.erase(recent_.back().first);
      recent_.pop_back();
    }
    recent_.emplace_front(std::move(text), std::move(value));
    byText_.emplace(recent_.front().first, recent_.begin());
    return recent_.front().second;
  }

  void Clear() {
    byText_.clear();
    recent_.clear();
  }

  size_t size() const { return recent_.size(); }

 private:
  using Entry = std::pair<std::string, Value>;

  size_t capacity_;
  std::list<Entry> recent_;  // most recently used first
  std::unordered_map<std::string_view, typename std::list<Entry>::iterator> byText_;
};

}  // namespace vnq
