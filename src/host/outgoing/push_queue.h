// Mobile notifications that wait for the next push.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vnq {

/// Lines of the form target|extra|source|kind|label, in the order they were queued.
class PushQueue {
 public:
  void Add(std::string line) { lines_.push_back(std::move(line)); }
  bool empty() const { return lines_.empty(); }
  const std::vector<std::string>& lines() const { return lines_; }
  void Clear() { lines_.clear(); }

 private:
  std::vector<std::string> lines_;
};

}  // namespace vnq
