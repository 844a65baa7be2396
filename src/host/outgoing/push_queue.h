// Mobile notifications that wait for the next push.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "platform/net/repeated_warning.h"

namespace vnq {

/// Lines of the form target|extra|source|kind|label, in the order they were queued.
class PushQueue {
 public:
  /// mostBytes: of all lines; further ones are dropped, which is said.
  PushQueue(EventLoop& loop, size_t mostBytes)
      : mostBytes_(mostBytes), full_(loop, "a mobile notification is dropped") {}

  void Add(std::string line) {
    if (bytes_ + line.size() > mostBytes_) {
      return full_.Note(std::to_string(lines_.size()) + " wait for the next push");
    }
    bytes_ += line.size();
    lines_.push_back(std::move(line));
  }

  bool empty() const { return lines_.empty(); }
  const std::vector<std::string>& lines() const { return lines_; }

  void Clear() {
    lines_ = {};
    bytes_ = 0;
  }

 private:
  size_t mostBytes_;
  size_t bytes_ = 0;
  RepeatedWarning full_;
  std::vector<std::string> lines_;
};

}  // namespace vnq
