// How often something may happen: an allowance that fills up steadily and holds ten seconds' or,
// of a rate by the minute, a minute's worth.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vnq {

/// A rate; 0 a period is no limit.
struct Rate {
  int64_t count = 0;     ///< so many
  int64_t periodMs = 1;  ///< in so long
  int64_t holds = 0;     ///< as many at once, after a rest

  bool IsLimited() const { return count > 0; }
};

/// What is left of one allowance; full at first.
class Allowance {
 public:
  /// Takes `wanted`; false, with nothing taken, when that much is not there.
  bool Take(const Rate& rate, int64_t nowMs, int64_t wanted);

 private:
  bool fresh_ = true;
  int64_t sinceMs_ = 0;
  double left_ = 0;
};

/// A value by a text that peers choose, so only the most recently used ones are kept.
template <typename Value>
class RecentTable {
 public:
  static constexpr size_t kMost = 20'000;

  Value& operator[](std::string_view key) {
    const auto found = byKey_.find(key);
    if (found != byKey_.end()) {
      recent_.splice(recent_.begin(), recent_, found->second);
      return recent_.front().value;
    }
    if (recent_.size() == kMost) {
      byKey_.erase(recent_.back().key);
      recent_.pop_back();
    }
    recent_.push_front({std::string(key), Value()});
    byKey_.emplace(recent_.front().key, recent_.begin());
    return recent_.front().value;
  }

  void Erase(std::string_view key) {
    const auto found = byKey_.find(key);
    if (found == byKey_.end()) return;
    const auto entry = found->second;
    byKey_.erase(found);
    recent_.erase(entry);
  }

  size_t size() const { return recent_.size(); }

 private:
  struct Entry {
    std::string key;
    Value value;
  };
  std::list<Entry> recent_;  // the most recently used first
  std::unordered_map<std::string_view, typename std::list<Entry>::iterator> byKey_;
};

}  // namespace vnq
