// Mobile notifications that wait for the next push.
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "platform/net/repeated_warning.h"
#include "platform/system/event_log.h"

namespace vnq {

/// Lines of the form target|extra|source|kind|label, in the order they were queued.
class PushQueue {
 public:
  /// mostBytes: of all lines; further ones are dropped, which is said.
  PushQueue(EventLoop& loop, size_t mostBytes)
      : mostBytes_(mostBytes),
        full_(loop, "a mobile notification is dropped", "push_dropped"),
        failed_(loop, "push", "push_failed") {}

  void Add(std::string line) {
    if (bytes_ + line.size() > mostBytes_) {
      return full_.Note(std::to_string(lines_.size()) + " wait for the next push");
    }
    bytes_ += line.size();
    lines_.push_back(std::move(line));
  }

  /// What came of a push of so many notifications. Those of one that failed are lost: nobody sends
  /// them again.
  void NoteResult(size_t count, bool answered, long status) {
    const bool done = answered && status >= 200 && status < 300;
    if (done) {
      ++sent_;
      return LogEvent("push_sent", spdlog::level::debug, "push: {} notifications sent", count);
    }
    ++failures_;
    failed_.Note(answered
                     ? fmt::format("{} notifications are lost, the answer was {}", count, status)
                     : fmt::format("{} notifications are lost, no answer", count));
  }

  /// Pushes since the start that were answered well, and the others.
  uint64_t sent() const { return sent_; }
  uint64_t failures() const { return failures_; }

  bool empty() const { return lines_.empty(); }
  const std::vector<std::string>& lines() const { return lines_; }

  void Clear() {
    lines_ = {};
    bytes_ = 0;
  }

 private:
  size_t mostBytes_;
  size_t bytes_ = 0;
  uint64_t sent_ = 0, failures_ = 0;
  RepeatedWarning full_, failed_;
  std::vector<std::string> lines_;
};

}  // namespace vnq
