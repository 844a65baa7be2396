// The lines that were typed before, in this run and in earlier ones.
//
// The file is UTF-8, a line each, the newest last, readable by its owner only. Several clients may
// add to one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

class InputHistory {
 public:
  static constexpr size_t kMaxLines = 200;

  /// Begins with the newest lines of a file, and adds to it from now on. Lines that a terminal
  /// could not show are passed over; a file that cannot be read or written is none.
  void KeepIn(std::string file);

  /// An empty line, and one as the line before, are not kept.
  void Add(const std::string& line);

  /// Oldest first.
  size_t size() const { return lines_.size(); }
  const std::string& operator[](size_t entry) const { return lines_[entry]; }

  /// The newest entry in front of `end` that holds the text.
  std::optional<size_t> FindBefore(size_t end, std::string_view text) const;

 private:
  void Push(std::string line);

  std::vector<std::string> lines_;
  std::string file_;  // empty: nowhere
};

}  // namespace vnq
